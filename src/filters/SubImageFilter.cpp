#include <quivo/filters/SubImageFilter.h>

#include <quivo/core/Levels.h>

#include <algorithm>

namespace Quivo {

namespace {

/// Zeroes everything in a planar block over `region` that lies outside an image of extent `extent`.
void zeroOutside(double* dst, Box const& region, Vector const& extent, long long numChannels) {
    Box const inside = Box(extent).intersected(region);
    Vector const e = region.getExtent();
    auto const isInside = [&](long long y, long long z) {
        return !inside.isEmpty() && y >= inside.min.y && y <= inside.max.y && z >= inside.min.z &&
               z <= inside.max.z;
    };
    for (long long c = 0; c < numChannels; ++c) {
        for (long long z = region.min.z; z <= region.max.z; ++z) {
            for (long long y = region.min.y; y <= region.max.y; ++y, dst += e.x) {
                if (!isInside(y, z)) {
                    std::fill_n(dst, e.x, 0.0);
                    continue;
                }
                std::fill(dst, dst + (inside.min.x - region.min.x), 0.0);
                std::fill(dst + (inside.max.x + 1 - region.min.x), dst + e.x, 0.0);
            }
        }
    }
}

}  // namespace

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
    if (Box(extent).intersected(region) == region) return;
    zeroOutside(dst, region, extent, getSource()->getNumChannels());
}

}  // namespace Quivo
