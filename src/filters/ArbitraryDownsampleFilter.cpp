#include <quivo/filters/ArbitraryDownsampleFilter.h>

#include <quivo/core/Box.h>
#include <quivo/core/Levels.h>
#include <quivo/image/BufferImage.h>

#include "core/Arithmetic.h"
#include "core/Storage.h"
#include "filters/AreaMean.h"

#include <algorithm>
#include <optional>
#include <typeinfo>

namespace Quivo {

namespace {

/// The planes under `region` where the source is a buffer of doubles that has all of them; nothing
/// for other images, also those derived from such buffers, and where planes do not follow each
/// other evenly.
std::optional<detail::PlanesView> findInMemory(Image const& source, long long level,
                                               Box const& region) {
    if (typeid(source) != typeid(BufferImage<double>)) return std::nullopt;
    auto const& image = dynamic_cast<BufferImage<double> const&>(source);
    Vector const e = image.getExtent(level);
    if (!Box(e).contains(region.min) || !Box(e).contains(region.max)) return std::nullopt;
    long long const numSlices = region.getExtent().z;
    long long const plane = e.x * e.y;
    bool const takesAll = numSlices == e.z || image.getNumChannels() == 1;
    if (!takesAll && numSlices > 1) return std::nullopt;
    return detail::PlanesView{image.getLevelBuffer(level) + region.min.dot(e.getStrides()), e.x,
                              takesAll ? plane : plane * e.z};
}

}  // namespace

ArbitraryDownsampleFilter::ArbitraryDownsampleFilter(Image* source, double scaleFactor,
                                                     bool takeOwnership)
    : Filter(source, takeOwnership), scaleFactor_(scaleFactor) {
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
    Box const srcRegion(Vector(detail::firstSourceOf(region.min.x, scaleFactor_),
                               detail::firstSourceOf(region.min.y, scaleFactor_), region.min.z),
                        Vector(detail::lastSourceOf(region.max.x, scaleFactor_),
                               detail::lastSourceOf(region.max.y, scaleFactor_), region.max.z));
    auto const count = detail::elementCount(srcRegion, numChannels, sizeof(double));
    auto const columns = detail::AreaWeights::ofPixels(region.min.x, region.max.x, scaleFactor_);
    auto const rows = detail::AreaWeights::ofPixels(region.min.y, region.max.y, scaleFactor_);
    // What is in memory already is not copied: that is half of the time.
    Vector const numUsed(std::max(columns.getEnd(), 1LL), std::max(rows.getEnd(), 1LL),
                         region.getExtent().z);
    Box const used = Box(numUsed).translated(srcRegion.min);
    if (auto const planes = findInMemory(*getSource(), level, used)) {
        detail::averageByArea(*planes, dst, numChannels * region.getExtent().z, columns, rows);
        return;
    }
    // The source fills all of it: no zeros beforehand.
    auto const scratch = detail::allocateScratch(count);
    getSource()->openRegion(scratch.get(), level, srcRegion);
    Vector const extent = srcRegion.getExtent();
    detail::averageByArea({scratch.get(), extent.x, extent.x * extent.y}, dst,
                          numChannels * extent.z, columns, rows);
}

}  // namespace Quivo
