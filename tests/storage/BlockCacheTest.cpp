// The cache of decoded blocks under many threads; also meant for the thread sanitizer.

#include "storage/blocks/BlockCache.h"

#include <gtest/gtest.h>

#include "support/Threads.h"

#include <random>

namespace Quivo::Testing {

using detail::Block;
using detail::BlockCache;
using detail::BlockKey;

namespace {

/// What stops one thread, and must never reach another one.
struct Stop {
    int thread;
};

std::shared_ptr<Block const> makeBlock(BlockCache::Room& room, std::size_t size, int value) {
    room.take(size);
    auto block = std::make_shared<Block>();
    block->samples.assign(size, static_cast<std::byte>(value));
    return block;
}

BlockKey keyOf(long long x, long long level = 0) { return {level, 0, 0, x, 0}; }

}  // namespace

TEST(BlockCacheThreads, KeepTheRulesWhileDecodersFailAndWaitersGiveUpAtRandom) {
    constexpr std::size_t limit = 3000, largest = 4096;  // single blocks are larger than the limit
    constexpr long long numKeys = 8, numLevels = 3;
    for (bool const isShared : {false, true}) {
        auto const budget = std::make_shared<MemoryBudget>(limit);
        {
            BlockCache caches[2]{BlockCache(isShared ? budget : nullptr),
                                 BlockCache(isShared ? budget : nullptr)};
            if (!isShared)
                for (auto& cache : caches) cache.setLimit(limit);
            std::array<std::array<std::atomic<int>, numKeys * numLevels>, 2> running{};
            onFourThreads([&](int thread) {
                std::minstd_rand random(static_cast<unsigned>(thread) + 1);
                auto const happens = [&](unsigned oneIn) { return random() % oneIn == 0; };
                std::function<void(std::size_t, BlockKey)> get = [&](std::size_t c, BlockKey key) {
                    auto const index = static_cast<std::size_t>(key.level * numKeys + key.x);
                    auto const decode = [&](BlockCache::Room& room) {
                        EXPECT_EQ(++running[c][index], 1) << "decoded by two at once";
                        std::shared_ptr<std::atomic<int>> const leave(
                            &running[c][index], [](auto* count) { --*count; });
                        if (happens(9)) throw Stop{thread};
                        // From the finer level, by some threads from the left, by others from the
                        // right.
                        for (long long i = 0; i < 2 && key.level > 0; ++i)
                            get(c,
                                keyOf((key.x + (thread % 2 ? i : 1 - i)) % numKeys, key.level - 1));
                        if (happens(9)) std::this_thread::yield();
                        auto const block = makeBlock(room, 1 + index * largest / 24, int(index));
                        if (happens(9)) throw Stop{thread};
                        return block;
                    };
                    auto const check = [&] {
                        if (happens(3)) throw Stop{thread};
                    };
                    auto const block = caches[c].getOrDecode(key, decode, check);
                    ASSERT_EQ(block->samples, detail::Bytes(1 + index * largest / 24,
                                                            static_cast<std::byte>(index)));
                };
                for (unsigned i = 0; i < 1500; ++i) {
                    auto const c = static_cast<std::size_t>(random() % 2);
                    long long const level = random() % numLevels;
                    try {
                        get(c, keyOf(random() % numKeys, level));
                    } catch (Stop const& stop) {
                        EXPECT_EQ(stop.thread, thread) << "stopped by another thread's exception";
                    }
                    auto const use = isShared ? budget->getUse() : caches[c].getUse();
                    EXPECT_LE(use, limit + 4 * numLevels * largest) << "and what threads have";
                    if (thread == 0 && i % 100 == 0) budget->setLimit(limit / (1 + i % 3));
                }
            });
            auto const left = isShared ? budget->getUse() : caches[0].getUse();
            EXPECT_LE(left, std::max(limit, largest)) << "nobody has anything any more";
        }
        EXPECT_EQ(budget->getUse(), 0U);
    }
}

TEST(BlockCache, KeepsAsMuchAsRequestsOfTheseTimesNeed) {
    BlockCache cache(nullptr);
    auto const fill = [&] {
        for (long long x = 0; x < 30; ++x)
            cache.getOrDecode(
                keyOf(x), [](auto& room) { return makeBlock(room, 100, 0); }, [] {});
        return cache.getUse();
    };
    EXPECT_EQ(fill(), 100U) << "one in any case";
    cache.expect(2000);
    EXPECT_EQ(fill(), 2000U);
    for (int i = 0; i < 1000; ++i) cache.expect(i % 200 ? 500 : 2000);
    EXPECT_EQ(fill(), 2000U) << "now and then one needs as much as ever";
    for (int i = 0; i < 1000; ++i) cache.expect(i % 2 ? 500 : 700);
    EXPECT_EQ(cache.getUse(), 700U) << "fallen and evicted";
    cache.setLimit(300);
    EXPECT_EQ(cache.getUse(), 300U) << "at once";
    cache.expect(2000);
    EXPECT_EQ(fill(), 300U) << "set, so not raised";
    cache.setLimit({});
    cache.expect(2000);
    EXPECT_EQ(fill(), 2000U) << "automatic again";
}

}  // namespace Quivo::Testing
