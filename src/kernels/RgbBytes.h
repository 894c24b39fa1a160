#pragma once

#include "kernels/CpuVariants.h"

#include <cstdint>

// Loops over rows of RGB pixels of 8 bits, which most images have: shuffles of whole vectors where
// the CPU can do them. Sources and destinations do not overlap.

namespace Quivo::detail {

/// Splits `count` pixels into three planes.
QUIVO_DECLARE_VARIANTS(splitRgb, (std::uint8_t const* pixels, std::uint8_t* red,
                                  std::uint8_t* green, std::uint8_t* blue, long long count));

/// Joins three planes into `count` pixels.
QUIVO_DECLARE_VARIANTS(joinRgb, (std::uint8_t const* red, std::uint8_t const* green,
                                 std::uint8_t const* blue, std::uint8_t* pixels, long long count));

/// Stores the 2 x 2 means, rounded half up, of two rows of 2 * `count` samples.
QUIVO_DECLARE_VARIANTS(halvePlane, (std::uint8_t const* upper, std::uint8_t const* lower,
                                    std::uint8_t* means, long long count));

/// Stores the 2 x 2 means, rounded half up, of two rows of 2 * `count` pixels.
void halveRgb(std::uint8_t const* upper, std::uint8_t const* lower, std::uint8_t* pixels,
              long long count) noexcept;

}  // namespace Quivo::detail
