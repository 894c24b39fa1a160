#include <quivo/tiles/CachedImage.h>

#include <quivo/core/Levels.h>

#include "core/Arithmetic.h"
#include "tiles/CopyImageBuffer.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>

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
    measure(cacheSizeMB);
}

CachedImage::CachedImage(Image* source, long long cacheSizeMB, bool ownsSource)
    : source_(source, ownsSource), hash_(source->getHash()), tileExtent_(source->getTileExtent()) {
    measure(cacheSizeMB);
}

void CachedImage::measure(long long cacheSizeMB) {
    Vector const extent = source_->getExtent(0);
    numTiles_ = {tilesAlong(extent.x, tileExtent_.x), tilesAlong(extent.y, tileExtent_.y),
                 tilesAlong(extent.z, tileExtent_.z)};
    numChannels_ = source_->getNumChannels();
    double const valuesPerTile =
        static_cast<double>(numChannels_) * static_cast<double>(tileExtent_.x) *
        static_cast<double>(tileExtent_.y) * static_cast<double>(tileExtent_.z);
    capacity_ = computeCapacity(cacheSizeMB, valuesPerTile);
}

CachedImage::~CachedImage() = default;

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

void CachedImage::openTileRegionToPosition(double* dst, long long level, Vector const& tilePosition,
                                           Box const& tileRegion, Vector const& dstExtent,
                                           Vector const& dstPosition) {
    LockGuard const guard(lock_);
    if (ContentHash const hash = source_->getHash(); hash != hash_) {
        hash_ = hash;
        clearCache();
    }
    Vector const tile = tilePosition / tileExtent_;
    if (!isInGrid(level, tile)) return;
    copyImageBuffer(findOrRead(level, tile), tileExtent_, tileRegion, dst, dstExtent, dstPosition,
                    numChannels_);
}

void CachedImage::clearCache() {
    byKey_.clear();
    byAge_.clear();
}

std::size_t CachedImage::TileKeyHash::operator()(TileKey const& key) const noexcept {
    // The golden ratio spreads the levels, whose tiles share indices (Knuth, Sorting and
    // Searching).
    auto const spread = static_cast<unsigned long long>(key.level) * 0x9E3779B97F4A7C15ULL;
    return std::hash<unsigned long long>()(spread ^ static_cast<unsigned long long>(key.index));
}

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
    TileKey const key{level, numTiles_.getStrides().dot(tile)};
    auto const found = byKey_.find(key);
    if (found == byKey_.end()) return readTile(key, tile);
    byAge_.splice(byAge_.end(), byAge_, found->second);
    return found->second->values.get();
}

double* CachedImage::readTile(TileKey const& key, Vector const& tile) {
    // A full cache gives the memory of its oldest tile, whose place is lost even if the read fails;
    // nothing is allocated then.
    std::list<Tile> fresh;
    decltype(byKey_)::node_type place;
    if (byAge_.size() == capacity_) {
        place = byKey_.extract(byAge_.front().key);
        fresh.splice(fresh.end(), byAge_, byAge_.begin());
    } else {
        auto const count = detail::elementCount(tileExtent_, numChannels_, sizeof(double));
        fresh.push_back({key, std::make_unique_for_overwrite<double[]>(count)});
    }
    fresh.front().key = key;
    double* const values = fresh.front().values.get();
    source_->openRegion(values, key.level, Box(tileExtent_).translated(tileExtent_ * tile));
    if (place) {
        place.key() = key;
        place.mapped() = fresh.begin();
        byKey_.insert(std::move(place));
    } else {
        byKey_.emplace(key, fresh.begin());
    }
    byAge_.splice(byAge_.end(), fresh);
    return values;
}

}  // namespace Quivo
