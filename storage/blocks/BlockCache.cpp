#include "storage/blocks/BlockCache.h"

#include <algorithm>
#include <chrono>
#include <limits>

namespace Quivo::detail {

namespace {

constexpr std::size_t unlimited = std::numeric_limits<std::size_t>::max();
/// How long a thread waits for another one's block before it asks whether it is still to.
constexpr std::chrono::milliseconds patience(5);
/// After how many requests that needed less the automatic limit falls.
constexpr int numRequestsRemembered = 256;

}  // namespace

BlockCache::Room::~Room() { cache_.discharge(bytes_); }

void BlockCache::Room::take(std::size_t bytes) {
    if (bytes <= bytes_) return;
    cache_.charge(bytes - bytes_);
    bytes_ = bytes;
}

BlockCache::BlockCache(std::shared_ptr<MemoryBudget> budget)
    : own_(budget ? unlimited : 0), shared_(std::move(budget)), isAutomatic_(!shared_) {
    own_.add(*this);
    if (shared_) shared_->add(*this);
}

BlockCache::~BlockCache() {
    own_.remove(*this);
    if (!shared_) return;
    shared_->remove(*this);
    for (auto const& shard : shards_) {
        for (auto const& entry : shard.byAge) forget(entry.bytes);
    }
}

void BlockCache::setLimit(std::optional<std::size_t> bytes) {
    std::lock_guard const lock(limitMutex_);
    isAutomatic_ = !bytes && !shared_;
    mostSmaller_ = 0;
    numSmaller_ = 0;
    // An automatic limit begins with the one before: requests raise it, and in time lower it.
    if (bytes || shared_) own_.setLimit(bytes.value_or(unlimited));
}

void BlockCache::expect(std::size_t bytes) {
    if (!isAutomatic_) return;
    if (auto const limit = own_.getLimit(); bytes < limit) {
        auto most = mostSmaller_.load();
        while (most < bytes && !mostSmaller_.compare_exchange_weak(most, bytes)) {
        }
        if (++numSmaller_ < numRequestsRemembered) return;
    } else if (bytes == limit) {
        if (numSmaller_ != 0) numSmaller_ = 0;
        if (mostSmaller_ != 0) mostSmaller_ = 0;
        return;
    }
    std::lock_guard const lock(limitMutex_);
    if (!isAutomatic_) return;
    // Raised by this request, or lowered to what the last ones needed.
    bool const raises = bytes > own_.getLimit();
    if (!raises && numSmaller_ < numRequestsRemembered) return;
    own_.setLimit(raises ? bytes : std::max(bytes, mostSmaller_.load()));
    mostSmaller_ = 0;
    numSmaller_ = 0;
}

std::size_t BlockCache::Hash::operator()(BlockKey const& key) const noexcept {
    // Multiplying by the golden ratio spreads neighbours (Knuth, Sorting and Searching).
    std::uint64_t mixed = 0;
    for (auto const part : {key.level, key.slice, key.plane, key.x, key.y}) {
        mixed = (mixed ^ static_cast<std::uint64_t>(part)) * 0x9E3779B97F4A7C15ULL;
        mixed ^= mixed >> 32;
    }
    return static_cast<std::size_t>(mixed);
}

BlockCache::Shard& BlockCache::shardOf(BlockKey const& key) noexcept {
    // The bits that a table of keys of one shard uses least.
    return shards_[Hash()(key) >> 24 & (shards_.size() - 1)];
}

std::shared_ptr<Block const> BlockCache::find(BlockKey const& key) {
    Shard& shard = shardOf(key);
    std::lock_guard const lock(shard.mutex);
    return findIn(shard, key);
}

/// The block, which then counts as used last; null when it is not here. The mutex is held.
std::shared_ptr<Block const> BlockCache::findIn(Shard& shard, BlockKey const& key) {
    auto const found = shard.byKey.find(key);
    if (found == shard.byKey.end()) return nullptr;
    Entry& entry = *found->second;
    entry.lastUse = clock().stampUsed();
    shard.byAge.splice(shard.byAge.begin(), shard.byAge, found->second);
    shard.oldestUse.store(shard.byAge.back().lastUse, std::memory_order_release);
    return entry.block;
}

std::shared_ptr<Block const> BlockCache::decodeOnce(BlockKey const& key, Decode const& decode,
                                                    Check const& check) {
    Shard& shard = shardOf(key);
    std::shared_ptr<Flight> flight;
    for (std::unique_lock lock(shard.mutex);;) {
        if (auto found = findIn(shard, key)) return found;
        auto const other = shard.flights.find(key);
        if (other == shard.flights.end()) {
            flight = std::make_shared<Flight>();
            shard.flights.emplace(key, flight);
            break;
        }
        auto const awaited = other->second;
        while (!awaited->hasEnded) {
            awaited->ended.wait_for(lock, patience);
            if (awaited->hasEnded) break;
            lock.unlock();
            check();
            lock.lock();
        }
        if (awaited->block) return awaited->block;
    }
    try {
        Room room(*this);
        auto block = decode(room);
        room.take(block->samples.size());
        return land(shard, key, *flight, std::move(block), room);
    } catch (...) {
        endFlight(shard, key, *flight);
        throw;
    }
}

/// Enters a block that was decoded, and hands it to those who wait.
std::shared_ptr<Block const> BlockCache::land(Shard& shard, BlockKey const& key, Flight& flight,
                                              std::shared_ptr<Block const> block, Room& room) {
    Entries entry;
    entry.push_back({key, block, room.bytes_, 0});
    {
        std::lock_guard const lock(shard.mutex);
        shard.byKey.emplace(key, entry.begin());
        room.bytes_ = 0;
        entry.front().lastUse = clock().stampNew();
        shard.byAge.splice(shard.byAge.begin(), entry);
        shard.oldestUse = shard.byAge.back().lastUse;
        flight.block = block;
        flight.hasEnded = true;
        shard.flights.erase(key);
    }
    flight.ended.notify_all();
    own_.addEvictable();
    if (shared_) shared_->addEvictable();
    return block;
}

/// Lets those who wait try it themselves.
void BlockCache::endFlight(Shard& shard, BlockKey const& key, Flight& flight) noexcept {
    {
        std::lock_guard const lock(shard.mutex);
        if (flight.hasEnded) return;
        flight.hasEnded = true;
        shard.flights.erase(key);
    }
    flight.ended.notify_all();
}

void BlockCache::charge(std::size_t bytes) {
    own_.charge(bytes);
    if (shared_) shared_->charge(bytes);
}

void BlockCache::discharge(std::size_t bytes) noexcept {
    own_.discharge(bytes);
    if (shared_) shared_->discharge(bytes);
}

void BlockCache::forget(std::size_t bytes) noexcept {
    own_.removeEvictable();
    if (shared_) shared_->removeEvictable();
    discharge(bytes);
}

std::optional<std::uint64_t> BlockCache::findOldestUse() const noexcept {
    std::uint64_t oldest = none;
    for (auto const& shard : shards_) oldest = std::min(oldest, shard.oldestUse.load());
    if (oldest == none) return std::nullopt;
    return oldest;
}

void BlockCache::evictOldest() noexcept {
    auto const older = [](Shard const& a, Shard const& b) { return a.oldestUse < b.oldestUse; };
    Shard& shard = *std::min_element(shards_.begin(), shards_.end(), older);
    Entries evicted;
    {
        std::lock_guard const lock(shard.mutex);
        if (shard.byAge.empty()) return;
        evicted.splice(evicted.begin(), shard.byAge, std::prev(shard.byAge.end()));
        shard.byKey.erase(evicted.front().key);
        shard.oldestUse = shard.byAge.empty() ? none : shard.byAge.back().lastUse;
    }
    forget(evicted.front().bytes);
}

}  // namespace Quivo::detail
