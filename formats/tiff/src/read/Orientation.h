#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

namespace Quivo::detail {

/// Which way up a page is stored, by the numbers of TIFF: where its first row and its first column
/// belong.
enum class Orientation : std::uint16_t {
    Upright = 1,      ///< top, left
    MirroredX = 2,    ///< top, right
    TurnedRound = 3,  ///< bottom, right
    MirroredY = 4,    ///< bottom, left
    Transposed = 5,   ///< left, top
    TurnedRight = 6,  ///< right, top: to be turned clockwise
    Transverse = 7,   ///< right, bottom
    TurnedLeft = 8    ///< left, bottom: to be turned the other way
};

/// A rectangle of pixels. Plain value.
struct PixelRect {
    long long x = 0;
    long long y = 0;
    long long width = 0;
    long long height = 0;

    /// What both cover; of a width or height below 1 where that is nothing.
    [[nodiscard]] PixelRect intersected(PixelRect const& other) const noexcept;
};

/// The way from an upright page to the stored one. Plain value.
class Turn {
public:
    /// Of a page that is stored with this size.
    Turn(Orientation orientation, long long storedWidth, long long storedHeight) noexcept;

    /// Whether upright rows are stored columns.
    [[nodiscard]] bool swapsAxes() const noexcept { return swaps_; }
    /// Whether the last upright row, or column, that stored rows are is the first one in the file.
    [[nodiscard]] bool turnsRowsOver() const noexcept { return flipsY_; }

    /// Where an upright rectangle is stored.
    [[nodiscard]] PixelRect toStored(PixelRect const& upright) const noexcept;
    /// Where a stored rectangle belongs.
    [[nodiscard]] PixelRect toUpright(PixelRect const& stored) const noexcept;

    /// Copies stored rows of `from.width` x `from.height` samples of `size` bytes, `srcStride`
    /// samples apart, to their upright places, rows `dstStride` samples apart.
    void copy(std::byte const* src, long long srcStride, PixelRect const& from, std::byte* dst,
              long long dstStride, int size) const;

private:
    bool swaps_;
    bool flipsX_;  ///< stored columns run the other way
    bool flipsY_;  ///< stored rows run the other way
    long long storedWidth_;
    long long storedHeight_;
};

}  // namespace Quivo::detail
