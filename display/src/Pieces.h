#pragma once

#include <quivo/core/Box.h>
#include <quivo/core/Strips.h>
#include <quivo/util/Cancellation.h>

#include <algorithm>

namespace Quivo::detail {

/// Calls `handle(piece)` for parts of `region` that are small enough to hold `numChannels` doubles
/// per pixel: of one slice and two million values each, row of pieces after row of pieces. A
/// `CancellationScope` is asked before each.
template <typename Handler>
void forEachPiece(Box const& region, long long numChannels, Handler handle) {
    constexpr long long width = 2048, maxValues = 1 << 21;
    long long const height =
        std::clamp(maxValues / (width * std::max(numChannels, 1LL)), 1LL, 256LL);
    forEachStrip(region, 2, 1, [&](Box const& slice) {
        forEachStrip(slice, 1, height, [&](Box const& band) {
            forEachStrip(band, 0, width, [&](Box const& piece) {
                checkCancelled();
                handle(piece);
            });
        });
    });
}

/// Copies `numChannels` planes of `size` to the place `to` of planes of `extent`.
inline void copyPiece(double const* src, long long numChannels, Vector const& size,
                      Vector const& to, double* dst, Vector const& extent) noexcept {
    for (long long c = 0; c < numChannels; ++c) {
        for (long long y = 0; y < size.y; ++y, src += size.x) {
            long long const row = (c * extent.z + to.z) * extent.y + to.y + y;
            std::copy_n(src, size.x, dst + row * extent.x + to.x);
        }
    }
}

}  // namespace Quivo::detail
