#pragma once

#include "storage/blocks/BlockCache.h"

#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <tuple>

namespace Quivo::detail {

/// The blocks as they lie in the file that were decoded last, for blocks that are put together of
/// parts of them. A few megabytes, and one block at least. Locked inside; any thread.
class RecentBlocks {
public:
    /// Directory, plane, column and row.
    using Key = std::tuple<std::uint64_t, long long, long long, long long>;

    /// The block, or null.
    [[nodiscard]] std::shared_ptr<Block const> find(Key const& key);
    void keep(Key const& key, std::shared_ptr<Block const> block);

private:
    static constexpr std::size_t mostBytes = 16 << 20;

    std::mutex mutex_;  ///< guards what follows; a leaf
    std::list<std::pair<Key, std::shared_ptr<Block const>>> blocks_;  ///< the last one in front
    std::size_t bytes_ = 0;
};

}  // namespace Quivo::detail
