#pragma once

#include "Arguments.h"

#include <quivo/core/Box.h>
#include <quivo/image/Image.h>
#include <quivo/writer/Progress.h>

#include <algorithm>
#include <optional>
#include <vector>

namespace Quivo::tool {

class Source;

/// Which part of an image a subcommand reads: the options --level, --box and --slice.
struct RegionOptions {
    std::optional<long long> level;
    std::optional<Rectangle> box;
    long long slice = 0;

    /// Adds the options to `app`; this object outlives the parse. Returns --level.
    CLI::Option* addTo(CLI::App& app);

    /// The box in the slice, the whole level without one.
    /// error: std::runtime_error when the source has no such level or slice.
    [[nodiscard]] Box getRegion(Source const& source, long long ofLevel) const;
};

/// Calls `handle(strip)` for consecutive parts of `region` that are `size` long on `axis` (the last
/// one may be shorter), in ascending order.
template <typename Handler>
void forEachStrip(Box const& region, int axis, long long size, Handler handle) {
    long long const length = region.getExtent()[axis];
    for (long long from = 0; from < length; from += size) {
        Box strip = region;
        strip.min[axis] = region.min[axis] + from;
        strip.max[axis] = region.min[axis] + std::min(from + size, length) - 1;
        handle(strip);
    }
}

/// Reads a large region in pieces that need little memory and little time each, so that an
/// interrupt is noticed soon. Bands of `bandHeight` rows are made of pieces of `pieceWidth`
/// columns. One thread at a time.
class PieceReader {
public:
    PieceReader(Image& image, long long level, CancellationChecker& checker);

    static constexpr long long pieceWidth = 2048;

    [[nodiscard]] long long getBandHeight() const noexcept { return bandHeight_; }

    /// The planar values of the piece, valid until the next call.
    /// error: CancellationException, and whatever the image throws.
    [[nodiscard]] double const* read(Box const& piece);

private:
    Image& image_;
    long long level_;
    CancellationChecker& checker_;
    long long bandHeight_;
    std::vector<double> values_;
};

}  // namespace Quivo::tool
