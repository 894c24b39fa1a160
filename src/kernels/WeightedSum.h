#pragma once

#include "kernels/CpuVariants.h"

// Weighted sums of rows, and of what stands side by side in one.

namespace Quivo::detail {

/// line[i] = weights[0] * row 0 [i] + weights[1] * row 1 [i] ..., added in this order; the rows are
/// `stride` values apart. Without rows the line becomes 0.
QUIVO_DECLARE_VARIANTS(combineRows, (double const* rows, long long stride, double const* weights,
                                     long long numRows, double* line, long long count));

/// Of how many weights `combineColumns` takes whole steps.
inline constexpr long long weightsPerStep = 4;

/// out[i] is the sum over t of weights[i * numWeights + t] * line[sources[i] + t]: four partial
/// sums of every fourth product each, added as (0 + 1) + (2 + 3). A weight of 0.0 adds nothing,
/// whatever stands at its place; `numWeights`, a multiple of `weightsPerStep`, values from
/// `sources[i]` on can be read. What stands at the same places of the rows `ahead0` and `ahead1`
/// will be wanted next.
QUIVO_DECLARE_VARIANTS(combineColumns,
                       (double const* line, long long const* sources, double const* weights,
                        long long numWeights, double* out, long long count, double const* ahead0,
                        double const* ahead1));

}  // namespace Quivo::detail
