#pragma once

#include <quivo/core/Box.h>
#include <quivo/core/Levels.h>
#include <quivo/core/Vector.h>

#include <cmath>
#include <cstddef>
#include <limits>
#include <new>

namespace Quivo::detail {

/// `value` truncated toward zero; values beyond 64 bits saturate, NaN gives 0.
[[nodiscard]] inline long long truncated(double value) noexcept {
    constexpr double limit = 9223372036854775808.0;  // 2^63, exact as a double
    if (value >= limit) return std::numeric_limits<long long>::max();
    if (value < -limit) return std::numeric_limits<long long>::min();
    return std::isnan(value) ? 0 : static_cast<long long>(value);
}

/// The base-2 logarithm as the level formulas take it: a quotient of natural logarithms.
[[nodiscard]] inline double log2Quotient(double value) noexcept {
    return std::log(value) / 0.6931471805599453;
}

/// error: std::runtime_error for an extent that no tile has.
inline void checkTileExtent(Vector const& tileExtent) {
    check(tileExtent.x >= 1 && tileExtent.y >= 1 && tileExtent.z >= 1,
          "Tile extent must be at least 1 on every axis");
}

/// The number of elements in `numChannels` planes of `extent`; 0 when an axis of the extent is
/// below 1.
/// error: std::bad_array_new_length (a std::bad_alloc) when the byte count overflows or the number
/// of channels is negative.
[[nodiscard]] inline std::size_t elementCount(Vector const& extent, long long numChannels,
                                              std::size_t elementSize) {
    if (extent.x < 1 || extent.y < 1 || extent.z < 1 || numChannels == 0) return 0;
    long long count = 0;
    bool tooLarge = numChannels < 0;
    tooLarge |= __builtin_mul_overflow(extent.x, extent.y, &count);
    tooLarge |= __builtin_mul_overflow(count, extent.z, &count);
    tooLarge |= __builtin_mul_overflow(count, numChannels, &count);
    constexpr auto maxBytes = static_cast<std::size_t>(std::numeric_limits<std::ptrdiff_t>::max());
    tooLarge |= static_cast<std::size_t>(count) > maxBytes / elementSize;
    if (tooLarge) throw std::bad_array_new_length();
    return static_cast<std::size_t>(count);
}

/// The number of elements in `numChannels` planes over `bounds`.
/// error: as above, also when an axis of `bounds` is longer than 64 bits can say.
[[nodiscard]] inline std::size_t elementCount(Box const& bounds, long long numChannels,
                                              std::size_t elementSize) {
    Vector const extent = bounds.getExtent();
    bool const wraps = !bounds.isEmpty() && (extent.x < 1 || extent.y < 1 || extent.z < 1);
    if (wraps) throw std::bad_array_new_length();
    return elementCount(extent, numChannels, elementSize);
}

}  // namespace Quivo::detail
