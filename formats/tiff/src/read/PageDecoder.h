#pragma once

#include "read/PageInfo.h"
#include "read/PieceDecoder.h"
#include "read/RecentBlocks.h"
#include "storage/blocks/BlockCache.h"
#include "storage/files/File.h"

#include <quivo/util/Cancellation.h>
#include <quivo/util/DamageLog.h>

#include <cstdint>
#include <map>
#include <memory>
#include <utility>

namespace Quivo::detail {

/// Delivers the blocks of a file's pages: upright, and with what their masks say. Locked inside;
/// any thread.
class PageDecoder {
public:
    /// `log` may be null.
    PageDecoder(std::shared_ptr<File const> file, std::shared_ptr<DamageLog> log)
        : pieces_(std::move(file), std::move(log)) {}

    /// The block under `key`, in the page's grid of `blockWidth` x `blockHeight` blocks, cut to the
    /// page: one channel of it, or all, see `PageInfo::isDecodedByPlane`. Its memory is taken from
    /// `room`. A block that takes long asks `checker`, which may be null, and the thread's scopes.
    /// error: std::runtime_error "PATH: reason" when it is damaged, unless that is logged; later
    /// reads are not affected.
    /// error: std::bad_alloc, and what the checkers throw.
    std::shared_ptr<Block const> decode(PageInfo const& page, BlockKey const& key,
                                        BlockCache::Room& room, CancellationChecker* checker);

private:
    using TakeRoom = PieceDecoder::TakeRoom;

    std::shared_ptr<Block> decodeUpright(PageInfo const& page, BlockKey const& key,
                                         TakeRoom const& takeRoom, CancellationChecker* checker);
    /// Puts a block together of the stored pieces under it.
    void assemble(PageInfo const& page, PixelRect const& upright, long long plane, Block& block,
                  CancellationChecker* checker);
    /// The same out of a copy of the whole page in a file, which is made first.
    void copyFromScratch(PageInfo const& page, PixelRect const& upright, long long plane,
                         Block& block, CancellationChecker* checker);
    std::shared_ptr<File const> getScratch(PageInfo const& page, long long plane,
                                           CancellationChecker* checker);
    std::shared_ptr<Block const> getPiece(PageInfo const& page, BlockKey const& key,
                                          CancellationChecker* checker);
    /// The values of a mask under a block.
    Bytes readMask(PageInfo const& mask, PixelRect const& upright, CancellationChecker* checker);
    void applyMask(PageInfo const& page, PixelRect const& upright, long long plane, Block& block,
                   CancellationChecker* checker);

    PieceDecoder pieces_;
    RecentBlocks recent_;
    Turnstile scratchTurn_;
    /// By directory and plane; guarded by the turn.
    std::map<std::pair<std::uint64_t, long long>, std::shared_ptr<File const>> scratch_;
};

}  // namespace Quivo::detail
