#include <quivo/tiles/GenericTileLoader.h>

#include "tiles/TileWalk.h"

#include <algorithm>

namespace Quivo {

template <typename T>
GenericTileLoader<T>::~GenericTileLoader() = default;

template <typename T>
void GenericTileLoader<T>::compileImageRegion(T* dst, long long level, Box const& region) {
    TileWalk const walk(getExtent(level), getTileExtent(), region);
    Vector const dstExtent = region.getExtent();
    // A loader may leave out what it likes: all of it is 0 before.
    std::fill_n(dst, std::max(getNumChannels() * region.getSize(), 0LL), T{});
    walk.forEach([&](Vector const& tilePosition, Box const& tileRegion, Vector const& dstPosition) {
        openTileRegionToPosition(dst, level, tilePosition, tileRegion, dstExtent, dstPosition);
    });
}

template class GenericTileLoader<double>;
template class GenericTileLoader<unsigned char>;
template class GenericTileLoader<unsigned short>;
template class GenericTileLoader<unsigned int>;

}  // namespace Quivo
