#include "storage/blocks/BlockCache.h"

#include <algorithm>

namespace Quivo::detail {

std::shared_ptr<Block const> BlockCache::find(BlockKey const& key) {
    std::lock_guard const lock(mutex_);
    auto const found = byKey_.find(key);
    if (found == byKey_.end()) return nullptr;
    byAge_.splice(byAge_.begin(), byAge_, found->second);
    return found->second->block;
}

void BlockCache::insert(BlockKey const& key, std::shared_ptr<Block const> block) {
    std::lock_guard const lock(mutex_);
    // Another thread may have decoded the same block meanwhile.
    if (byKey_.contains(key)) return;
    byAge_.push_front({key, std::move(block)});
    try {
        byKey_.emplace(key, byAge_.begin());
    } catch (...) {
        byAge_.pop_front();
        throw;
    }
    bytes_ += byAge_.front().block->samples.size();
    while (bytes_ > limit_ && byAge_.size() > 1) {
        bytes_ -= byAge_.back().block->samples.size();
        byKey_.erase(byAge_.back().key);
        byAge_.pop_back();
    }
}

void BlockCache::allow(std::size_t bytes) {
    std::lock_guard const lock(mutex_);
    limit_ = std::max(limit_, bytes);
}

}  // namespace Quivo::detail
