#include <quivo/channels/BankImage.h>

#include <quivo/channels/ChannelBank.h>
#include <quivo/core/Levels.h>
#include <quivo/samples/ReadSamples.h>

#include <algorithm>
#include <cstddef>
#include <numeric>

namespace Quivo {

BankImage::BankImage(ChannelBank& bank) : reference_(bank.getImage()) {
    check(bank.getNumChannels() > 0, "The channel bank has no channels.");
    for (std::string const& name : bank.createSelectionAllChannels()) {
        check(!name.empty(), "A channel without a name cannot be read.");
        channels_.push_back({name, bank.getChannel(name)});
    }
}

BankImage::~BankImage() = default;

std::string BankImage::getURL() const { return {}; }

Vector BankImage::getExtent(long long level) const { return reference_->getExtent(level); }

long long BankImage::getNumChannels() const { return std::ssize(channels_); }

long long BankImage::getNumLevels() const { return reference_->getNumLevels(); }

ValueRange<double> BankImage::getValueRange() const {
    ValueRange<double> all = channels_.front().image->getValueRange();
    for (Channel const& channel : channels_) {
        ValueRange<double> const range = channel.image->getValueRange();
        all = {std::min(all.min, range.min), std::max(all.max, range.max)};
    }
    return all;
}

Vector BankImage::getVoxelSize(long long level) const { return reference_->getVoxelSize(level); }

Vector BankImage::getTileExtent() const { return reference_->getTileExtent(); }

void BankImage::openRegion(double* dst, long long level, Box const& region) {
    if (region.isEmpty()) return;
    for (Channel const& channel : channels_) {
        channel.image->openRegion(dst, level, region);
        dst += region.getSize();
    }
}

std::string BankImage::getSliceName(long long index) { return reference_->getSliceName(index); }

std::string BankImage::getChannelName(long long index) {
    check(index >= 0 && index < getNumChannels(),
          "Invalid channel index. Cannot determine its name.");
    return channels_[static_cast<std::size_t>(index)].name;
}

std::string BankImage::getId() const { return reference_->getId(); }

std::string BankImage::getGroupId() const { return reference_->getGroupId(); }

ContentHash BankImage::getHash() {
    // FNV-1a over whole stamps, begun so that stamps of 0 alone give 0.
    return std::accumulate(channels_.begin(), channels_.end(), ContentHash{0},
                           [](ContentHash all, Channel const& channel) {
                               return (all ^ channel.image->getHash()) * 1099511628211ULL;
                           });
}

Image* BankImage::getViewableRepresentation() { return displayView_.get(*this); }

std::optional<SampleType> BankImage::getStoredType() const {
    if (!ownClass_.isClassOf(*this)) return std::nullopt;
    std::optional<SampleType> shared;
    for (Channel const& channel : channels_) {
        auto const* const source = findSampleSource(*channel.image);
        if (!source || (shared && source->getStoredType() != shared)) return std::nullopt;
        shared = source->getStoredType();
    }
    return shared;
}

void BankImage::openSamples(void* dst, long long level, Box const& region,
                            std::span<long long const> channels) {
    auto const readPlane = [&](Channel const& channel) {
        auto& source = *findSampleSource(*channel.image);
        source.openSamples(dst, level, region, {});
        dst = static_cast<std::byte*>(dst) +
              region.getSize() * getSampleBytes(*source.getStoredType());
    };
    if (channels.empty()) {
        std::for_each(channels_.begin(), channels_.end(), readPlane);
    } else {
        for (long long const channel : channels) {
            readPlane(channels_[static_cast<std::size_t>(channel)]);
        }
    }
}

Metadata BankImage::getMetadata() {
    Metadata result = Quivo::getMetadata(*reference_);
    result.colourModel = ColourModel::None;
    result.colourProfile.clear();
    result.channels.clear();
    for (Channel const& channel : channels_) {
        auto const own = Quivo::getMetadata(*channel.image).channels;
        result.channels.push_back(own.empty() ? ChannelMetadata() : own.front());
        result.channels.back().name = channel.name;
    }
    return result;
}

}  // namespace Quivo
