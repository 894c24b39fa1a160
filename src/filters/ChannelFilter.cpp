#include <quivo/filters/ChannelFilter.h>

#include <quivo/core/Levels.h>
#include <quivo/samples/ReadSamples.h>

#include "metadata/HandOn.h"
#include "samples/Channels.h"

#include <algorithm>
#include <utility>

namespace Quivo {

ChannelFilter::ChannelFilter(Image* source, std::vector<long long> channels, bool takeOwnership)
    : Filter(source, takeOwnership), channels_(std::move(channels)) {
    offerMetadata(&picked_);
    long long const count = source->getNumChannels();
    for (long long const channel : channels_) {
        detail::checkChannel(channel, count);
    }
}

ChannelFilter::~ChannelFilter() = default;

long long ChannelFilter::getNumChannels() const { return std::ssize(channels_); }

void ChannelFilter::openRegion(double* dst, long long level, Box const& region) {
    if (channels_.empty()) return;
    readSamples(*getSource(), dst, SampleType::F64, level, region, channels_);
}

std::string ChannelFilter::getChannelName(long long index) {
    check(index >= 0 && index < getNumChannels(),
          "Invalid channel index. Cannot determine its name.");
    return getSource()->getChannelName(channels_[static_cast<std::size_t>(index)]);
}

std::optional<SampleType> ChannelFilter::getStoredType() const {
    if (!ownClass_.isClassOf(*this) || channels_.empty()) return std::nullopt;
    auto const* const source = findSampleSource(*getSource());
    return source ? source->getStoredType() : std::nullopt;
}

void ChannelFilter::openSamples(void* dst, long long level, Box const& region,
                                std::span<long long const> channels) {
    auto& source = *findSampleSource(*getSource());
    if (channels.empty()) return source.openSamples(dst, level, region, channels_);
    std::vector<long long> chosen(channels.size());
    std::transform(channels.begin(), channels.end(), chosen.begin(),
                   [&](long long channel) { return channels_[static_cast<std::size_t>(channel)]; });
    source.openSamples(dst, level, region, chosen);
}

Metadata ChannelFilter::Picked::getMetadata() {
    Metadata const all = Quivo::getMetadata(*filter_.getSource());
    Metadata result = detail::handOn(filter_, *filter_.getSource(), all);
    // Colours are a picture only together and in their order: whatever is picked besides.
    auto const isColour = [&](long long channel) {
        return all.channels[static_cast<std::size_t>(channel)].alpha == AlphaKind::None;
    };
    std::vector<long long> colours;
    std::vector<long long> pickedColours;
    for (long long c = 0; c < std::ssize(all.channels); ++c) {
        if (isColour(c)) colours.push_back(c);
    }
    result.channels.clear();
    for (long long const channel : filter_.channels_) {
        result.channels.push_back(all.channels[static_cast<std::size_t>(channel)]);
        if (isColour(channel)) pickedColours.push_back(channel);
    }
    bool const isWhole = colours == pickedColours;
    result.colourModel = isWhole ? all.colourModel : ColourModel::None;
    if (!isWhole) result.colourProfile.clear();
    return result;
}

}  // namespace Quivo
