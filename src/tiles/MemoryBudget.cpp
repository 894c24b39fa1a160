#include <quivo/tiles/MemoryBudget.h>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace Quivo {

struct MemoryBudget::State {
    explicit State(std::size_t bytes) : limit(bytes) {}

    /// Counts `bytes` as used where they fit.
    bool tryCharge(std::size_t bytes, std::size_t most) noexcept {
        auto used = use.load();
        while (bytes <= most && used <= most - bytes) {
            if (use.compare_exchange_weak(used, used + bytes)) {
                raisePeak(used + bytes);
                return true;
            }
        }
        return false;
    }

    void raisePeak(std::size_t used) noexcept {
        auto highest = peak.load();
        while (highest < used && !peak.compare_exchange_weak(highest, used)) {
        }
    }

    /// Evicts the block used longest ago, if there is one. The mutex is held.
    bool evictOldest() {
        Client* oldest = nullptr;
        std::uint64_t age = 0;
        for (auto* const client : clients) {
            auto const found = client->findOldestUse();
            if (found && (!oldest || *found < age)) {
                oldest = client;
                age = *found;
            }
        }
        if (oldest) oldest->evictOldest();
        return oldest != nullptr;
    }

    /// Evicts until no more than `most` bytes are used or `numKept` blocks are left.
    /// The mutex is held.
    void shrinkTo(std::size_t most, long long numKept) {
        while (use > most && numEvictable > numKept && evictOldest()) {
        }
    }

    /// Counts `bytes` as used, having evicted until they fit or nothing is left to evict. The
    /// mutex is held.
    void chargeEvicting(std::size_t bytes) {
        do {
            std::size_t const most = limit;
            shrinkTo(most > bytes ? most - bytes : 0, 0);
            if (tryCharge(bytes, most)) return;
            // Somebody else was faster, or what is left is in nobody's power.
        } while (numEvictable > 0 && evictOldest());
        raisePeak(use += bytes);
    }

    // Guards `clients`, `reserved` and changes of the limit, and lets one thread evict at a time.
    // Lock order: this mutex, then those of the caches' shards. No two budgets are locked at once.
    std::mutex mutex;
    std::vector<Client*> clients;
    std::size_t reserved = 0;

    std::atomic<std::size_t> limit;
    std::atomic<std::size_t> use{0};
    std::atomic<std::size_t> peak{0};
    std::atomic<long long> numEvictable{0};
    std::atomic<std::uint64_t> clock{0};  // even; odd numbers are between new blocks
};

MemoryBudget::Client::~Client() = default;

MemoryBudget::Reservation::Reservation() noexcept = default;

MemoryBudget::Reservation::Reservation(std::shared_ptr<State> state, std::size_t bytes) noexcept
    : state_(std::move(state)), bytes_(bytes) {}

MemoryBudget::Reservation::Reservation(Reservation&& other) noexcept
    : state_(std::move(other.state_)), bytes_(std::exchange(other.bytes_, 0)) {}

MemoryBudget::Reservation& MemoryBudget::Reservation::operator=(Reservation&& other) noexcept {
    Reservation taken(std::move(other));
    std::swap(state_, taken.state_);
    std::swap(bytes_, taken.bytes_);
    return *this;
}

MemoryBudget::Reservation::~Reservation() {
    if (!state_) return;
    std::lock_guard const lock(state_->mutex);
    state_->reserved -= bytes_;
    state_->use -= bytes_;
}

MemoryBudget::MemoryBudget(std::size_t limitBytes) : state_(std::make_shared<State>(limitBytes)) {}

MemoryBudget::~MemoryBudget() = default;

void MemoryBudget::setLimit(std::size_t bytes) {
    std::lock_guard const lock(state_->mutex);
    state_->limit = bytes;
    state_->shrinkTo(bytes, 0);
}

std::size_t MemoryBudget::getLimit() const noexcept { return state_->limit; }

std::size_t MemoryBudget::getUse() const noexcept { return state_->use; }

std::size_t MemoryBudget::getPeak() const noexcept { return state_->peak; }

MemoryBudget::Reservation MemoryBudget::reserve(std::size_t bytes) {
    std::lock_guard const lock(state_->mutex);
    std::size_t const limit = state_->limit;
    if (state_->reserved > limit || bytes > limit - state_->reserved) {
        throw std::runtime_error("The memory budget of " + std::to_string(limit) +
                                 " bytes has no room for " + std::to_string(bytes) + ": " +
                                 std::to_string(state_->reserved) + " are reserved");
    }
    state_->chargeEvicting(bytes);  // again where another thread charged in between
    state_->reserved += bytes;
    return {state_, bytes};
}

void MemoryBudget::add(Client& client) {
    std::lock_guard const lock(state_->mutex);
    state_->clients.push_back(&client);
}

void MemoryBudget::remove(Client& client) noexcept {
    std::lock_guard const lock(state_->mutex);
    std::erase(state_->clients, &client);
}

void MemoryBudget::charge(std::size_t bytes) {
    if (state_->tryCharge(bytes, state_->limit)) return;
    std::lock_guard const lock(state_->mutex);
    state_->chargeEvicting(bytes);
}

void MemoryBudget::discharge(std::size_t bytes) noexcept { state_->use -= bytes; }

void MemoryBudget::addEvictable() {
    ++state_->numEvictable;
    if (state_->use <= state_->limit) return;
    std::lock_guard const lock(state_->mutex);
    state_->shrinkTo(state_->limit, 1);
}

void MemoryBudget::removeEvictable() noexcept { --state_->numEvictable; }

std::uint64_t MemoryBudget::stampNew() noexcept {
    return state_->clock.fetch_add(2, std::memory_order_relaxed) + 2;
}

std::uint64_t MemoryBudget::stampUsed() const noexcept {
    return state_->clock.load(std::memory_order_relaxed) + 1;
}

}  // namespace Quivo
