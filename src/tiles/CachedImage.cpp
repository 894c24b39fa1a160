#include <quivo/tiles/CachedImage.h>

#include <quivo/core/Levels.h>

#include "core/Arithmetic.h"
#include "core/Planes.h"
#include "tiles/CopyImageBuffer.h"
#include "tiles/TileStore.h"
#include "tiles/TileWalk.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>

namespace Quivo {

namespace {

constexpr std::size_t unlimited = std::numeric_limits<std::size_t>::max();

/// How many tiles of `valuesPerTile` doubles fit into a cache of `cacheSizeMB` units of 1 MiB.
std::size_t computeCapacity(long long cacheSizeMB, double valuesPerTile) {
    if (cacheSizeMB < 0) return unlimited;
    double const tiles = static_cast<double>(cacheSizeMB) * 1048576.0 / (valuesPerTile * 8);
    // Also for tiles without values, where this is no number at all.
    if (!(tiles < 0x1p63)) return unlimited;
    return static_cast<std::size_t>(std::max(tiles, 1.0));
}

/// How many tiles cover an axis, as a quotient of doubles rounded up.
long long tilesAlong(long long extent, long long tileExtent) {
    return detail::truncated(
        std::ceil(static_cast<double>(extent) / static_cast<double>(tileExtent)));
}

}  // namespace

CachedImage::CachedImage(Image* source, long long cacheSizeMB, Vector const& tileExtent,
                         bool ownsSource)
    : source_(source, ownsSource), hash_(source->getHash()), tileExtent_(tileExtent) {
    detail::checkTileExtent(tileExtent);
    measure(cacheSizeMB);
}

CachedImage::CachedImage(Image* source, long long cacheSizeMB, bool ownsSource)
    : source_(source, ownsSource), hash_(source->getHash()) {
    // Images without pixels, and some that were shrunk, have tiles without an extent.
    Vector const own = source->getTileExtent();
    tileExtent_ = {std::max(own.x, 1LL), std::max(own.y, 1LL), std::max(own.z, 1LL)};
    measure(cacheSizeMB);
}

void CachedImage::measure(long long cacheSizeMB) {
    offerMetadata(&kept_);
    Vector const extent = source_->getExtent(0);
    numTiles_ = {tilesAlong(extent.x, tileExtent_.x), tilesAlong(extent.y, tileExtent_.y),
                 tilesAlong(extent.z, tileExtent_.z)};
    numChannels_ = source_->getNumChannels();
    double const valuesPerTile =
        static_cast<double>(numChannels_) * static_cast<double>(tileExtent_.x) *
        static_cast<double>(tileExtent_.y) * static_cast<double>(tileExtent_.z);
    tiles_ = std::make_unique<TileStore>(computeCapacity(cacheSizeMB, valuesPerTile));
}

CachedImage::~CachedImage() = default;

Metadata CachedImage::Kept::getMetadata() { return Quivo::getMetadata(*cache_.source_); }

std::string CachedImage::getURL() const { return source_->getURL(); }

Vector CachedImage::getExtent(long long level) const { return source_->getExtent(level); }

long long CachedImage::getNumChannels() const { return numChannels_; }

long long CachedImage::getNumLevels() const { return source_->getNumLevels(); }

ValueRange<double> CachedImage::getValueRange() const { return source_->getValueRange(); }

Vector CachedImage::getVoxelSize(long long level) const { return source_->getVoxelSize(level); }

Vector CachedImage::getTileExtent() const { return tileExtent_; }

std::string CachedImage::getSliceName(long long) { return {}; }

std::string CachedImage::getChannelName(long long index) { return source_->getChannelName(index); }

std::string CachedImage::getId() const { return {}; }

std::string CachedImage::getGroupId() const { return {}; }

ContentHash CachedImage::getHash() { return source_->getHash(); }

Image* CachedImage::getViewableRepresentation() { return source_->getViewableRepresentation(); }

void CachedImage::openRegion(double* dst, long long level, Box const& region) {
    TileWalk const walk(getExtent(level), tileExtent_, region);
    bool const hasTiles = !walk.getCovered().isEmpty();
    bool const allInGrid = isInGrid(level, walk.getFirst()) && isInGrid(level, walk.getLast());
    // Tiles are copied over all of their share, so zeros are wanted outside of them only; but not
    // where a tile is missing, or where a derived class may serve less.
    if (!hasTiles || !allInGrid || !ownClass_.isClassOf(*this)) {
        TileImage::openRegion(dst, level, region);
        return;
    }
    detail::zeroOutside(dst, region, walk.getCovered(), numChannels_);
    Vector const dstExtent = region.getExtent();
    walk.forEach([&](Vector const& tilePosition, Box const& tileRegion, Vector const& dstPosition) {
        openTileRegionToPosition(dst, level, tilePosition, tileRegion, dstExtent, dstPosition);
    });
}

void CachedImage::openTileRegionToPosition(double* dst, long long level, Vector const& tilePosition,
                                           Box const& tileRegion, Vector const& dstExtent,
                                           Vector const& dstPosition) {
    // Asked of every tile: no text is made where all is well.
    if (tiles_->isUsedByThisThread()) {
        throw std::runtime_error("The source of a cache must not read through that cache");
    }
    LockGuard const guard(lock_);
    TileStore::Turn const turn(*tiles_);
    if (ContentHash const hash = source_->getHash(); hash != hash_) {
        hash_ = hash;
        clearCache();
    }
    Vector const tile = tilePosition / tileExtent_;
    if (!isInGrid(level, tile)) return;
    copyImageBuffer(findOrRead(level, tile), tileExtent_, tileRegion, dst, dstExtent, dstPosition,
                    numChannels_);
}

void CachedImage::clearCache() { tiles_->clear(); }

bool CachedImage::isInGrid(long long level, Vector const& tile) const noexcept {
    if (level < 0 || tile.x < 0 || tile.y < 0 || tile.z < 0) return false;
    // Per halving half the tiles, rounded up; z is never halved.
    auto const tilesAt = [level](long long count) {
        long long const whole = convertToLevel(count, 0, level);
        return whole + (convertToLevel(whole, level, 0) == count ? 0 : 1);
    };
    return tile.x < tilesAt(numTiles_.x) && tile.y < tilesAt(numTiles_.y) && tile.z < numTiles_.z;
}

double* CachedImage::findOrRead(long long level, Vector const& tile) {
    TileStore::Key const key{level, numTiles_.getStrides().dot(tile)};
    if (double* const values = tiles_->find(key)) return values;
    if (source_->getNumChannels() != numChannels_) {  // no text, as above: a miss takes no memory
        throw std::runtime_error("The source of a cache has changed its number of channels");
    }
    auto const count = detail::elementCount(tileExtent_, numChannels_, sizeof(double));
    return tiles_->add(key, count, [&](double* values) {
        source_->openRegion(values, level, Box(tileExtent_).translated(tileExtent_ * tile));
    });
}

}  // namespace Quivo
