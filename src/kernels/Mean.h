#pragma once

#include "kernels/CpuVariants.h"

namespace Quivo::detail {

/// Stores the means of `count` 2 x 2 blocks, rounded to the nearest whole number, halves up:
/// dst[i] = floor((a + b + p + q) * 0.25 + 0.5) with a, b = rows[2i], rows[2i + 1] and p, q those
/// below them, in the row `stride` values further, added in this order.
QUIVO_DECLARE_VARIANTS(halveRowsRounded,
                       (double const* rows, long long stride, double* dst, long long count));
QUIVO_DECLARE_VARIANTS(halveRowsRounded, (unsigned char const* rows, long long stride,
                                          unsigned char* dst, long long count));

/// Stores the means of `count` blocks of `edge` x `edge` values (a power of two above 1), which
/// stand side by side in `edge` rows, `stride` values apart: each is summed row by row from 0.0,
/// then divided by the number of its values. `dst` may begin where `rows` does.
QUIVO_DECLARE_VARIANTS(averageBlocks, (double const* rows, long long stride, double* dst,
                                       long long count, long long edge));

}  // namespace Quivo::detail
