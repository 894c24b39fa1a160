#include <quivo/metadata/Metadata.h>

#include <quivo/image/ChannelNames.h>
#include <quivo/image/Facets.h>
#include <quivo/image/Image.h>

#include "metadata/HandOn.h"

#include <algorithm>

namespace Quivo {

namespace {

/// What the image itself answers.
Metadata describe(Image& image) {
    Metadata result;
    for (long long c = 0; c < image.getNumChannels(); ++c) {
        result.channels.push_back({image.getChannelName(c), AlphaKind::None, {}, {}});
    }
    Vector const size = image.getVoxelSize(0);
    for (int axis = 0; axis < 3; ++axis) {
        result.pixelSize[static_cast<std::size_t>(axis)] =
            static_cast<double>(std::max(size[axis], 0LL));
    }
    // Colours go without saying in pictures of one, three and four channels.
    long long const count = std::ssize(result.channels);
    for (long long c = 0; c < count; ++c) {
        std::string const usual = getUsualChannelName(c, count);
        bool const isUsual = result.channels[static_cast<std::size_t>(c)].name == usual;
        if (usual.empty() || !isUsual) return result;
    }
    if (count == 1) result.colourModel = ColourModel::Grey;
    if (count >= 3) result.colourModel = ColourModel::Rgb;
    if (count == 4) result.channels.back().alpha = AlphaKind::Unassociated;
    return result;
}

}  // namespace

MetadataSource::~MetadataSource() = default;

void Place::moveAndGrow(double x, double y, double z, double factorX, double factorY) {
    for (std::size_t row = 0; row < 12; row += 4) {
        toWorld[row + 3] += toWorld[row] * x + toWorld[row + 1] * y + toWorld[row + 2] * z;
        toWorld[row] *= factorX;
        toWorld[row + 1] *= factorY;
    }
}

AlphaKind Metadata::getAlpha() const noexcept {
    auto const found = std::find_if(channels.begin(), channels.end(), [](auto const& channel) {
        return channel.alpha != AlphaKind::None;
    });
    return found == channels.end() ? AlphaKind::None : found->alpha;
}

Metadata getMetadata(Image& image) {
    auto* source = dynamic_cast<MetadataSource*>(&image);
    if (auto const* const facets = source ? nullptr : dynamic_cast<Facets const*>(&image)) {
        source = facets->getMetadataSource();
    }
    if (!source) return describe(image);
    Metadata result = source->getMetadata();
    // Whoever picks channels relies on their number, which a class of one's own may not keep.
    result.channels.resize(static_cast<std::size_t>(std::max(image.getNumChannels(), 0LL)));
    return result;
}

Metadata handOnMetadata(Image& image, Image& source) {
    return detail::handOn(image, source, getMetadata(source));
}

Metadata detail::handOn(Image& image, Image& source, Metadata result) {
    Metadata const own = describe(image);
    bool const isSameSize = image.getVoxelSize(0) == source.getVoxelSize(0);
    if (!isSameSize) result.pixelSize = own.pixelSize;
    bool const isSameRange = image.getValueRange() == source.getValueRange();
    if (!isSameRange) result.noData.reset();
    if (own.channels.size() != result.channels.size()) {
        result.colourModel = own.colourModel;
        result.colourProfile.clear();
        result.channels = own.channels;
        return result;
    }
    for (std::size_t c = 0; c < own.channels.size(); ++c) {
        auto& channel = result.channels[c];
        // The source may know a better name than it answers.
        bool const isRenamed =
            own.channels[c].name != source.getChannelName(static_cast<long long>(c));
        if (isRenamed) channel.name = own.channels[c].name;
        if (isSameRange) continue;
        channel.window.reset();
        channel.properties.clear();
    }
    return result;
}

}  // namespace Quivo
