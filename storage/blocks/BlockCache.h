#pragma once

#include "samples/Samples.h"

#include <quivo/core/Vector.h>

#include <compare>
#include <list>
#include <map>
#include <memory>
#include <mutex>

namespace Quivo::detail {

/// A decoded block of one slice, planar: channel after channel, rows of `width` samples.
struct Block {
    long long width = 0;
    long long height = 0;
    Bytes samples;
};

/// Which block: `x` and `y` count blocks of the level.
struct BlockKey {
    long long level;
    long long slice;
    long long x;
    long long y;

    auto operator<=>(BlockKey const&) const = default;
};

/// The blocks used last, up to a number of bytes. Locked inside; any thread.
class BlockCache {
public:
    /// The block, which then counts as used last; null when it is not here.
    [[nodiscard]] std::shared_ptr<Block const> find(BlockKey const& key);

    /// Keeps a block; those used longest ago go when it gets too much. The newest always stays.
    void insert(BlockKey const& key, std::shared_ptr<Block const> block);

    /// Raises the limit to `bytes`; it never falls.
    void allow(std::size_t bytes);

private:
    struct Entry {
        BlockKey key;
        std::shared_ptr<Block const> block;
    };

    std::mutex mutex_;
    std::size_t limit_ = 0;
    std::size_t bytes_ = 0;
    std::list<Entry> byAge_;  // used last at the front
    std::map<BlockKey, std::list<Entry>::iterator> byKey_;
};

}  // namespace Quivo::detail
