#pragma once

#include <bit>
#include <cstdint>

namespace Quivo::detail {

/// A float of 16 bits (IEEE 754 binary16), as a value to store and to convert. Plain value.
struct Half {
    std::uint16_t bits = 0;

    Half() = default;

    /// The nearest half, of two equally near ones the even one. What is larger than all finite ones
    /// becomes infinite, and NaN stays NaN.
    explicit Half(double value) noexcept {
        // A double becomes a float that is rounded to odd, so that rounding twice rounds once: a
        // float has more than two bits more than a half.
        auto wide = static_cast<float>(value);
        auto pattern = std::bit_cast<std::uint32_t>(wide);
        auto const back = static_cast<double>(wide);
        bool const isInexact = back != value && value == value;
        if (isInexact && (pattern & 1) == 0 && (pattern & 0x7fffffffu) != 0x7f800000u) {
            bool const wentOut = (back < 0 ? -back : back) > (value < 0 ? -value : value);
            pattern = wentOut ? pattern - 1 : pattern + 1;
        }
        bits = round(pattern);
    }

    /// Exactly.
    operator float() const noexcept {
        std::uint32_t const sign = static_cast<std::uint32_t>(bits & 0x8000u) << 16;
        std::uint32_t const rest = bits & 0x7fffu;
        if (rest >= 0x7c00u) {  // infinities and NaN
            return std::bit_cast<float>(sign | 0x7f800000u | (rest & 0x3ffu) << 13);
        }
        // Small ones too: as a float with the smallest exponent, times what is missing, 2^112.
        float const scaled = std::bit_cast<float>(rest << 13) * 0x1p112f;
        return std::bit_cast<float>(sign | std::bit_cast<std::uint32_t>(scaled));
    }

private:
    /// From the bits of a float to those of a half.
    static std::uint16_t round(std::uint32_t pattern) noexcept {
        auto const sign = static_cast<std::uint16_t>(pattern >> 16 & 0x8000u);
        std::uint32_t const rest = pattern & 0x7fffffffu;
        if (rest > 0x7f800000u) return static_cast<std::uint16_t>(sign | 0x7e00u);
        if (rest >= 0x47800000u) return static_cast<std::uint16_t>(sign | 0x7c00u);  // from 2^16 on
        std::uint32_t const exponent = rest >> 23;
        if (exponent < 102) return sign;  // below half of the smallest one
        // How many bits of the fraction fall away: more where the half has a smaller exponent than
        // it can say.
        std::uint32_t const shift = exponent < 113 ? 126 - exponent : 13;
        std::uint32_t const fraction = (rest & 0x7fffffu) | 0x800000u;
        std::uint32_t const kept = fraction >> shift;
        std::uint32_t const lost = fraction & ((1u << shift) - 1);
        std::uint32_t const middle = 1u << (shift - 1);
        std::uint32_t result = exponent < 113 ? kept : kept + ((exponent - 113) << 10);
        if (lost > middle || (lost == middle && (kept & 1) != 0)) ++result;  // may carry: right so
        return static_cast<std::uint16_t>(sign | result);
    }
};

}  // namespace Quivo::detail
