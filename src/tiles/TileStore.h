#pragma once

#include "core/Storage.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Quivo {

/// A bounded number of tiles of one size, found by key; when there is no room the one that was used
/// longest ago goes. Everything takes constant time.
///
/// Tiles are entries of one array and refer to each other by their places in it: what a hit touches
/// is small and near, however many tiles there are. One thread at a time.
class TileStore {
public:
    struct Key {
        long long level;
        long long index;  ///< of the tile in the level-0 grid
        bool operator==(Key const&) const = default;
    };

    /// At most `capacity` tiles, at least one.
    explicit TileStore(std::size_t capacity) noexcept : capacity_(capacity) {}

    /// The values of a tile, which becomes the one used last; null when it is not here.
    [[nodiscard]] double* find(Key const& key) noexcept;

    /// Adds a tile that is not here, of `numValues` doubles, the same number for all:
    /// `read(values)` fills them. A full store gives it the memory of the tile used longest ago,
    /// which is lost even if `read` throws; then nothing is added.
    /// error: std::bad_alloc, and what `read` throws.
    template <typename Read>
    double* add(Key const& key, std::size_t numValues, Read read) {
        // Unused until it is read: a failure leaves the place for the next tile.
        double* const values = makeRoom(numValues);
        read(values);
        insert(key);
        return values;
    }

    /// Forgets all tiles and frees their memory.
    void clear() noexcept;

private:
    using Place = std::uint32_t;
    static constexpr Place none = 0xFFFFFFFF;

    struct Tile {
        Key key;
        Place older;
        Place newer;
        Place next;  ///< of the same bucket, or of the unused places
        detail::Scratch values;
    };

    [[nodiscard]] Place& bucketOf(Key const& key) noexcept;
    double* makeRoom(std::size_t numValues);
    void insert(Key const& key) noexcept;
    void makePlace(std::size_t numValues);
    void forget(Place place) noexcept;
    void enter(Place place) noexcept;
    void unlink(Tile const& tile) noexcept;
    void linkAsNewest(Place place) noexcept;

    std::size_t capacity_;
    std::size_t size_ = 0;
    std::vector<Tile> tiles_;
    std::vector<Place> buckets_;  ///< a power of two, never fewer than tiles
    Place oldest_ = none;
    Place newest_ = none;
    Place unused_ = none;
};

}  // namespace Quivo
