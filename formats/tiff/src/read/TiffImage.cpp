#include <quivo/tiff/TiffImage.h>

#include "read/Reader.h"

#include <quivo/core/Levels.h>
#include <quivo/util/Paths.h>

#include <cmath>

namespace Quivo {

TiffImage::TiffImage(std::string const& path) : TiffImage(path, OpenOptions()) {}

TiffImage::TiffImage(std::string const& path, OpenOptions const& options)
    : TiffImage(path, TiffSelection(), options) {}

TiffImage::TiffImage(std::string const& path, TiffSelection const& selection,
                     OpenOptions const& options)
    : reader_(std::make_unique<Reader>(path, selection, options)) {}

TiffImage::~TiffImage() = default;

std::string TiffImage::getURL() const { return reader_->getName(); }

Vector TiffImage::getExtent(long long level) const {
    auto const* const found = reader_->findLevel(level);
    return found ? found->extent : Vector();
}

long long TiffImage::getNumChannels() const { return reader_->getLayout().getNumChannels(); }

long long TiffImage::getNumLevels() const {
    return static_cast<long long>(reader_->getLayout().levels.size());
}

ValueRange<double> TiffImage::getValueRange() const { return reader_->getFirst().valueRange; }

Vector TiffImage::getVoxelSize(long long level) const {
    auto const [x, y, z] = reader_->getMetadata().image.pixelSize;
    return convertToLevel(Vector(std::llround(x), std::llround(y), std::llround(z)), level, 0);
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
    auto const& told = reader_->getMetadata();
    auto const& layout = reader_->getLayout();
    Metadata result = told.image;
    for (long long c = 0; c < layout.getNumChannels(); ++c) {
        result.channels.push_back(detail::describeChannel(told, layout, c));
        result.channels.back().name = getChannelName(c);
    }
    return result;
}

std::string TiffImage::getSliceName(long long index) {
    auto const& names = reader_->getLayout().sliceNames;
    bool const exists = index >= 0 && index < std::ssize(names);
    return exists ? names[static_cast<std::size_t>(index)] : std::string();
}

std::string TiffImage::getChannelName(long long index) {
    auto const& layout = reader_->getLayout();
    check(index >= 0 && index < layout.getNumChannels(),
          "Invalid channel index. Cannot determine its name.");
    return detail::describeChannel(reader_->getMetadata(), layout, index).name;
}

std::string TiffImage::getId() const { return getImageIdFromPath(reader_->getName()); }

std::string TiffImage::getGroupId() const { return getGroupIdFromImagePath(reader_->getPath()); }

ContentHash TiffImage::getHash() { return 0; }

std::vector<std::pair<std::string, std::string>> TiffImage::getFacts() const {
    return reader_->getFacts();
}

std::vector<StoredPart> TiffImage::getOtherParts() const { return reader_->getLayout().otherParts; }

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
