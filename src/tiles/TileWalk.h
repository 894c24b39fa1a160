#pragma once

#include <quivo/core/Box.h>
#include <quivo/util/Cancellation.h>

namespace Quivo {

/// The tiles of a grid that a region of an image touches, and which part of the region they cover.
/// No tile has an extent below 1.
class TileWalk {
public:
    TileWalk(Vector const& imageExtent, Vector const& tileExtent, Box const& region) noexcept
        : tileExtent_(tileExtent), region_(region) {
        Box const clipped = Box(imageExtent).intersected(region);
        first_ = clipped.min / tileExtent;
        last_ = clipped.max / tileExtent;
    }

    /// The indices of the tiles at both ends, inclusive. When none is touched they are crossed, or
    /// both that of the first tile, whose share is empty.
    [[nodiscard]] Vector const& getFirst() const noexcept { return first_; }
    [[nodiscard]] Vector const& getLast() const noexcept { return last_; }

    /// What of the region lies in the tiles.
    [[nodiscard]] Box getCovered() const noexcept {
        Box const all(tileExtent_ * first_, tileExtent_ * (last_ + Vector(1)) - Vector(1));
        return Box(first_, last_).isEmpty() ? Box() : all.intersected(region_);
    }

    /// Calls `visit(tilePosition, tileRegion, dstPosition)` for every tile, z outermost and x
    /// innermost: its origin, its share of the region relative to that, and where in the region
    /// that lies. The share is that of the region itself, not of its part inside the image: what a
    /// border tile holds past the image's extent is for its maker to say. A read that is to stop
    /// does so before a tile.
    template <typename Visit>
    void forEach(Visit visit) const {
        Vector tile;
        for (tile.z = first_.z; tile.z <= last_.z; ++tile.z) {
            for (tile.y = first_.y; tile.y <= last_.y; ++tile.y) {
                for (tile.x = first_.x; tile.x <= last_.x; ++tile.x) {
                    checkCancelled();
                    Vector const tilePosition = tileExtent_ * tile;
                    Box const part = Box(tileExtent_).translated(tilePosition).intersected(region_);
                    visit(tilePosition, part.translated(-tilePosition), part.min - region_.min);
                }
            }
        }
    }

private:
    Vector tileExtent_;
    Box region_;
    Vector first_;
    Vector last_;
};

}  // namespace Quivo
