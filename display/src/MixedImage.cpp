#include <quivo/display/MixedImage.h>

#include "Pieces.h"

#include <quivo/core/Levels.h>
#include <quivo/image/ChannelNames.h>
#include <quivo/samples/ReadSamples.h>

#include <algorithm>
#include <cstddef>
#include <utility>

namespace Quivo {

namespace {

/// How much of its colour a value is: 0 ... 1.
double getLight(double value, double min, double width) noexcept {
    double const light = width != 0.0 ? (value - min) / width : value >= min ? 1.0 : 0.0;
    return light > 0.0 ? std::min(light, 1.0) : 0.0;  // 0 for NaN, too
}

std::vector<long long> getIndices(std::vector<ShownChannel> const& channels) {
    std::vector<long long> indices;
    for (ShownChannel const& shown : channels) indices.push_back(shown.channel);
    return indices;
}

}  // namespace

void mixChannels(double const* planes, long long count, std::span<ShownChannel const> channels,
                 double* dst) noexcept {
    double* const red = dst;
    double* const green = dst + count;
    double* const blue = green + count;
    std::fill_n(dst, 3 * count, 0.0);
    for (ShownChannel const& shown : channels) {
        Colour const colour = shown.colour;
        double const min = shown.window.min, width = shown.window.max - min;
        for (long long i = 0; i < count; ++i) {
            double const light = getLight(planes[i], min, width);
            red[i] += light * colour.red;
            green[i] += light * colour.green;
            blue[i] += light * colour.blue;
        }
        planes += count;
    }
    for (long long i = 0; i < 3 * count; ++i) dst[i] = std::clamp(dst[i], 0.0, 1.0) * 255.0;
}

MixedImage::MixedImage(Image* source, std::vector<ShownChannel> channels, bool takeOwnership)
    : Filter(source, takeOwnership), channels_(std::move(channels)) {
    long long const numChannels = source->getNumChannels();
    for (ShownChannel const& shown : channels_) {
        check(shown.channel >= 0 && shown.channel < numChannels,
              "There is no channel " + std::to_string(shown.channel) + " to be shown.");
    }
}

MixedImage::~MixedImage() = default;

long long MixedImage::getNumChannels() const { return 3; }

ValueRange<double> MixedImage::getValueRange() const { return {0.0, 255.0}; }

std::string MixedImage::getChannelName(long long index) {
    check(index >= 0 && index < 3, "Invalid channel index. Cannot determine its name.");
    return getUsualChannelName(index, 3);
}

Metadata MixedImage::getMetadata() {
    Metadata metadata = handOnMetadata(*this, *getSource());
    metadata.colourModel = ColourModel::Rgb;
    metadata.colourProfile.clear();
    metadata.noData.reset();
    metadata.channels.clear();
    for (long long c = 0; c < 3; ++c) {
        metadata.channels.emplace_back().name = getUsualChannelName(c, 3);
    }
    return metadata;
}

void MixedImage::openRegion(double* dst, long long level, Box const& region) {
    std::vector<long long> const indices = getIndices(channels_);
    Vector const extent = region.getExtent();
    std::vector<double> values, mixed;
    detail::forEachPiece(region, std::ssize(channels_) + 3, [&](Box const& piece) {
        Vector const size = piece.getExtent();
        long long const count = size.prod();
        values.resize(static_cast<std::size_t>(count) * channels_.size());
        mixed.resize(static_cast<std::size_t>(3 * count));
        if (!indices.empty()) {  // which would mean all
            readSamples(*getSource(), values.data(), SampleType::F64, level, piece, indices);
        }
        mixChannels(values.data(), count, channels_, mixed.data());
        detail::copyPiece(mixed.data(), 3, size, piece.min - region.min, dst, extent);
    });
}

}  // namespace Quivo
