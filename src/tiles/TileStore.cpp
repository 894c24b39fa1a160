#include "tiles/TileStore.h"

#include <algorithm>
#include <new>
#include <utility>

namespace Quivo {

double* TileStore::find(Key const& key) noexcept {
    if (size_ == 0) return nullptr;
    Place place = bucketOf(key);
    while (place != none && tiles_[place].key != key) place = tiles_[place].next;
    if (place == none) return nullptr;
    if (place != newest_) {
        unlink(tiles_[place]);
        linkAsNewest(place);
    }
    return tiles_[place].values.get();
}

/// Memory for one tile: that of the oldest one in a full store.
detail::Scratch TileStore::takeMemory(std::size_t numValues) {
    if (size_ == capacity_) forgetOldest();
    return spare_ ? std::move(spare_) : detail::allocateScratch(numValues);
}

/// Takes the values once nothing can fail any more.
double* TileStore::insert(Key const& key, detail::Scratch& values) {
    Place const place = unused_ == none ? makePlace() : unused_;
    unused_ = none;
    Tile& tile = tiles_[place];
    tile.key = key;
    tile.values = std::move(values);
    enter(place);
    linkAsNewest(place);
    ++size_;
    return tile.values.get();
}

void TileStore::clear() noexcept {
    tiles_.clear();
    std::fill(buckets_.begin(), buckets_.end(), none);
    oldest_ = newest_ = unused_ = none;
    size_ = 0;
    spare_.reset();
}

TileStore::Place& TileStore::bucketOf(Key const& key) noexcept {
    // Multiplying by the golden ratio spreads neighbours (Knuth, Sorting and Searching); the upper
    // half of the product depends on every bit.
    auto const mixed = (static_cast<unsigned long long>(key.level) * 0x9E3779B97F4A7C15ULL ^
                        static_cast<unsigned long long>(key.index)) *
                       0x9E3779B97F4A7C15ULL;
    return buckets_[static_cast<std::size_t>(mixed >> 32) & (buckets_.size() - 1)];
}

/// A new place at the end of the array, in no list.
TileStore::Place TileStore::makePlace() {
    if (tiles_.size() >= none) throw std::bad_alloc();
    tiles_.push_back({{}, none, none, none, nullptr});
    auto const place = static_cast<Place>(tiles_.size() - 1);
    if (tiles_.size() > buckets_.size()) {
        try {
            buckets_.assign(std::max<std::size_t>(16, 2 * buckets_.size()), none);
        } catch (...) {
            tiles_.pop_back();
            throw;
        }
        for (Place other = oldest_; other != none; other = tiles_[other].newer) enter(other);
    }
    return place;
}

/// Leaves its place and its memory for the next tile.
void TileStore::forgetOldest() noexcept {
    Place const place = oldest_;
    Tile& tile = tiles_[place];
    Place* link = &bucketOf(tile.key);
    while (*link != place) link = &tiles_[*link].next;
    *link = tile.next;
    unlink(tile);
    unused_ = place;
    spare_ = std::move(tile.values);
    --size_;
}

void TileStore::enter(Place place) noexcept {
    Place& bucket = bucketOf(tiles_[place].key);
    tiles_[place].next = bucket;
    bucket = place;
}

void TileStore::unlink(Tile const& tile) noexcept {
    (tile.older == none ? oldest_ : tiles_[tile.older].newer) = tile.newer;
    (tile.newer == none ? newest_ : tiles_[tile.newer].older) = tile.older;
}

void TileStore::linkAsNewest(Place place) noexcept {
    tiles_[place].older = newest_;
    tiles_[place].newer = none;
    (newest_ == none ? oldest_ : tiles_[newest_].newer) = place;
    newest_ = place;
}

}  // namespace Quivo
