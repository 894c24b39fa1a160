#pragma once

#include <quivo/core/Box.h>
#include <quivo/core/Vector.h>

#include "kernels/Copy.h"

namespace Quivo {

/// Copies `srcRegion` of a planar block of extent `srcExtent` into one of extent `dstExtent`, so
/// that `srcRegion.min` lands at `dstPosition`; what would fall outside the destination is left
/// out. `srcRegion` lies inside the source.
template <typename TSrc, typename TDst>
void copyImageBuffer(TSrc* src, Vector const& srcExtent, Box srcRegion, TDst* dst,
                     Vector const& dstExtent, Vector dstPosition, long long numChannels) {
    for (int axis = 0; axis < 3; ++axis) {
        if (dstPosition[axis] < 0) {
            srcRegion.min[axis] -= dstPosition[axis];
            dstPosition[axis] = 0;
        }
    }
    Vector const over = dstPosition + srcRegion.getExtent() - dstExtent;
    for (int axis = 0; axis < 3; ++axis) {
        if (over[axis] > 0) srcRegion.max[axis] -= over[axis];
    }
    if (srcRegion.isEmpty()) return;
    Vector const e = srcRegion.getExtent();
    for (long long c = 0; c < numChannels; ++c) {
        for (long long z = 0; z < e.z; ++z) {
            auto const* const from = src + c * srcExtent.prod() +
                                     srcExtent.getStrides().dot(srcRegion.min + Vector(0, 0, z));
            auto* const to = dst + c * dstExtent.prod() +
                             dstExtent.getStrides().dot(dstPosition + Vector(0, 0, z));
            detail::copyRows(from, srcExtent.x, to, dstExtent.x, e.x, e.y);
        }
    }
}

}  // namespace Quivo
