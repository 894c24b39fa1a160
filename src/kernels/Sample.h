#pragma once

// What becomes of a single sample: one place for every rule that depends on the sample type, so
// that a level computed on reading holds what a writer would have stored. `SampleRows.h` has the
// rows.

#include "kernels/Half.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <type_traits>
#include <utility>

namespace Quivo::detail {

template <typename T>
inline constexpr bool isFloat = std::is_floating_point_v<T> || std::is_same_v<T, Half>;

/// `value` as a stored sample: integers rounded half up and clamped (NaN becomes 0), floats clamped
/// to the finite range of the type unless infinite.
template <typename T>
[[nodiscard]] T toSample(double value) noexcept {
    if constexpr (std::is_same_v<T, double>) {
        return value;
    } else if constexpr (isFloat<T>) {
        constexpr double highest =
            std::is_same_v<T, Half> ? 65504.0 : double{std::numeric_limits<float>::max()};
        if (!std::isfinite(value)) return static_cast<T>(value);
        return static_cast<T>(value < -highest ? -highest : value > highest ? highest : value);
    } else if constexpr (sizeof(T) == 8) {
        // The ends of these types are no doubles, and large doubles are whole numbers already:
        // adding a half would round them to their neighbours.
        constexpr double end = std::is_signed_v<T> ? 0x1p63 : 0x1p64;
        if (!(value == value)) return 0;
        double const rounded = value < 0x1p52 && value > -0x1p52 ? std::floor(value + 0.5) : value;
        if (rounded >= end) return std::numeric_limits<T>::max();
        if (rounded <= (std::is_signed_v<T> ? -end : 0.0)) return std::numeric_limits<T>::lowest();
        return static_cast<T>(rounded);
    } else {
        using Limits = std::numeric_limits<T>;
        constexpr auto lowest = static_cast<double>(Limits::lowest());
        constexpr auto highest = static_cast<double>(Limits::max());
        // Compared so that NaN fails the first test; a narrow integer lets the loop vectorise.
        using Wide = std::conditional_t<(sizeof(T) < 4), std::int32_t, std::int64_t>;
        double const raised = value > lowest ? value : lowest;
        double const clamped = raised < highest ? raised : highest;
        // Where nothing is below 0, cutting off the digits is the floor, and NaN became 0.
        if constexpr (std::is_unsigned_v<T>)
            return static_cast<T>(static_cast<Wide>(clamped + 0.5));
        double const number = value == value ? clamped : 0.0;
        return static_cast<T>(static_cast<Wide>(std::floor(number + 0.5)));
    }
}

/// The mean of a 2 x 2 block of samples: rounded half up for integers, plain for floats.
template <typename T>
[[nodiscard]] T meanOfFour(T a, T b, T p, T q) noexcept {
    if constexpr (isFloat<T>) {
        double const sum = static_cast<double>(a) + static_cast<double>(b) +
                           static_cast<double>(p) + static_cast<double>(q);
        return static_cast<T>(sum * 0.25);
    } else if constexpr (sizeof(T) == 8) {
        __extension__ using Wide = __int128;
        return static_cast<T>((Wide{a} + Wide{b} + Wide{p} + Wide{q} + 2) >> 2);
    } else {
        using Wide = std::conditional_t<(sizeof(T) < 4), std::int32_t, std::int64_t>;
        return static_cast<T>((Wide{a} + Wide{b} + Wide{p} + Wide{q} + 2) >> 2);
    }
}

/// A sample as one of another type: an integer as an integer as it is, clamped to what that type
/// holds, everything else by way of a double, with its rules.
template <typename To, typename From>
[[nodiscard]] To convertSample(From value) noexcept {
    if constexpr (std::is_same_v<To, From>) {
        return value;
    } else if constexpr (isFloat<To> || isFloat<From>) {
        return toSample<To>(static_cast<double>(value));
    } else {
        // What both types hold, said in the type at hand: nothing is widened.
        using Limits = std::numeric_limits<From>;
        using Target = std::numeric_limits<To>;
        constexpr From lowest = std::cmp_less(Limits::lowest(), Target::lowest())
                                    ? static_cast<From>(Target::lowest())
                                    : Limits::lowest();
        constexpr From highest = std::cmp_greater(Limits::max(), Target::max())
                                     ? static_cast<From>(Target::max())
                                     : Limits::max();
        return static_cast<To>(std::clamp(value, lowest, highest));
    }
}

}  // namespace Quivo::detail
