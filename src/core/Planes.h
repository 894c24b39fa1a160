#pragma once

#include <quivo/core/Box.h>

#include <algorithm>

namespace Quivo::detail {

/// Zeroes what a planar block over `region` holds outside `inside`, a part of the region that may
/// be empty; the rest stays as it is.
template <typename T>
void zeroOutside(T* dst, Box const& region, Box const& inside, long long numChannels) {
    if (region.isEmpty() || inside == region) return;
    Vector const e = region.getExtent();
    if (inside.isEmpty()) {
        std::fill_n(dst, std::max(numChannels, 0LL) * e.prod(), T{});
        return;
    }
    Vector const before = inside.min - region.min;
    Vector const after = before + inside.getExtent();
    for (long long c = 0; c < numChannels; ++c) {
        for (long long z = 0; z < e.z; ++z) {
            for (long long y = 0; y < e.y; ++y, dst += e.x) {
                bool const meets = y >= before.y && y < after.y && z >= before.z && z < after.z;
                std::fill(dst, dst + (meets ? before.x : e.x), T{});
                if (meets) std::fill(dst + after.x, dst + e.x, T{});
            }
        }
    }
}

}  // namespace Quivo::detail
