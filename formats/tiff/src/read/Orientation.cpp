#include "read/Orientation.h"

#include <algorithm>
#include <cstring>

namespace Quivo::detail {

namespace {

template <typename T>
void copyTurned(std::byte const* src, long long srcStride, PixelRect const& from, std::byte* dst,
                long long stepX, long long stepY) {
    // Rows of the source, in bands, so that a transposed copy stays near on both sides.
    constexpr long long band = 32;
    auto const* const in = reinterpret_cast<T const*>(src);
    auto* const out = reinterpret_cast<T*>(dst);
    for (long long left = 0; left < from.width; left += band) {
        auto const right = std::min(left + band, from.width);
        for (long long y = 0; y < from.height; ++y) {
            for (long long x = left; x < right; ++x) {
                out[y * stepY + x * stepX] = in[y * srcStride + x];
            }
        }
    }
}

}  // namespace

PixelRect PixelRect::intersected(PixelRect const& other) const noexcept {
    PixelRect result{std::max(x, other.x), std::max(y, other.y), 0, 0};
    result.width = std::min(x + width, other.x + other.width) - result.x;
    result.height = std::min(y + height, other.y + other.height) - result.y;
    return result;
}

Turn::Turn(Orientation orientation, long long storedWidth, long long storedHeight) noexcept
    : swaps_(orientation >= Orientation::Transposed),
      flipsX_(orientation == Orientation::MirroredX || orientation == Orientation::TurnedRound ||
              orientation == Orientation::Transverse || orientation == Orientation::TurnedLeft),
      flipsY_(orientation == Orientation::TurnedRound || orientation == Orientation::MirroredY ||
              orientation == Orientation::TurnedRight || orientation == Orientation::Transverse),
      storedWidth_(storedWidth),
      storedHeight_(storedHeight) {}

PixelRect Turn::toStored(PixelRect const& upright) const noexcept {
    PixelRect stored = upright;
    if (swaps_) {
        std::swap(stored.x, stored.y);
        std::swap(stored.width, stored.height);
    }
    if (flipsX_) stored.x = storedWidth_ - stored.x - stored.width;
    if (flipsY_) stored.y = storedHeight_ - stored.y - stored.height;
    return stored;
}

PixelRect Turn::toUpright(PixelRect const& stored) const noexcept {
    PixelRect upright = stored;
    if (flipsX_) upright.x = storedWidth_ - upright.x - upright.width;
    if (flipsY_) upright.y = storedHeight_ - upright.y - upright.height;
    if (swaps_) {
        std::swap(upright.x, upright.y);
        std::swap(upright.width, upright.height);
    }
    return upright;
}

void Turn::copy(std::byte const* src, long long srcStride, PixelRect const& from, std::byte* dst,
                long long dstStride, int size) const {
    // What one step to the right, and one down, in the file is in the upright copy.
    auto const stepX = (flipsX_ ? -1 : 1) * (swaps_ ? dstStride : 1);
    auto const stepY = (flipsY_ ? -1 : 1) * (swaps_ ? 1 : dstStride);
    auto const first =
        (flipsX_ ? -stepX * (from.width - 1) : 0) + (flipsY_ ? -stepY * (from.height - 1) : 0);
    auto* const out = dst + first * size;
    if (size == 1) copyTurned<std::uint8_t>(src, srcStride, from, out, stepX, stepY);
    if (size == 2) copyTurned<std::uint16_t>(src, srcStride, from, out, stepX, stepY);
    if (size == 4) copyTurned<std::uint32_t>(src, srcStride, from, out, stepX, stepY);
    if (size == 8) copyTurned<std::uint64_t>(src, srcStride, from, out, stepX, stepY);
}

}  // namespace Quivo::detail
