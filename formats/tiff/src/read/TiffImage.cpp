#include <quivo/tiff/TiffImage.h>

#include "read/Reader.h"

#include <quivo/core/Levels.h>
#include <quivo/image/ChannelNames.h>
#include <quivo/util/Paths.h>

namespace Quivo {

TiffImage::TiffImage(std::string const& path) : TiffImage(path, OpenOptions()) {}

TiffImage::TiffImage(std::string const& path, OpenOptions const& options)
    : TiffImage(path, TiffSelection(), options) {}

TiffImage::TiffImage(std::string const& path, TiffSelection const& selection,
                     OpenOptions const& options)
    : reader_(std::make_unique<Reader>(path, selection, options)) {
    reader_->setMeans([this] { return detail::makeMeanRule(TiffImage::getMetadata()); });
}

TiffImage::~TiffImage() = default;

std::string TiffImage::getURL() const { return reader_->getName(); }

Vector TiffImage::getExtent(long long level) const {
    auto const* const found = reader_->findLevel(level);
    return found ? found->extent : Vector();
}

long long TiffImage::getNumChannels() const { return reader_->getFirst().numChannels; }

long long TiffImage::getNumLevels() const {
    return static_cast<long long>(reader_->getLayout().levels.size());
}

ValueRange<double> TiffImage::getValueRange() const { return reader_->getFirst().valueRange; }

Vector TiffImage::getVoxelSize(long long level) const {
    return convertToLevel(reader_->getFirst().voxelSize, level, 0);
}

Vector TiffImage::getTileExtent() const {
    auto const& first = reader_->getFirst();
    if (!first.isTiled) return {Reader::computedBlockEdge, Reader::computedBlockEdge, 1};
    return {first.blockWidth, first.blockHeight, 1};
}

void TiffImage::openRegion(double* dst, long long level, Box const& region) {
    // Any region can be served like one tile, which writes all of it: nothing is zeroed beforehand.
    openTileRegionToPosition(dst, level, region.min, Box(region.getExtent()), region.getExtent(),
                             {});
}

void TiffImage::openTileRegionToPosition(double* dst, long long level, Vector const& tilePosition,
                                         Box const& tileRegion, Vector const& dstExtent,
                                         Vector const& dstPosition) {
    detail::visitSampleType(getSampleType(), [&](auto sample) {
        reader_->store<decltype(sample)>(dst, level, tileRegion.translated(tilePosition), dstExtent,
                                         dstPosition, reader_->getAllChannels());
    });
}

std::optional<SampleType> TiffImage::getStoredType() const {
    return ownClass_.isClassOf(*this) ? std::optional(getSampleType()) : std::nullopt;
}

void TiffImage::openSamples(void* dst, long long level, Box const& region,
                            std::span<long long const> channels) {
    if (channels.empty()) channels = reader_->getAllChannels();
    detail::visitSampleType(getSampleType(), [&](auto sample) {
        using T = decltype(sample);
        reader_->store<T>(static_cast<T*>(dst), level, region, region.getExtent(), {}, channels);
    });
}

Metadata TiffImage::getMetadata() {
    auto const& first = reader_->getFirst();
    Metadata result;
    result.colourModel = first.colourModel;
    for (long long c = 0; c < first.numChannels; ++c) {
        result.channels.push_back({getChannelName(c), AlphaKind::None, {}, {}});
    }
    for (auto const& [channel, kind] : first.opacity) {
        result.channels[static_cast<std::size_t>(channel)].alpha = kind;
    }
    result.pixelSize = {first.pixelWidth, first.pixelHeight, 0.0};
    return result;
}

std::string TiffImage::getSliceName(long long index) {
    auto const& slices = reader_->getLayout().levels[0].pages;
    bool const exists = index >= 0 && index < static_cast<long long>(slices.size());
    return exists ? slices[static_cast<std::size_t>(index)].name : std::string();
}

std::string TiffImage::getChannelName(long long index) {
    auto const& first = reader_->getFirst();
    check(index >= 0 && index < first.numChannels,
          "Invalid channel index. Cannot determine its name.");
    auto const& told = reader_->getLayout().channelNames;
    auto const position = static_cast<std::size_t>(index);
    if (position < told.size() && !told[position].empty()) return told[position];
    if (first.numChannels == 1) return getUsualChannelName(index, 1);
    return getUsualChannelName(index, !first.hasColours ? 0 : first.hasAlpha ? 4 : 3);
}

std::string TiffImage::getId() const { return getImageIdFromPath(reader_->getPath()); }

std::string TiffImage::getGroupId() const { return getGroupIdFromImagePath(reader_->getPath()); }

ContentHash TiffImage::getHash() { return 0; }

Image* TiffImage::getViewableRepresentation() { return displayView_.get(*this); }

bool TiffImage::isLevelStored(long long level) const noexcept {
    auto const* const found = reader_->findLevel(level);
    return found && found->isStored();
}

bool TiffImage::isTiled() const noexcept { return reader_->getFirst().isTiled; }

SampleType TiffImage::getSampleType() const noexcept { return reader_->getFirst().sampleType; }

void TiffImage::setCacheLimit(std::optional<std::size_t> bytes) { reader_->setCacheLimit(bytes); }

void TiffImage::setCancellationChecker(CancellationChecker* checker) noexcept {
    reader_->setCancellationChecker(checker);
}

}  // namespace Quivo
