#pragma once

#include <quivo/samples/SampleType.h>

#include <cmath>
#include <cstdint>

namespace Quivo::tool {

/// A float of 16 bits, as it lies in memory. Plain value.
struct HalfBits {
    std::uint16_t bits = 0;
};

/// Calls `function` with a zero of the type that `type` names.
template <typename Function>
void visitSamples(SampleType type, Function function) {
    switch (type) {
        case SampleType::U8:
            return function(std::uint8_t{});
        case SampleType::I8:
            return function(std::int8_t{});
        case SampleType::U16:
            return function(std::uint16_t{});
        case SampleType::I16:
            return function(std::int16_t{});
        case SampleType::U32:
            return function(std::uint32_t{});
        case SampleType::I32:
            return function(std::int32_t{});
        case SampleType::U64:
            return function(std::uint64_t{});
        case SampleType::I64:
            return function(std::int64_t{});
        case SampleType::F16:
            return function(HalfBits{});
        case SampleType::F32:
            return function(float{});
        case SampleType::F64:
            return function(double{});
    }
}

template <typename T>
[[nodiscard]] double toDouble(T sample) noexcept {
    return static_cast<double>(sample);
}

[[nodiscard]] inline double toDouble(HalfBits half) noexcept {
    int const exponent = half.bits >> 10 & 31, fraction = half.bits & 1023;
    double const size = exponent == 31  ? (fraction == 0 ? HUGE_VAL : std::nan(""))
                        : exponent == 0 ? std::ldexp(fraction, -24)
                                        : std::ldexp(fraction + 1024, exponent - 25);
    return half.bits >> 15 == 0 ? size : -size;
}

/// Whether two samples are the same value; NaN is equal to NaN.
template <typename T>
[[nodiscard]] bool isSame(T a, T b) noexcept {
    if constexpr (std::is_integral_v<T>) {
        return a == b;
    } else {
        double const x = toDouble(a), y = toDouble(b);
        return x == y || (x != x && y != y);
    }
}

}  // namespace Quivo::tool
