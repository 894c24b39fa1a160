#pragma once

#include <quivo/core/Box.h>
#include <quivo/core/Export.h>
#include <quivo/core/Storage.h>
#include <quivo/core/Vector.h>

#include <vector>

namespace Quivo {

/// A multi-channel image held in memory at every level, whatever its element type.
///
/// The order of the virtual operations is part of the binary interface. Threads: reads may run
/// concurrently once the levels are built; writing and building must not overlap with anything.
class QUIVO_API GenericImagePyramid {
public:
    GenericImagePyramid() = default;
    GenericImagePyramid(GenericImagePyramid const&) = delete;
    GenericImagePyramid& operator=(GenericImagePyramid const&) = delete;
    virtual ~GenericImagePyramid();

    /// The number of channels, the same at every level.
    virtual long long getNumChannels() const = 0;

    /// The number of levels; 0 when x or y of the extent is below 1.
    virtual long long getNumLevels() const = 0;

    /// (extent.x / 2^level, extent.y / 2^level, extent.z); (0, 0, 0) for a level that is not there.
    virtual Vector getExtent(long long level) const = 0;

    /// Rebuilds every level above `fromLevel` (a negative one counts as 0) from the one below it:
    /// each value is the mean of a 2 x 2 block rounded to the nearest whole number, halves up,
    /// floor((a + b + p + q) * 0.25 + 0.5), added in this order: upper row left and right, lower
    /// row left and right. An odd last column or row takes no part; slices are never combined.
    virtual void computeLevelsUpwards(long long fromLevel) = 0;

    /// As `Image::openRegion`: `getNumChannels() * region.getSize()` planar doubles, 0.0 outside.
    virtual void openRegion(double* dst, long long level, Box const& region) const = 0;
};

/// The pyramid of one element type: `double` or `unsigned char` (which reads as 0.0 ... 255.0).
///
/// All levels are allocated and zero after construction. The owner fills level 0 through
/// `getLevelBuffer(0)` and calls `computeLevelsUpwards(0)`. Coarser levels hold whole numbers, also
/// for `double`. Threads: as the base.
template <typename T>
class QUIVO_API ImagePyramid : public GenericImagePyramid {
public:
    /// A pyramid of `computeNumPyramidLevels(extent)` levels. No levels when x or y is below 1,
    /// levels without elements when z is, or when there are no channels.
    /// error: std::length_error or std::bad_alloc when the levels do not fit into memory, or the
    /// number of channels is negative.
    ImagePyramid(Vector const& extent, long long numChannels);
    ~ImagePyramid() override;

    long long getNumChannels() const override;
    long long getNumLevels() const override;
    Vector getExtent(long long level) const override;
    void computeLevelsUpwards(long long fromLevel) override;
    void openRegion(double* dst, long long level, Box const& region) const override;

    /// The first of the `getExtent(level).prod() * numChannels` elements of a level, planar and
    /// writable, owned by the pyramid; null for a level that is not there.
    ///@{
    [[nodiscard]] T* getLevelBuffer(long long level) noexcept;
    [[nodiscard]] T const* getLevelBuffer(long long level) const noexcept;
    ///@}

private:
    Vector extent_;
    long long numChannels_;
    std::vector<std::vector<T, ZeroedAllocator<T>>> levels_;
};

extern template class ImagePyramid<double>;
extern template class ImagePyramid<unsigned char>;

}  // namespace Quivo
