#pragma once

#include <quivo/core/Export.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

namespace Quivo {

/// One ceiling in bytes for what any number of images keep in memory.
///
/// Images that are opened with a budget (see `OpenOptions`) charge to it what they keep decoded.
/// When it gets too much, about the least recently used block of any of them goes. What a running
/// read has in hand is not counted once it was evicted: a block per thread and level. One block
/// always stays, the one used last, even where it alone is more than the limit leaves.
///
/// What keeps memory by rules of its own, such as a `CachedImage`, is not charged: whoever builds a
/// chain with one reserves its capacity, or is refused.
///
/// The budget is shared through `std::shared_ptr` and outlives who charges it. Locked inside; any
/// thread.
class QUIVO_API MemoryBudget {
    struct State;

public:
    /// A part of the budget that is nobody else's while the object lives; it may outlive the
    /// budget. An empty one holds nothing. One thread at a time.
    class QUIVO_API Reservation {
    public:
        /// Empty.
        Reservation() noexcept;
        /// Takes over what `other` holds, which is empty then.
        Reservation(Reservation&& other) noexcept;
        /// The same; what was held before goes back.
        Reservation& operator=(Reservation&& other) noexcept;
        /// Gives the bytes back.
        ~Reservation();

        /// How many bytes it holds.
        [[nodiscard]] std::size_t getBytes() const noexcept { return bytes_; }

    private:
        friend class MemoryBudget;
        Reservation(std::shared_ptr<State> state, std::size_t bytes) noexcept;

        std::shared_ptr<State> state_;
        std::size_t bytes_ = 0;
    };

    /// Nothing is used yet.
    explicit MemoryBudget(std::size_t limitBytes);
    MemoryBudget(MemoryBudget const&) = delete;
    MemoryBudget& operator=(MemoryBudget const&) = delete;
    ~MemoryBudget();

    /// What is kept beyond a lower limit is evicted before this returns. Reservations stay.
    void setLimit(std::size_t bytes);
    /// The limit as it was set last.
    [[nodiscard]] std::size_t getLimit() const noexcept;

    /// The bytes kept, being decoded and reserved.
    [[nodiscard]] std::size_t getUse() const noexcept;
    /// The most that `getUse()` has been.
    [[nodiscard]] std::size_t getPeak() const noexcept;

    /// Sets `bytes` aside; as much as needed of what is kept is evicted for it.
    /// error: std::runtime_error, one line, when the other reservations leave less than that.
    [[nodiscard]] Reservation reserve(std::size_t bytes);

    /// What a cache of blocks is to the budgets that it charges. They call it on any thread that
    /// charges, with a lock held: it may take locks of its own, but calls nothing of a budget but
    /// `discharge` and `removeEvictable`.
    class QUIVO_API Client {
    public:
        virtual ~Client();
        /// The age stamp of the block used longest ago; none when there is no block to evict.
        [[nodiscard]] virtual std::optional<std::uint64_t> findOldestUse() const noexcept = 0;
        /// Evicts that block: `removeEvictable` and `discharge`. Does nothing only where somebody
        /// else has evicted the last one since `findOldestUse`.
        virtual void evictOldest() noexcept = 0;
    };

    /// For caches; what they keep they keep in four steps: `charge` before the memory is taken,
    /// `addEvictable` when the block can be found, and when it goes `removeEvictable` and
    /// `discharge`. No lock that `Client` takes is held.
    ///@{
    /// From now on the client is asked to evict. It stays the caller's, until `remove`.
    void add(Client& client);
    /// Waits for evictions that are under way.
    void remove(Client& client) noexcept;
    /// Counts `bytes` as used, having evicted until they fit or nothing is left to evict.
    void charge(std::size_t bytes);
    void discharge(std::size_t bytes) noexcept;
    /// Counts one more block that can go, and lets blocks go where others were charged meanwhile.
    void addEvictable();
    void removeEvictable() noexcept;
    /// The age stamp of a new block: larger than all before.
    [[nodiscard]] std::uint64_t stampNew() noexcept;
    /// The age stamp of a block that is used again: above those of all blocks until now, below
    /// those of all later ones. Costs no more than reading a number that rarely changes.
    [[nodiscard]] std::uint64_t stampUsed() const noexcept;
    ///@}

private:
    std::shared_ptr<State> state_;
};

}  // namespace Quivo
