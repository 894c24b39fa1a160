#pragma once

#include <quivo/core/Vector.h>

namespace Quivo::detail {

/// Stores the means of `count` 2 x 2 blocks, rounded to the nearest whole number, halves up:
/// dst[i] = floor((a + b + p + q) * 0.25 + 0.5) with a, b = upper[2i], upper[2i + 1] and
/// p, q = lower[2i], lower[2i + 1], added in this order.
void halveRowsRounded(double const* upper, double const* lower, double* dst,
                      long long count) noexcept;
void halveRowsRounded(unsigned char const* upper, unsigned char const* lower, unsigned char* dst,
                      long long count) noexcept;

}  // namespace Quivo::detail

namespace Quivo {

/// Stores the mean of every block of 2^numHalvings x 2^numHalvings values, for each of
/// `numChannels` planes of `srcExtent`, into planes of (srcExtent.x / 2^n, srcExtent.y / 2^n,
/// srcExtent.z). Columns and rows that fill no block are ignored. Each block is summed row by row
/// from 0.0, then divided by the number of its values; 0 halvings copy. `src` and `dst` may be the
/// same buffer.
template <typename T, typename U>
void downsampleBufferFullLevel(T* src, U* dst, Vector srcExtent, long long numChannels,
                               long long numHalvings) noexcept;

extern template void downsampleBufferFullLevel<double, double>(double*, double*, Vector, long long,
                                                               long long) noexcept;

}  // namespace Quivo
