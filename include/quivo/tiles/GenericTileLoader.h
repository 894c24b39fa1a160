#pragma once

#include <quivo/core/Box.h>
#include <quivo/core/Export.h>
#include <quivo/core/Vector.h>

namespace Quivo {

/// Assembles a region from a grid of tiles of one size: a concrete loader says how large image and
/// tiles are and copies a part of one tile to a place; `compileImageRegion` does the rest.
///
/// Tile (i, j, k) covers the positions from tileExtent * (i, j, k) to that origin + tileExtent - 1;
/// the grid starts at the origin of every level. Exists for `double`, `unsigned char`, `unsigned
/// short` and `unsigned int`; values are passed on without conversion. The order of the virtual
/// operations is part of the binary interface. Threads: keeps no state, as safe as the concrete
/// loader.
template <typename T>
class QUIVO_API GenericTileLoader {
public:
    GenericTileLoader() = default;
    GenericTileLoader(GenericTileLoader const&) = delete;
    GenericTileLoader& operator=(GenericTileLoader const&) = delete;
    virtual ~GenericTileLoader();

    /// Writes, for every channel c, the tile's values in `tileRegion` into channel c of `dst`, and
    /// nothing else.
    ///
    /// `tilePosition` is the tile's origin in coordinates of `level`; `tileRegion` is relative to
    /// it, lies within the tile and may be empty (then nothing is written). `dst` is the caller's
    /// whole planar buffer of extent `dstExtent` (channel stride `dstExtent.prod()`);
    /// `tileRegion.min` lands at its position `dstPosition`. At the image's high border
    /// `tileRegion` may reach past the image's extent, still inside the tile. Tile 0 is also asked
    /// for when a request lies just below it, then with an empty `tileRegion`, or when `level` has
    /// no pixels at all.
    virtual void openTileRegionToPosition(T* dst, long long level, Vector const& tilePosition,
                                          Box const& tileRegion, Vector const& dstExtent,
                                          Vector const& dstPosition) = 0;

    /// Fills `dst` (`getNumChannels() * region.getSize()` elements, planar) with `region` of
    /// `level`: one call of the operation above for every tile that the region touches, z outermost
    /// and x innermost; what no tile covers is 0.
    /// error: what the operation above throws; `dst` may be written in part then.
    virtual void compileImageRegion(T* dst, long long level, Box const& region);

    /// The extent of the image at `level`.
    virtual Vector getExtent(long long level) const = 0;

    /// The extent of one tile, the same at every level; each component is at least 1 (not checked).
    virtual Vector getTileExtent() const = 0;

    /// The number of channels, the same at every level.
    virtual long long getNumChannels() const = 0;
};

extern template class GenericTileLoader<double>;
extern template class GenericTileLoader<unsigned char>;
extern template class GenericTileLoader<unsigned short>;
extern template class GenericTileLoader<unsigned int>;

}  // namespace Quivo
