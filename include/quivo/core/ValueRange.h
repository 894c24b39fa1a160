#pragma once

namespace Quivo {

/// The lowest and the highest value that an image's voxels take, as declared, not as measured.
///
/// Nothing is enforced: min may exceed max. Used with T = `double` and T = `long long`. Plain
/// value.
template <typename T>
struct ValueRange {
    T min{};
    T max{};

    constexpr ValueRange() noexcept = default;
    constexpr ValueRange(T lowest, T highest) noexcept : min(lowest), max(highest) {}

    [[nodiscard]] friend constexpr bool operator==(ValueRange const& a,
                                                   ValueRange const& b) noexcept = default;
};

}  // namespace Quivo
