#pragma once

#include "kernels/CpuVariants.h"
#include "kernels/Sample.h"

#include <cstring>

// Loops over rows of samples of every type that a file can hold: std::uint8_t ... std::int64_t,
// Half, float and double. Sources and destinations do not overlap.

namespace Quivo::detail {

/// Stores the 2 x 2 means (`meanOfFour`) of two rows of interleaved pixels with `numChannels`
/// samples each: `count` pixels of `dst` out of 2 * count of `upper` and of `lower`.
QUIVO_DECLARE_TYPED_VARIANTS(halveRows,
                             (T const* upper, T const* lower, T* dst, long long count,
                              long long numChannels),
                             typename T);

/// Makes pixels of `numChannels` planar rows, `stride` samples apart.
QUIVO_DECLARE_TYPED_VARIANTS(interleaveRows,
                             (T const* rows, long long stride, T* dst, long long count,
                              long long numChannels),
                             typename T);

/// Makes planar rows, `stride` samples apart, of pixels of `numChannels` samples.
QUIVO_DECLARE_TYPED_VARIANTS(separateRow,
                             (T const* pixels, T* rows, long long stride, long long count,
                              long long numChannels),
                             typename T);

/// dst[i] = convertSample<To>(src[i]) where one type is double, or both are integers of different
/// types; `convertRow` is for all.
QUIVO_DECLARE_TYPED_VARIANTS(convertDirectly, (From const* src, To* dst, long long count),
                             typename From, typename To);

/// dst[i] = convertSample<To>(src[i]).
template <typename From, typename To>
void convertRow(From const* src, To* dst, long long count) noexcept {
    constexpr bool isDirect = std::is_same_v<From, double> || std::is_same_v<To, double> ||
                              (!isFloat<From> && !isFloat<To>);
    if constexpr (std::is_same_v<From, To>) {
        if (count > 0) std::memcpy(dst, src, static_cast<std::size_t>(count) * sizeof(To));
    } else if constexpr (isDirect) {
        convertDirectly(src, dst, count);
    } else {
        // By way of doubles, few enough to stay in the nearest cache.
        constexpr long long part = 512;
        double values[part];
        for (long long start = 0; start < count; start += part) {
            long long const now = std::min(part, count - start);
            convertDirectly(src + start, values, now);
            convertDirectly(values, dst + start, now);
        }
    }
}

}  // namespace Quivo::detail
