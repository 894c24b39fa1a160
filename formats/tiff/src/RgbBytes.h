#pragma once

#include <cstdint>

// Loops over rows of RGB pixels of 8 bits, which most images have: shuffles of whole vectors where
// the CPU can do them. Sources and destinations do not overlap.

namespace Quivo::detail {

/// Splits `count` pixels into three planes.
void splitRgb(std::uint8_t const* pixels, std::uint8_t* red, std::uint8_t* green,
              std::uint8_t* blue, long long count) noexcept;

/// Joins three planes into `count` pixels.
void joinRgb(std::uint8_t const* red, std::uint8_t const* green, std::uint8_t const* blue,
             std::uint8_t* pixels, long long count) noexcept;

/// Stores the 2 x 2 means, rounded half up, of two rows of 2 * `count` pixels.
void halveRgb(std::uint8_t const* upper, std::uint8_t const* lower, std::uint8_t* pixels,
              long long count) noexcept;

}  // namespace Quivo::detail
