#include <quivo/writer/ImageWriter.h>

#include <quivo/core/Levels.h>
#include <quivo/image/Image.h>

#include "core/Arithmetic.h"
#include "core/Storage.h"
#include "filters/BlockMean.h"

#include <cxxabi.h>

#include <algorithm>

namespace Quivo {

namespace {

/// The number of tiles of all levels: the unit in which a write reports its progress.
long long countTiles(Image const& image, long long numLevels, Vector const& tileExtent) {
    detail::checkTileExtent(tileExtent);  // once more: beginWriting may have changed it
    long long total = 0;
    for (long long level = 0; level < numLevels; ++level) {
        Vector const tiles = (image.getExtent(level) - Vector(1)) / tileExtent + Vector(1);
        total = detail::wrappingAdd(total, tiles.prod());
    }
    return total;
}

}  // namespace

ImageWriter::DownsampleOrProxy::DownsampleOrProxy(Image* image, bool takeOwnership)
    : image_(image, takeOwnership) {
    check(image != nullptr, "Source image for writing not set.");
}

ImageWriter::DownsampleOrProxy::~DownsampleOrProxy() {
    // Members go in reverse order, but the source goes first.
    image_.reset(nullptr, false);
}

void ImageWriter::DownsampleOrProxy::setSingleLevelImage(Image* image, long long level,
                                                         long long imageLevel, bool takeOwnership) {
    singleLevelImage_.reset(image, takeOwnership);
    singleLevel_ = level;
    singleLevelImageLevel_ = imageLevel;
}

void ImageWriter::DownsampleOrProxy::openRegion(double* dst, long long level, Box const& region) {
    checkCancelled();
    if (level < 1 || level - 1 != singleLevel_) {
        image_->openRegion(dst, level, region);
        return;
    }
    Vector const twice(2, 2, 1);
    Box const srcRegion(region.min * twice, region.max * twice + Vector(1, 1, 0));
    check(singleLevelImage_.get() != nullptr, "Single-level image not set.");
    long long const numChannels = image_->getNumChannels();
    check(singleLevelImage_->getNumChannels() == numChannels,
          "Single-level image has another number of channels than the source image.");
    auto const count = detail::elementCount(srcRegion, numChannels, sizeof(double));
    auto const scratch = detail::allocateScratch(count);
    // The image may be one that does not write what it does not have.
    std::fill_n(scratch.get(), count, 0.0);
    singleLevelImage_->openRegion(scratch.get(), singleLevelImageLevel_, srcRegion);
    downsampleBufferFullLevel<double, double>(scratch.get(), dst, srcRegion.getExtent(),
                                              numChannels, 1);
}

long long ImageWriter::DownsampleOrProxy::getNumChannels() const {
    return image_->getNumChannels();
}

Vector ImageWriter::DownsampleOrProxy::getExtent(long long level) const {
    return image_->getExtent(level);
}

long long ImageWriter::DownsampleOrProxy::getNumLevels() const { return image_->getNumLevels(); }

Vector ImageWriter::DownsampleOrProxy::getVoxelSize(long long level) const {
    return image_->getVoxelSize(level);
}

ValueRange<double> ImageWriter::DownsampleOrProxy::getValueRange() const {
    return image_->getValueRange();
}

ImageWriter::ImageWriter() = default;

ImageWriter::~ImageWriter() { MaybeOwned<Image> const last(srcImage, ownsSrcImage); }

void ImageWriter::setSrcImage(Image* image, bool takeOwnership) {
    if (image != srcImage) MaybeOwned<Image> const previous(srcImage, ownsSrcImage);
    srcImage = image;
    ownsSrcImage = takeOwnership;
}

void ImageWriter::setTileExtent(Vector extent) { tileExtent = extent; }

void ImageWriter::setUseSrcImagePyramid(bool use) { useSrcImagePyramid = use; }

std::string ImageWriter::getFilename() { return filename; }

void ImageWriter::writeImage(ProgressMonitor* monitor, CancellationChecker* checker) {
    if (monitor) monitor->update(0);
    try {
        if (checker) checker->checkCancelled();
    } catch (CancellationException const&) {
        return;
    }
    check(isReady(), "Writer is not ready");
    DownsampleOrProxy proxy(srcImage, false);
    detail::checkTileExtent(tileExtent);
    long long const numLevels = srcImage->getNumLevels();
    try {
        beginWriting(&proxy, checker);
        long long const total = countTiles(*srcImage, numLevels, tileExtent);
        if (monitor) monitor->setMaxValue(total);
        for (long long level = 0; level < numLevels; ++level) {
            if (checker) checker->checkCancelled();
            prepareLevel(&proxy, level);
            writeLevel(&proxy, level, monitor, checker);
        }
        finalizeImage(monitor, checker);
        endWriting(false);
#ifdef __GLIBCXX__
    } catch (abi::__forced_unwind const&) {
        // The thread is being ended, which must not stop here.
        try {
            endWriting(true);
        } catch (...) {
        }
        throw;
#endif
    } catch (...) {
        endWriting(true);
    }
}

}  // namespace Quivo
