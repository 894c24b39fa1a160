#include "read/RecentBlocks.h"

#include <algorithm>

namespace Quivo::detail {

std::shared_ptr<Block const> RecentBlocks::find(Key const& key) {
    std::lock_guard const lock(mutex_);
    auto const found = std::find_if(blocks_.begin(), blocks_.end(),
                                    [&](auto const& entry) { return entry.first == key; });
    if (found == blocks_.end()) return nullptr;
    blocks_.splice(blocks_.begin(), blocks_, found);
    return found->second;
}

void RecentBlocks::keep(Key const& key, std::shared_ptr<Block const> block) {
    std::list<std::pair<Key, std::shared_ptr<Block const>>> dropped;  // freed without the lock
    std::lock_guard const lock(mutex_);
    bytes_ += block->samples.size();
    blocks_.emplace_front(key, std::move(block));
    while (bytes_ > mostBytes && blocks_.size() > 1) {
        bytes_ -= blocks_.back().second->samples.size();
        dropped.splice(dropped.begin(), blocks_, std::prev(blocks_.end()));
    }
}

}  // namespace Quivo::detail
