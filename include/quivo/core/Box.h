#pragma once

#include <quivo/core/Export.h>
#include <quivo/core/Vector.h>

#include <type_traits>

namespace Quivo {

namespace detail {

template <typename T>
concept Number = std::is_arithmetic_v<T>;

}  // namespace detail

/// An axis-aligned block of voxel positions at one resolution level.
///
/// Both corners are inclusive: the box covers every position p with min <= p <= max on all three
/// axes. A box with min > max on any axis is empty; empty boxes are ordinary values and are never
/// normalised, so two empty boxes with different corners differ. A box does not know its level.
/// Corners, extents and sizes beyond 64 bits wrap around. Plain value.
struct QUIVO_API Box {
    Vector min{0, 0, 0};     ///< the first position
    Vector max{-1, -1, -1};  ///< the last position, inside the box

    /// The empty box of a zero extent: (0, 0, 0) ... (-1, -1, -1).
    constexpr Box() noexcept = default;

    /// The whole of an array of that extent: (0, 0, 0) ... extent - 1.
    constexpr Box(Vector const& extent) noexcept : max(extent - Vector(1)) {}

    /// The given corners as they are: nothing is ordered or checked.
    constexpr Box(Vector const& lower, Vector const& upper) noexcept : min(lower), max(upper) {}

    /// Two numbers are neither an extent, which has three, nor two corners: `Box({640, 480, 1})`.
    template <detail::Number X, detail::Number Y>
    Box(X x, Y y) = delete;

    /// Whether there is no position in the box: min > max on any axis.
    [[nodiscard]] constexpr bool isEmpty() const noexcept {
        return min.x > max.x || min.y > max.y || min.z > max.z;
    }

    /// The number of voxels per axis; (0, 0, 0) for every empty box.
    [[nodiscard]] constexpr Vector getExtent() const noexcept {
        return isEmpty() ? Vector() : max - min + Vector(1);
    }

    /// The number of voxels; 0 for every empty box.
    [[nodiscard]] constexpr long long getSize() const noexcept { return getExtent().prod(); }

    /// Whether position `p` is in the box; never in an empty one.
    [[nodiscard]] constexpr bool contains(Vector const& p) const noexcept {
        return min.x <= p.x && p.x <= max.x && min.y <= p.y && p.y <= max.y && min.z <= p.z &&
               p.z <= max.z;
    }

    /// The positions in both boxes. Disjoint boxes give crossed corners: ask isEmpty().
    [[nodiscard]] constexpr Box intersected(Box const& other) const noexcept {
        Box result;
        for (int axis = 0; axis < 3; ++axis) {
            result.min[axis] = min[axis] > other.min[axis] ? min[axis] : other.min[axis];
            result.max[axis] = max[axis] < other.max[axis] ? max[axis] : other.max[axis];
        }
        return result;
    }

    /// The smallest box around the corners of both; the corners of an empty box count as they are.
    [[nodiscard]] constexpr Box merged(Box const& other) const noexcept {
        Box result;
        for (int axis = 0; axis < 3; ++axis) {
            result.min[axis] = min[axis] < other.min[axis] ? min[axis] : other.min[axis];
            result.max[axis] = max[axis] > other.max[axis] ? max[axis] : other.max[axis];
        }
        return result;
    }

    /// Moves this box by `v`.
    constexpr void shift(Vector const& v) noexcept {
        min += v;
        max += v;
    }

    /// This box moved by `v`.
    [[nodiscard]] constexpr Box translated(Vector const& v) const noexcept {
        return {min + v, max + v};
    }

    /// This box grown by `v` on both sides of each axis (shrunk where `v` is negative).
    [[nodiscard]] constexpr Box expanded(Vector const& v) const noexcept {
        return {min - v, max + v};
    }

    /// Whether both corners are equal.
    [[nodiscard]] friend constexpr bool operator==(Box const& a, Box const& b) noexcept = default;
};

}  // namespace Quivo
