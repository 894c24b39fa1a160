#pragma once

#include <quivo/core/Box.h>
#include <quivo/core/Export.h>
#include <quivo/core/ValueRange.h>
#include <quivo/core/Vector.h>

#include <cstdint>
#include <string>

namespace Quivo {

/// A change stamp of an image's content; see `Image::getHash`.
using ContentHash = std::uint64_t;

/// The one interface through which every image is read: "give me this box at this level, all
/// channels, as planar doubles".
///
/// Positions are voxel coordinates of a level: level 0 is full resolution, every further level has
/// x and y halved (rounded down) and z unchanged. Bad levels and regions outside the image are no
/// errors: they read as zeros, have extent (0, 0, 0) or an empty name. Images form chains: filters,
/// tile caches and writers take an `Image*` and a flag that says whether they delete it.
///
/// The order of the virtual operations is part of the binary interface. Threads: each class says
/// so itself; images whose data no longer changes may be read from several threads at once.
class QUIVO_API Image {
public:
    Image() = default;
    Image(Image const&) = delete;
    Image& operator=(Image const&) = delete;
    virtual ~Image();

    /// Where the data comes from (a path or address); empty for images in memory.
    virtual std::string getURL() const = 0;

    /// The number of voxels along x, y and z at `level`; (0, 0, 0) outside 0 ... getNumLevels() - 1
    /// for the images of this library that hold pixels.
    virtual Vector getExtent(long long level) const = 0;

    /// The number of channels, the same at every level.
    virtual long long getNumChannels() const = 0;

    /// The number of levels; 0 for an image without pixels.
    virtual long long getNumLevels() const = 0;

    /// The lowest and highest value that the voxels take, as declared by whoever made the image.
    virtual ValueRange<double> getValueRange() const = 0;

    /// The size of one voxel at `level` in whole nanometres; x and y double with each level. 0
    /// where it is not known.
    virtual Vector getVoxelSize(long long level) const = 0;

    /// The extent of the blocks in which the image is best read, the same at every level.
    virtual Vector getTileExtent() const = 0;

    /// Reads a box: writes every one of the `getNumChannels() * region.getSize()` doubles of the
    /// caller's `dst`, planar (channel after channel; x fastest, then y, then z, relative to
    /// `region.min`), values as stored, not scaled. `region` is in coordinates of `level`, its
    /// corners inclusive; what lies outside the level, or at no level, is written as 0.0 (filters
    /// deliver what they make of their source's zeros). An empty region writes nothing.
    /// error: what keeps the image from delivering the values, such as std::runtime_error for a
    /// damaged file or std::bad_alloc; `dst` may be written in part then.
    virtual void openRegion(double* dst, long long level, Box const& region) = 0;

    /// A name of z-slice `index`; empty when it has none.
    virtual std::string getSliceName(long long index) = 0;

    /// A name of channel `index`; empty when it has none.
    /// error: images with a rule for names throw std::runtime_error for an index out of range.
    virtual std::string getChannelName(long long index) = 0;

    /// An identifier of the image; empty when it has none.
    virtual std::string getId() const = 0;

    /// An identifier of the group (series, stack) of the image; empty when it has none.
    virtual std::string getGroupId() const = 0;

    /// A stamp that changes whenever the voxel values change; always 0 for images that never do. An
    /// image that changes while others read it changes its values first and then the stamp: the
    /// other way round, a cache would keep old values under the new stamp. Caches ask for it with
    /// every tile, so it is cheap, and may be asked while others read.
    virtual ContentHash getHash() = 0;

    /// An image whose values lie in [0, 255], for display: this one when its range is exactly that,
    /// otherwise a linear view of it. The result belongs to the image and lives as long as it.
    virtual Image* getViewableRepresentation() = 0;
};

}  // namespace Quivo
