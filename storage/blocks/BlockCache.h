#pragma once

#include "samples/Samples.h"

#include <quivo/tiles/MemoryBudget.h>

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <unordered_map>
#include <utility>

namespace Quivo::detail {

/// A decoded block of one slice, planar: channel after channel, rows of `width` samples.
struct Block {
    long long width = 0;
    long long height = 0;
    Bytes samples;
};

/// Which block: `x` and `y` count blocks of the level. `plane` is the channel of a block that has
/// one alone, 0 for a block that has all.
struct BlockKey {
    long long level;
    long long slice;
    long long plane;
    long long x;
    long long y;

    bool operator==(BlockKey const&) const = default;
};

/// The decoded blocks of one image that were used last, in the file's own sample type.
///
/// However many threads ask for a block, one decodes it and the others wait. A thread that finds
/// its block waits for nobody, but for the moment in which another one looks up or enters a block
/// of the same shard. What is kept is bounded by the cache's own limit, and by a budget that it
/// shares with others; one block always stays, the one used last. Locked inside; any thread.
class BlockCache final : MemoryBudget::Client {
public:
    /// The memory that the block being decoded has been given so far.
    class Room {
    public:
        explicit Room(BlockCache& cache) noexcept : cache_(cache) {}
        Room(Room const&) = delete;
        Room& operator=(Room const&) = delete;
        ~Room();

        /// Lets other blocks go for one of `bytes` bytes. Called before its memory is taken, and
        /// when nothing speaks against decoding it any more.
        void take(std::size_t bytes);

    private:
        friend class BlockCache;
        BlockCache& cache_;
        std::size_t bytes_ = 0;
    };

    using Decode = std::function<std::shared_ptr<Block const>(Room&)>;
    using Check = std::function<void()>;

    /// The cache decides itself how much it keeps, see `expect`; with a `budget`, the budget does.
    explicit BlockCache(std::shared_ptr<MemoryBudget> budget);
    ~BlockCache() override;

    /// The block under `key`: the one that is kept, that another thread is decoding, or that
    /// `decode` gives. `decode` may ask this cache for blocks of finer levels, not of others. Where
    /// it throws, nobody else sees that: whoever waits for the block decodes it again. `check` is
    /// asked every few milliseconds while waiting and may throw.
    /// error: std::bad_alloc, what `decode` throws, what `check` throws.
    std::shared_ptr<Block const> getOrDecode(BlockKey const& key, auto&& decode, auto&& check) {
        if (auto found = find(key)) return found;
        return decodeOnce(key, std::ref(decode), std::ref(check));
    }

    /// Bounds what is kept, at once; nothing: the cache, or its budget, decides again.
    void setLimit(std::optional<std::size_t> bytes);

    /// Tells that a request comes which decodes everything once where `bytes` bytes are kept. Where
    /// the cache decides: so many are, from now on until many requests in a row have needed less.
    void expect(std::size_t bytes);

    /// The bytes of the blocks that are kept or being decoded.
    [[nodiscard]] std::size_t getUse() const noexcept { return own_.getUse(); }

private:
    struct Hash {
        std::size_t operator()(BlockKey const& key) const noexcept;
    };
    struct Entry {
        BlockKey key;
        std::shared_ptr<Block const> block;
        std::size_t bytes;
        std::uint64_t lastUse;
    };
    using Entries = std::list<Entry>;
    /// One decode; guarded by the mutex of its shard.
    struct Flight {
        std::condition_variable ended;
        bool hasEnded = false;
        std::shared_ptr<Block const> block;  ///< null where it failed
    };
    /// The blocks of a part of all keys.
    struct alignas(64) Shard {
        // Guards all of the shard, and its flights. Lock order: a budget's mutex, then this one.
        // Held while a block is looked up or entered, never while one is decoded, evicted blocks
        // are freed, or a budget is charged.
        std::mutex mutex;
        Entries byAge;  ///< used last at the front
        std::unordered_map<BlockKey, Entries::iterator, Hash> byKey;
        std::unordered_map<BlockKey, std::shared_ptr<Flight>, Hash> flights;
        std::atomic<std::uint64_t> oldestUse{none};  ///< of the entry at the back
    };
    static constexpr std::uint64_t none = ~std::uint64_t{0};

    [[nodiscard]] Shard& shardOf(BlockKey const& key) noexcept;
    [[nodiscard]] std::shared_ptr<Block const> find(BlockKey const& key);
    std::shared_ptr<Block const> findIn(Shard& shard, BlockKey const& key);
    std::shared_ptr<Block const> decodeOnce(BlockKey const& key, Decode const& decode,
                                            Check const& check);
    std::shared_ptr<Block const> land(Shard& shard, BlockKey const& key, Flight& flight,
                                      std::shared_ptr<Block const> block, Room& room);
    void endFlight(Shard& shard, BlockKey const& key, Flight& flight) noexcept;
    [[nodiscard]] MemoryBudget& clock() noexcept { return shared_ ? *shared_ : own_; }

    void charge(std::size_t bytes);
    void discharge(std::size_t bytes) noexcept;
    void forget(std::size_t bytes) noexcept;
    [[nodiscard]] std::optional<std::uint64_t> findOldestUse() const noexcept override;
    void evictOldest() noexcept override;

    MemoryBudget own_;  ///< of this cache alone
    std::shared_ptr<MemoryBudget> const shared_;
    std::array<Shard, 16> shards_;

    // Lock order: this mutex, then a budget's. Guards changes of the own budget's limit.
    std::mutex limitMutex_;
    std::atomic<bool> isAutomatic_;
    std::atomic<std::size_t> mostSmaller_{0};  ///< that requests needed which needed less
    std::atomic<int> numSmaller_{0};           ///< how many of them in a row
};

}  // namespace Quivo::detail
