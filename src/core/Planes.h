#pragma once

#include <quivo/core/Box.h>

#include "core/PositionIterator.h"

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
    Box const kept = inside.translated(-region.min);
    for (long long c = 0; c < numChannels; ++c, dst += e.prod()) {
        for (PositionIterator rows(e, Box(e)); rows.nextRow();) {
            T* const row = dst + rows.getIndex();
            auto const [x, y, z] = rows.getPosition();
            bool const meets = kept.contains({kept.min.x, y, z});
            std::fill(row, row + (meets ? kept.min.x : e.x), T{});
            if (meets) std::fill(row + kept.max.x + 1, row + e.x, T{});
        }
    }
}

}  // namespace Quivo::detail
