#pragma once

#include <quivo/core/Box.h>
#include <quivo/core/Vector.h>

#include "kernels/Copy.h"

#include <algorithm>
#include <utility>

namespace Quivo {

/// Copies `srcRegion` of a planar block of extent `srcExtent` into one of extent `dstExtent`, so
/// that `srcRegion.min` lands at `dstPosition`; what would fall outside the destination is left
/// out. `srcRegion` lies inside the source.
template <typename TSrc, typename TDst>
void copyImageBuffer(TSrc* src, Vector const& srcExtent, Box srcRegion, TDst* dst,
                     Vector const& dstExtent, Vector dstPosition, long long numChannels) {
    if (srcRegion.isEmpty()) return;
    for (int axis = 0; axis < 3; ++axis) {
        // The position may be anywhere: what is compared here is never out of 64 bits.
        auto& from = srcRegion.min[axis];
        auto& to = dstPosition[axis];
        if (to <= from - srcRegion.max[axis] - 1 || to >= dstExtent[axis]) return;
        if (to < 0) from -= std::exchange(to, 0);
        srcRegion.max[axis] = std::min(srcRegion.max[axis], from + (dstExtent[axis] - to - 1));
    }
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
