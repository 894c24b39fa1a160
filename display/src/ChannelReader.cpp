#include "ChannelReader.h"

#include <cstdint>
#include <utility>

namespace Quivo::detail {

namespace {

/// The image as what gives its samples; none where it has none, or only some that doubles do not
/// hold by a plain conversion.
SampleSource* findSamples(Image& image) {
    auto* const source = dynamic_cast<SampleSource*>(&image);
    auto const type = source ? source->getStoredType() : std::nullopt;
    return type && *type != SampleType::F16 ? source : nullptr;
}

}  // namespace

ChannelReader::ChannelReader(Image& image, std::vector<long long> channels)
    : image_(image), samples_(findSamples(image)), channels_(std::move(channels)) {}

long long ChannelReader::getNumChannelsRead() const noexcept {
    return samples_ ? std::ssize(channels_) : image_.getNumChannels();
}

template <typename T>
void ChannelReader::readSamples(long long level, Box const& region) {
    static_assert(sizeof(T) <= sizeof(double));
    all_.resize((values_.size() * sizeof(T) + sizeof(double) - 1) / sizeof(double));
    auto* const samples = reinterpret_cast<T*>(all_.data());
    samples_->openSamples(samples, level, region, channels_);
    std::transform(samples, samples + values_.size(), values_.begin(),
                   [](T sample) { return static_cast<double>(sample); });
}

void ChannelReader::readAll(long long level, Box const& region) {
    auto const size = region.getSize();
    all_.resize(static_cast<std::size_t>(size * image_.getNumChannels()));
    image_.openRegion(all_.data(), level, region);
    double* dst = values_.data();
    for (long long const c : channels_) dst = std::copy_n(all_.data() + c * size, size, dst);
}

double const* ChannelReader::read(long long level, Box const& region) {
    values_.resize(static_cast<std::size_t>(region.getSize()) * channels_.size());
    if (!samples_) {
        readAll(level, region);
        return values_.data();
    }
    if (channels_.empty()) return values_.data();  // to the samples it would mean all
    switch (*samples_->getStoredType()) {
        case SampleType::U8:
            readSamples<std::uint8_t>(level, region);
            break;
        case SampleType::I8:
            readSamples<std::int8_t>(level, region);
            break;
        case SampleType::U16:
            readSamples<std::uint16_t>(level, region);
            break;
        case SampleType::I16:
            readSamples<std::int16_t>(level, region);
            break;
        case SampleType::U32:
            readSamples<std::uint32_t>(level, region);
            break;
        case SampleType::I32:
            readSamples<std::int32_t>(level, region);
            break;
        case SampleType::U64:
            readSamples<std::uint64_t>(level, region);
            break;
        case SampleType::I64:
            readSamples<std::int64_t>(level, region);
            break;
        case SampleType::F32:
            readSamples<float>(level, region);
            break;
        case SampleType::F64:
            samples_->openSamples(values_.data(), level, region, channels_);
            break;
        case SampleType::F16:
            readAll(level, region);
            break;
    }
    return values_.data();
}

}  // namespace Quivo::detail
