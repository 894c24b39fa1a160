#pragma once

#include <quivo/core/Export.h>

namespace Quivo {

/// The lowest and the highest value that an image's voxels take, as declared, not as measured.
///
/// Nothing is enforced: min may exceed max. Used with T = `double` and T = `long long`. Plain
/// value.
template <typename T>
struct ValueRange {
    T min{};  ///< the lowest value, part of the range
    T max{};  ///< the highest value, part of the range

    /// (0, 0).
    constexpr ValueRange() noexcept = default;
    /// The given ends as they are.
    constexpr ValueRange(T lowest, T highest) noexcept : min(lowest), max(highest) {}

    /// Whether both ends are equal; never where one is NaN.
    [[nodiscard]] friend constexpr bool operator==(ValueRange const& a,
                                                   ValueRange const& b) noexcept = default;
};

}  // namespace Quivo
