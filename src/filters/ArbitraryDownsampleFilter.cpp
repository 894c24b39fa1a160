#include <quivo/filters/ArbitraryDownsampleFilter.h>

#include <quivo/core/Box.h>
#include <quivo/core/Levels.h>
#include <quivo/image/PixelsInMemory.h>
#include <quivo/util/Cancellation.h>

#include "core/Arithmetic.h"
#include "core/Storage.h"
#include "filters/AreaMean.h"
#include "metadata/HandOn.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace Quivo {

ArbitraryDownsampleFilter::ArbitraryDownsampleFilter(Image* source, double scaleFactor,
                                                     bool takeOwnership)
    : Filter(source, takeOwnership), scaleFactor_(scaleFactor) {
    offerMetadata(&grown_);
    check(scaleFactor > 0.0 && scaleFactor < 1.0, "Scale Factor is not between 0 and 1");
}

ArbitraryDownsampleFilter::~ArbitraryDownsampleFilter() = default;

Vector ArbitraryDownsampleFilter::getExtent(long long level) const {
    return scalePosition(getSource()->getExtent(level), scaleFactor_);
}

long long ArbitraryDownsampleFilter::getNumLevels() const {
    return computeNumPyramidLevels(getExtent(0));
}

Vector ArbitraryDownsampleFilter::getVoxelSize(long long level) const {
    Vector const size = getSource()->getVoxelSize(level);
    return {detail::truncated(static_cast<double>(size.x) / scaleFactor_),
            detail::truncated(static_cast<double>(size.y) / scaleFactor_), size.z};
}

Vector ArbitraryDownsampleFilter::getTileExtent() const {
    return scalePosition(getSource()->getTileExtent(), scaleFactor_);
}

void ArbitraryDownsampleFilter::openRegion(double* dst, long long level, Box const& region) {
    long long const numChannels = getSource()->getNumChannels();
    if (region.isEmpty() || numChannels < 1) return;
    checkCancelled();
    Box const srcRegion = detail::sourceOf(region, scaleFactor_);
    auto const count = detail::elementCount(srcRegion, numChannels, sizeof(double));
    auto const columns = detail::AreaWeights::ofPixels(region.min.x, region.max.x, scaleFactor_);
    auto const rows = detail::AreaWeights::ofPixels(region.min.y, region.max.y, scaleFactor_);
    // What is in memory already is not copied: that is half of the time.
    Vector const numUsed(std::max(columns.getEnd(), 1LL), std::max(rows.getEnd(), 1LL),
                         region.getExtent().z);
    Box const used = Box(numUsed).translated(srcRegion.min);
    auto const* const memory = findPixelsInMemory(*getSource());
    if (auto const planes = memory ? memory->findPlanes(level, used) : std::nullopt) {
        detail::averageByArea({planes->values, planes->rowStride, planes->planeStride}, dst,
                              numChannels * region.getExtent().z, columns, rows);
        return;
    }
    // The source fills all of it: no zeros beforehand.
    auto const scratch = detail::allocateScratch(count);
    getSource()->openRegion(scratch.get(), level, srcRegion);
    Vector const extent = srcRegion.getExtent();
    detail::averageByArea({scratch.get(), extent.x, extent.x * extent.y}, dst,
                          numChannels * extent.z, columns, rows);
}

Metadata ArbitraryDownsampleFilter::Grown::getMetadata() {
    Metadata known = Quivo::getMetadata(*filter_.getSource());
    auto const exact = known.pixelSize;
    Metadata result = detail::handOn(filter_, *filter_.getSource(), std::move(known));
    double const growth = 1.0 / filter_.scaleFactor_;
    result.pixelSize = {exact[0] * growth, exact[1] * growth, exact[2]};
    if (result.place) result.place->moveAndGrow(0.0, 0.0, 0.0, growth, growth);
    return result;
}

}  // namespace Quivo
