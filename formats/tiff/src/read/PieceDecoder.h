#pragma once

#include "container/LibTiff.h"
#include "read/PageInfo.h"
#include "read/Turnstile.h"
#include "storage/blocks/BlockCache.h"

#include <quivo/util/Cancellation.h>
#include <quivo/util/DamageLog.h>

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace Quivo::detail {

/// Decodes the pieces of a file's pages, as they lie in the file, with as many TIFF handles as
/// there are threads reading. Locked inside; any thread.
class PieceDecoder {
public:
    using TakeRoom = std::function<void(std::size_t)>;

    /// `log` may be null.
    PieceDecoder(std::shared_ptr<File const> file, std::shared_ptr<DamageLog> log)
        : file_(std::move(file)), log_(std::move(log)) {}

    /// The piece under `key`, in the page's grid of `pieceWidth` x `pieceHeight`, cut to the page:
    /// a block of the page's own channels, or of one of them, see `PageInfo::isDecodedByPlane`.
    /// Before its memory is taken, and when nothing speaks against decoding it any more, `takeRoom`
    /// is called with the number of its bytes. A piece that takes long asks `checker`, which may be
    /// null, and the thread's scopes.
    /// error: std::runtime_error "PATH: reason" when it is damaged; later reads are not affected.
    /// With a log it is reported there instead, and the piece filled.
    /// error: std::bad_alloc, and what the checkers throw.
    std::shared_ptr<Block> decode(PageInfo const& page, BlockKey const& key,
                                  TakeRoom const& takeRoom, CancellationChecker* checker);

private:
    struct OpenPage {
        std::uint64_t plane;  ///< `PageInfo::getPlaneId`
        std::unique_ptr<TiffHandle> tiff;
    };
    /// A handle that reads one plane of a page row by row.
    struct RowReader {
        std::unique_ptr<TiffHandle> tiff;
        FileReadStream* stream = nullptr;
        long long nextRow = 0;
    };

    std::unique_ptr<TiffHandle> open(PageInfo const& page, bool mapped, FileReadStream** stream);
    OpenPage takeHandle(PageInfo const& page);
    void giveBack(OpenPage handle);

    void decodeInto(PageInfo const& page, BlockKey const& key, Block& block,
                    std::function<void()> const& makeRoom, CancellationChecker* checker);
    void decodeStored(PageInfo const& page, TiffHandle& tiff, BlockKey const& key, Block& block);
    void decodeConverted(PageInfo const& page, TiffHandle& tiff, BlockKey const& key, Block& block);
    void decodeRows(PageInfo const& page, BlockKey const& key, Block& block,
                    CancellationChecker* checker);
    RowReader& getRowReader(PageInfo const& page, long long plane);
    void readRows(PageInfo const& page, long long plane, long long firstRow, Block& block,
                  CancellationChecker* checker);

    std::shared_ptr<File const> file_;
    std::shared_ptr<DamageLog> log_;
    /// Guards the idle handles; a leaf, held for a few instructions.
    std::mutex handlesMutex_;
    std::vector<OpenPage> idleHandles_;
    Turnstile rowTurn_;  ///< guards the row readers
    std::map<std::pair<std::uint64_t, long long>, RowReader> rowReaders_;  // by page, plane
};

}  // namespace Quivo::detail
