#pragma once

#include <quivo/core/Box.h>

#include <algorithm>

namespace Quivo {

/// Calls `handle(strip)` for consecutive parts of `region` that are `size` (at least 1) long on
/// `axis`, the last one perhaps shorter, in ascending order; not at all for an empty region. Any
/// thread.
template <typename Handler>
void forEachStrip(Box const& region, int axis, long long size, Handler handle) {
    long long const length = region.getExtent()[axis];
    size = std::min(size, length);
    for (long long from = 0; from < length; from += size) {
        Box strip = region;
        strip.min[axis] = region.min[axis] + from;
        strip.max[axis] = strip.min[axis] + (std::min(size, length - from) - 1);
        handle(strip);
    }
}

}  // namespace Quivo
