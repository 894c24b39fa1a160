#pragma once

#include "kernels/CpuVariants.h"

namespace Quivo::detail {

/// Copies `height` rows of `width` values, which are `srcStride` values apart, as doubles to rows
/// that are `dstStride` apart.
QUIVO_DECLARE_VARIANTS(copyRows, (unsigned char const* src, long long srcStride, double* dst,
                                  long long dstStride, long long width, long long height));
void copyRows(double const* src, long long srcStride, double* dst, long long dstStride,
              long long width, long long height) noexcept;

/// The same, written past the caches: for destinations that are larger than these, whose old
/// contents need not be fetched and of which little would be left there when it is read. (Bytes
/// gain nothing by it: few of them are read for much that is written.)
void streamRows(double const* src, long long srcStride, double* dst, long long dstStride,
                long long width, long long height) noexcept;

/// From how many doubles on a destination is written past the caches: 16 MiB, more than one core's
/// share of them on the machines of these years.
inline constexpr long long streamedCount = 1LL << 21;

}  // namespace Quivo::detail
