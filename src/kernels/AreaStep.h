#pragma once

#include <vector>

namespace Quivo::detail {

/// How one axis of a source spreads over a destination by area: source pixel i is `factor`
/// destination pixels wide and starts at i * factor - phase.
struct AreaShares {
    struct Share {
        long long first;  ///< the destination pixel that the source pixel starts in
        double toFirst;   ///< its overlap with that pixel
        double toSecond;  ///< its overlap with the next one
    };
    std::vector<Share> shares;  ///< one per source pixel
    long long dstSize;          ///< shares outside [0, dstSize - 1] are dropped

    AreaShares(long long srcSize, long long numPixels, double factor, double phase);
};

/// Resamples one plane of `columns.shares.size() x rows.shares.size()` values into one of
/// `columns.dstSize x rows.dstSize`. Every destination value adds its shares in ascending order of
/// source columns, then of source rows. `line` is scratch for `columns.dstSize` doubles.
void resampleByArea(double const* src, double* dst, AreaShares const& columns,
                    AreaShares const& rows, double* line) noexcept;

}  // namespace Quivo::detail
