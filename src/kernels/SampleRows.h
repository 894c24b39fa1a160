#pragma once

#include "kernels/CpuVariants.h"
#include "kernels/Sample.h"

#include <cstring>

// Loops over rows of samples of every type that a file can hold: std::uint8_t ... std::int64_t,
// Half, float and double. Sources and destinations do not overlap.

namespace Quivo::detail {

// clang-format off
/// Calls the macro `use` for every sample type.
#define QUIVO_FOR_SAMPLE_TYPES(use) \
    use(std::uint8_t) use(std::uint16_t) use(std::uint32_t) use(std::uint64_t) \
    use(std::int8_t) use(std::int16_t) use(std::int32_t) use(std::int64_t) \
    use(Half) use(float) use(double)

/// Calls the macro `use` for every two types that convert without a detour.
#define QUIVO_FOR_DIRECT_CONVERSIONS(use) \
    QUIVO_FOR_INTEGERS_TO(use, std::uint8_t) QUIVO_FOR_INTEGERS_TO(use, std::int8_t) \
    QUIVO_FOR_INTEGERS_TO(use, std::uint16_t) QUIVO_FOR_INTEGERS_TO(use, std::int16_t) \
    QUIVO_FOR_INTEGERS_TO(use, std::uint32_t) QUIVO_FOR_INTEGERS_TO(use, std::int32_t) \
    QUIVO_FOR_INTEGERS_TO(use, std::uint64_t) QUIVO_FOR_INTEGERS_TO(use, std::int64_t) \
    QUIVO_FOR_INTEGERS_TO(use, double) use(Half, double) use(float, double) \
    use(double, std::uint8_t) use(double, std::uint16_t) \
    use(double, std::uint32_t) use(double, std::uint64_t) \
    use(double, std::int8_t) use(double, std::int16_t) \
    use(double, std::int32_t) use(double, std::int64_t) use(double, Half) use(double, float)
#define QUIVO_FOR_INTEGERS_TO(use, To) \
    use(std::uint8_t, To) use(std::uint16_t, To) use(std::uint32_t, To) use(std::uint64_t, To) \
    use(std::int8_t, To) use(std::int16_t, To) use(std::int32_t, To) use(std::int64_t, To)
// clang-format on

/// halveRows stores the 2 x 2 means (`meanOfFour`) of two rows of interleaved pixels with
/// `numChannels` samples each: `count` pixels of `dst` out of 2 * count of `upper` and of `lower`.
///
/// interleaveRows makes pixels of `numChannels` planar rows, `stride` samples apart; separateRow
/// makes such rows of pixels.
///
/// convertDirectly stores dst[i] = convertSample<To>(src[i]), where both types are integers or one
/// is double: `convertRow` is for all.
#define QUIVO_DECLARE_ROWS(T)                                                                   \
    QUIVO_DECLARE_VARIANTS(halveRows, (T const* upper, T const* lower, T* dst, long long count, \
                                       long long numChannels));                                 \
    QUIVO_DECLARE_VARIANTS(interleaveRows, (T const* rows, long long stride, T* dst,            \
                                            long long count, long long numChannels));           \
    QUIVO_DECLARE_VARIANTS(separateRow, (T const* pixels, T* rows, long long stride,            \
                                         long long count, long long numChannels));
#define QUIVO_DECLARE_CONVERSION(From, To) \
    QUIVO_DECLARE_VARIANTS(convertDirectly, (From const* src, To* dst, long long count));

QUIVO_FOR_SAMPLE_TYPES(QUIVO_DECLARE_ROWS)
QUIVO_FOR_DIRECT_CONVERSIONS(QUIVO_DECLARE_CONVERSION)
#undef QUIVO_DECLARE_ROWS
#undef QUIVO_DECLARE_CONVERSION

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
