#pragma once

#include <quivo/core/Box.h>
#include <quivo/core/Vector.h>

namespace Quivo {

/// Walks the positions of a box inside an array of a given extent, x fastest, yielding each
/// position with its linear offset in that array; or the rows of the box, yielding the first
/// position of each. The box is clipped to the array.
///
/// Use: `while (it.next()) { ... it.getPosition(), it.getIndex() ... }`, or `nextRow()` where a row
/// is served at once. Plain value.
class PositionIterator {
public:
    PositionIterator(Vector const& extent, Box const& region) noexcept
        : region_(Box(extent).intersected(region)), strides_(extent.getStrides()) {
        if (region_.isEmpty()) region_ = Box();
        position_ = region_.min - Vector(1, 0, 0);
        index_ = strides_.dot(position_);
    }

    /// Advances to the next position; false when the walk is over.
    bool next() noexcept {
        if (position_.x < region_.max.x) {
            ++position_.x;
            ++index_;
            return true;
        }
        return startNextRow();
    }

    /// Advances to the first position of the next row, or of the first one at the beginning; false
    /// when the walk is over.
    bool nextRow() noexcept { return position_.x < region_.min.x ? next() : startNextRow(); }

    [[nodiscard]] Vector const& getPosition() const noexcept { return position_; }

    /// x + e.x * y + e.x * e.y * z of the current position, e being the array's extent.
    [[nodiscard]] long long getIndex() const noexcept { return index_; }

private:
    bool startNextRow() noexcept {
        position_.x = region_.min.x;
        bool const rowLeft = position_.y < region_.max.y;
        position_.y = rowLeft ? position_.y + 1 : region_.min.y;
        if (!rowLeft) ++position_.z;
        index_ = strides_.dot(position_);
        return position_.z <= region_.max.z;
    }

    Box region_;
    Vector strides_;
    Vector position_;
    long long index_;
};

}  // namespace Quivo
