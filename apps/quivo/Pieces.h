#pragma once

#include <quivo/core/Box.h>
#include <quivo/filters/Filter.h>
#include <quivo/writer/Progress.h>

#include <algorithm>

namespace Quivo::tool {

// Large regions are read in pieces that need little memory and little time each, so that an
// interrupt is noticed soon.

/// Calls `handle(strip)` for consecutive parts of `region` that are `size` long on `axis` (the last
/// one may be shorter), in ascending order.
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

/// The extent of a piece of an image of so many channels: a few megabytes, wider than high.
[[nodiscard]] Vector choosePieceExtent(long long numChannels) noexcept;

/// Its source, read in pieces of one slice each, row of pieces after row of pieces. As safe as the
/// source and the checker.
class PiecewiseFilter : public Filter {
public:
    /// `checker` is asked before every piece, and outlives all reads.
    PiecewiseFilter(Image* source, Vector const& pieceExtent, CancellationChecker& checker,
                    bool takeOwnership) noexcept;

    /// error: CancellationException, and whatever the source throws.
    void openRegion(double* dst, long long level, Box const& region) override;

private:
    Vector pieceExtent_;
    CancellationChecker& checker_;
};

}  // namespace Quivo::tool
