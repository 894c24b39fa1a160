#pragma once

#include <quivo/core/Box.h>
#include <quivo/core/Strips.h>

#include <algorithm>

namespace Quivo::tool {

/// What is read at once.
inline constexpr long long maxBandBytes = 32 << 20;

/// Calls `handle(piece)` for parts of `region` in the order of its rows, each of one slice and of
/// at most `maxBandBytes` for pixels of `pixelBytes`: whole rows, where one is not more than that.
template <typename Handler>
void forEachBand(Box const& region, long long pixelBytes, Handler handle) {
    long long const maxPixels = std::max(maxBandBytes / pixelBytes, 1LL);
    long long const width = std::min(region.getExtent().x, maxPixels);
    forEachStrip(region, 2, 1, [&](Box const& slice) {
        forEachStrip(slice, 1, std::max(maxPixels / width, 1LL),
                     [&](Box const& band) { forEachStrip(band, 0, width, handle); });
    });
}

}  // namespace Quivo::tool
