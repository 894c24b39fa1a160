#include <quivo/filters/SubImageFilter.h>

#include <quivo/core/Levels.h>

#include "core/Planes.h"

#include <algorithm>

namespace Quivo {

SubImageFilter::SubImageFilter(Image* source, Box bounds, long long level, bool takeOwnership)
    : Filter(source, takeOwnership) {
    setSubImageBounds(bounds, level);
}

SubImageFilter::~SubImageFilter() = default;

void SubImageFilter::setSubImageBounds(Box bounds, long long level) {
    long long const baseLevel = std::min(level, getSource()->getNumLevels() - 1);
    Box const whole(getSource()->getExtent(baseLevel));
    Box const wanted = bounds.isEmpty() ? whole : bounds.intersected(whole);
    baseLevel_ = baseLevel;
    bounds_ = bounds.isEmpty() || !wanted.isEmpty() ? wanted : Box();
}

Vector SubImageFilter::getExtent(long long level) const {
    return convertToLevel(bounds_.getExtent(), 0, level);
}

long long SubImageFilter::getNumLevels() const {
    return computeNumPyramidLevels(bounds_.getExtent());
}

Vector SubImageFilter::getVoxelSize(long long level) const {
    return getSource()->getVoxelSize(detail::wrappingAdd(level, baseLevel_));
}

void SubImageFilter::openRegion(double* dst, long long level, Box const& region) {
    if (region.isEmpty()) return;
    Vector const extent = getExtent(level);
    Vector const offset = convertToLevel(bounds_.min, 0, level);
    long long const srcLevel = detail::wrappingAdd(level, baseLevel_);
    getSource()->openRegion(dst, srcLevel, region.translated(offset));
    Box const inside = Box(extent).intersected(region);
    if (inside != region) {
        detail::zeroOutside(dst, region, inside, getSource()->getNumChannels());
    }
}

}  // namespace Quivo
