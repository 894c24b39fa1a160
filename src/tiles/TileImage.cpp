#include <quivo/tiles/TileImage.h>

namespace Quivo {

TileImage::TileImage() : tileLoader(this) {}

TileImage::~TileImage() = default;

void TileImage::openRegion(double* dst, long long level, Box const& region) {
    tileLoader.compileImageRegion(dst, level, region);
}

TileImage::TileImageGenericTileLoaderDouble::TileImageGenericTileLoaderDouble(
    TileImage* owner) noexcept
    : owner_(owner) {}

TileImage::TileImageGenericTileLoaderDouble::~TileImageGenericTileLoaderDouble() = default;

void TileImage::TileImageGenericTileLoaderDouble::openTileRegionToPosition(
    double* dst, long long level, Vector const& tilePosition, Box const& tileRegion,
    Vector const& dstExtent, Vector const& dstPosition) {
    owner_->openTileRegionToPosition(dst, level, tilePosition, tileRegion, dstExtent, dstPosition);
}

Vector TileImage::TileImageGenericTileLoaderDouble::getExtent(long long level) const {
    return owner_->getExtent(level);
}

Vector TileImage::TileImageGenericTileLoaderDouble::getTileExtent() const {
    return owner_->getTileExtent();
}

long long TileImage::TileImageGenericTileLoaderDouble::getNumChannels() const {
    return owner_->getNumChannels();
}

}  // namespace Quivo
