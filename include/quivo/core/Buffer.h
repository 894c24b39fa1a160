#pragma once

#include <quivo/core/Box.h>
#include <quivo/core/Export.h>
#include <quivo/core/Storage.h>

#include <vector>

namespace Quivo {

/// A block of pixels that owns its memory: all channels of one `Box` at one resolution level.
///
/// Planar layout, as everywhere in the library: channel planes follow one another without a gap;
/// inside a plane x varies fastest, then y, then z. With S = bounds.getSize() and
/// e = bounds.getExtent(), the value of channel c at position p is element
/// c*S + (p.x - min.x) + e.x*(p.y - min.y) + e.x*e.y*(p.z - min.z).
///
/// Exists for T = `double` and T = `long long`. Copies are deep; one that was moved from can only
/// be assigned to or destroyed. Plain value.
template <typename T>
class QUIVO_API Buffer {
public:
    /// `bounds.getSize() * numChannels` zeros.
    /// error: std::length_error or std::bad_alloc when that product overflows, does not fit into
    /// memory, or is negative.
    Buffer(Box const& bounds, long long level, long long numChannels);

    /// A copy of `bounds.getSize() * numChannels` elements of `data`, which stays the caller's and
    /// is not referenced afterwards. Nothing is read when that product is 0.
    /// error: as above.
    Buffer(T const* data, Box const& bounds, long long level, long long numChannels);

    /// The positions that the buffer covers, in coordinates of its level.
    [[nodiscard]] Box const& getBounds() const noexcept { return bounds_; }

    /// The level that the bounds refer to; reported, never interpreted.
    [[nodiscard]] long long getLevel() const noexcept { return level_; }

    /// The number of planes.
    [[nodiscard]] long long getNumChannels() const noexcept { return numChannels_; }

    /// The first of the `bounds.getSize()` elements of a channel's plane, which belongs to the
    /// buffer. `channel` is not checked: it lies in [0, getNumChannels() - 1].
    ///@{
    [[nodiscard]] T const* getPtr(long long channel) const noexcept;
    [[nodiscard]] T* getPtr(long long channel) noexcept;
    ///@}

    /// One `getPtr` per channel; empty when the buffer has no channels.
    ///@{
    [[nodiscard]] std::vector<T const*> getPtrVector() const;
    [[nodiscard]] std::vector<T*> getPtrVector();
    ///@}

    /// Stores element `index` of every channel's plane into values[0 ... getNumChannels() - 1].
    /// `index` is an offset within one plane and is not checked; the caller sizes `values`
    /// beforehand.
    void readChannelValues(long long index, std::vector<T>& values) const;

private:
    Box bounds_;
    long long level_;
    long long numChannels_;
    std::vector<T, ZeroedAllocator<T>> data_;
};

extern template class Buffer<double>;
extern template class Buffer<long long>;

}  // namespace Quivo
