#include <quivo/tiles/GenericTileLoader.h>

#include <algorithm>

namespace Quivo {

template <typename T>
GenericTileLoader<T>::~GenericTileLoader() = default;

template <typename T>
void GenericTileLoader<T>::compileImageRegion(T* dst, long long level, Box const& region) {
    Vector const tileExtent = getTileExtent();
    Vector const dstExtent = region.getExtent();
    Box const clipped = Box(getExtent(level)).intersected(region);
    Vector const first = clipped.min / tileExtent;
    Vector const last = clipped.max / tileExtent;

    std::fill_n(dst, std::max(getNumChannels() * region.getSize(), 0LL), T{});
    Vector tile;
    for (tile.z = first.z; tile.z <= last.z; ++tile.z) {
        for (tile.y = first.y; tile.y <= last.y; ++tile.y) {
            for (tile.x = first.x; tile.x <= last.x; ++tile.x) {
                Vector const tilePosition = tileExtent * tile;
                // The tile's share of the request itself, not of its part inside the image: what a
                // border tile holds past the image's extent is the loader's to say.
                Box const part = Box(tileExtent).translated(tilePosition).intersected(region);
                openTileRegionToPosition(dst, level, tilePosition, part.translated(-tilePosition),
                                         dstExtent, part.min - region.min);
            }
        }
    }
}

template class GenericTileLoader<double>;
template class GenericTileLoader<unsigned char>;
template class GenericTileLoader<unsigned short>;
template class GenericTileLoader<unsigned int>;

}  // namespace Quivo
