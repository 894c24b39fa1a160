#pragma once

#include "core/Storage.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <thread>
#include <utility>
#include <vector>

namespace Quivo {

/// A bounded number of tiles of one size, found by key; when there is no room the one that was used
/// longest ago goes. Everything takes constant time.
///
/// Tiles are entries of one array and refer to each other by their places in it: what a hit touches
/// is small and near, however many tiles there are. One thread at a time, which takes a `Turn`.
class TileStore {
public:
    struct Key {
        long long level;
        long long index;  ///< of the tile in the level-0 grid
        bool operator==(Key const&) const = default;
    };

    /// Marks the calling thread as the one that works with the store, for one scope.
    class Turn {
    public:
        explicit Turn(TileStore& store) noexcept : store_(store) {
            store_.user_.store(std::this_thread::get_id(), std::memory_order_relaxed);
        }
        Turn(Turn const&) = delete;
        Turn& operator=(Turn const&) = delete;
        ~Turn() { store_.user_.store({}, std::memory_order_relaxed); }

    private:
        TileStore& store_;
    };

    /// At most `capacity` tiles, at least one.
    explicit TileStore(std::size_t capacity) noexcept : capacity_(capacity) {}

    /// Whether the calling thread is inside a `Turn`. Any thread, also while another one has its
    /// turn: only a thread itself stores its own name, so it always sees whether it did.
    [[nodiscard]] bool isUsedByThisThread() const noexcept {
        return user_.load(std::memory_order_relaxed) == std::this_thread::get_id();
    }

    /// The values of a tile, which becomes the one used last; null when it is not here.
    [[nodiscard]] double* find(Key const& key) noexcept;

    /// Adds a tile that is not here, of `numValues` doubles, the same number for all:
    /// `read(values)` fills them. A full store gives it the memory of the tile used longest ago,
    /// which is lost even if `read` throws; then nothing is added. `read` may clear the store: the
    /// tile is added all the same.
    /// error: std::bad_alloc, and what `read` throws.
    template <typename Read>
    double* add(Key const& key, std::size_t numValues, Read read) {
        // In nobody else's hands while it is read; a failure leaves the memory for the next tile.
        detail::Scratch values = takeMemory(numValues);
        try {
            read(values.get());
            return insert(key, values);
        } catch (...) {
            spare_ = std::move(values);
            throw;
        }
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
        Place next;  ///< of the same bucket
        detail::Scratch values;
    };

    [[nodiscard]] Place& bucketOf(Key const& key) noexcept;
    detail::Scratch takeMemory(std::size_t numValues);
    double* insert(Key const& key, detail::Scratch& values);
    Place makePlace();
    void forgetOldest() noexcept;
    void enter(Place place) noexcept;
    void unlink(Tile const& tile) noexcept;
    void linkAsNewest(Place place) noexcept;

    std::size_t capacity_;
    std::size_t size_ = 0;
    std::vector<Tile> tiles_;
    std::vector<Place> buckets_;  ///< a power of two, never fewer than tiles
    Place oldest_ = none;
    Place newest_ = none;
    Place unused_ = none;    ///< the one without a tile, when there is one
    detail::Scratch spare_;  ///< memory for the next tile, when there is some
    std::atomic<std::thread::id> user_;
};

}  // namespace Quivo
