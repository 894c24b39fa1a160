#pragma once

#include <quivo/core/Export.h>

#include <concepts>
#include <string>

namespace Quivo {

namespace detail {

// Two's-complement arithmetic: sums and products that leave the range wrap around instead of being
// undefined, so that corners near the ends of the range stay ordinary values.
[[nodiscard]] constexpr long long wrappingAdd(long long a, long long b) noexcept {
    return static_cast<long long>(static_cast<unsigned long long>(a) +
                                  static_cast<unsigned long long>(b));
}
[[nodiscard]] constexpr long long wrappingSub(long long a, long long b) noexcept {
    return static_cast<long long>(static_cast<unsigned long long>(a) -
                                  static_cast<unsigned long long>(b));
}
[[nodiscard]] constexpr long long wrappingMul(long long a, long long b) noexcept {
    return static_cast<long long>(static_cast<unsigned long long>(a) *
                                  static_cast<unsigned long long>(b));
}

}  // namespace detail

/// Three signed 64-bit components: a position, an extent, a stride triple, a translation or a voxel
/// size.
///
/// x is the axis that varies fastest in every buffer of the library, z the slice axis (extent 1 for
/// two-dimensional images). All arithmetic is component-wise and wraps around on overflow. Plain
/// value.
struct QUIVO_API Vector {
    long long x = 0;  ///< the column
    long long y = 0;  ///< the row, from the top
    long long z = 0;  ///< the slice

    /// (0, 0, 0).
    constexpr Vector() noexcept = default;

    /// (v, v, v).
    constexpr Vector(long long v) noexcept : x(v), y(v), z(v) {}

    /// The given components.
    constexpr Vector(long long atX, long long atY, long long atZ) noexcept
        : x(atX), y(atY), z(atZ) {}

    /// The component of axis 0 (x), 1 (y) or 2 (z). Any other axis is undefined.
    ///@{
    [[nodiscard]] constexpr long long& operator[](int axis) noexcept {
        return axis == 0 ? x : axis == 1 ? y : z;
    }
    [[nodiscard]] constexpr long long const& operator[](int axis) const noexcept {
        return axis == 0 ? x : axis == 1 ? y : z;
    }
    ///@}

    /// The scalar product.
    [[nodiscard]] constexpr long long dot(Vector const& b) const noexcept {
        using namespace detail;
        return wrappingAdd(wrappingAdd(wrappingMul(x, b.x), wrappingMul(y, b.y)),
                           wrappingMul(z, b.z));
    }

    /// Sums, differences and the opposite, component by component.
    ///@{
    constexpr Vector& operator+=(Vector const& b) noexcept { return *this = *this + b; }
    constexpr Vector& operator-=(Vector const& b) noexcept { return *this = *this - b; }

    [[nodiscard]] friend constexpr Vector operator+(Vector const& a, Vector const& b) noexcept {
        using detail::wrappingAdd;
        return {wrappingAdd(a.x, b.x), wrappingAdd(a.y, b.y), wrappingAdd(a.z, b.z)};
    }
    [[nodiscard]] friend constexpr Vector operator-(Vector const& a, Vector const& b) noexcept {
        using detail::wrappingSub;
        return {wrappingSub(a.x, b.x), wrappingSub(a.y, b.y), wrappingSub(a.z, b.z)};
    }
    [[nodiscard]] constexpr Vector operator-() const noexcept { return Vector() - *this; }
    ///@}

    /// The product component by component: neither a dot nor a cross product.
    ///@{
    [[nodiscard]] friend constexpr Vector operator*(Vector const& a, Vector const& b) noexcept {
        using detail::wrappingMul;
        return {wrappingMul(a.x, b.x), wrappingMul(a.y, b.y), wrappingMul(a.z, b.z)};
    }
    [[nodiscard]] friend constexpr Vector operator*(Vector const& a, long long s) noexcept {
        return a * Vector(s);
    }
    ///@}

    /// A factor or divisor with a fraction would lose it, and 0.5 become 0: see `scalePosition`.
    ///@{
    template <std::floating_point T>
    friend Vector operator*(Vector const& a, T s) = delete;
    template <std::floating_point T>
    friend Vector operator*(T s, Vector const& a) = delete;
    template <std::floating_point T>
    friend Vector operator/(Vector const& a, T s) = delete;
    ///@}

    /// The quotient component by component, truncated toward zero: (-3, 7, 0) / (2, 2, 1) is
    /// (-1, 3, 0). Undefined where a component of `b` is 0, and for the most negative value
    /// divided by -1.
    [[nodiscard]] friend constexpr Vector operator/(Vector const& a, Vector const& b) noexcept {
        return {a.x / b.x, a.y / b.y, a.z / b.z};
    }

    /// Whether all three components are equal.
    [[nodiscard]] friend constexpr bool operator==(Vector const& a,
                                                   Vector const& b) noexcept = default;

    /// Raises every component to at least `lo`, then lowers it to at most `hi`: where lo > hi the
    /// component ends equal to hi.
    constexpr void clip(Vector const& lo, Vector const& hi) noexcept {
        for (int axis = 0; axis < 3; ++axis) {
            if ((*this)[axis] < lo[axis]) (*this)[axis] = lo[axis];
            if ((*this)[axis] > hi[axis]) (*this)[axis] = hi[axis];
        }
    }

    /// Moves every component into [0, extent - 1]; where extent <= 0 it ends equal to extent - 1.
    constexpr void clip(Vector const& extent) noexcept { clip(Vector(), extent - Vector(1)); }

    /// x * y * z: the number of voxels of an extent.
    [[nodiscard]] constexpr long long prod() const noexcept {
        return detail::wrappingMul(detail::wrappingMul(x, y), z);
    }

    /// The element strides (1, x, x * y) of an x-fastest array of this extent.
    [[nodiscard]] constexpr Vector getStrides() const noexcept {
        return {1, x, detail::wrappingMul(x, y)};
    }

    /// The largest of the three components.
    [[nodiscard]] constexpr long long getMaxComponent() const noexcept {
        long long const xy = x > y ? x : y;
        return xy > z ? xy : z;
    }

    /// The components in decimal, separated by one blank each: "1 -2 3".
    [[nodiscard]] std::string toString();
};

}  // namespace Quivo
