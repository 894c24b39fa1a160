#pragma once

#include <quivo/core/Vector.h>

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
