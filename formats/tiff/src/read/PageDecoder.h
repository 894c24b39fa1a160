#pragma once

#include "container/LibTiff.h"
#include "read/PageInfo.h"
#include "storage/blocks/BlockCache.h"

#include <quivo/util/Cancellation.h>

#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <tuple>
#include <utility>
#include <vector>

namespace Quivo::detail {

/// Asks an image's own checker, which may be null, and those of the scopes that the thread is in.
inline void checkCancelled(CancellationChecker* checker) {
    if (checker) checker->checkCancelled();
    Quivo::checkCancelled();
}

/// Decodes the blocks of a file's pages with as many TIFF handles as there are threads reading.
/// Locked inside; any thread.
class PageDecoder {
public:
    explicit PageDecoder(std::shared_ptr<File const> file) : file_(std::move(file)) {}

    /// The block under `key`, in the page's grid of `blockWidth` x `blockHeight` blocks, cut to the
    /// page: one plane of it, or all channels, see `PageInfo::isDecodedByPlane`. Its memory is
    /// taken from `room`. A block that takes long asks `checker`, which may be null, and the
    /// thread's scopes.
    /// error: std::runtime_error "PATH: reason" when it is damaged; later reads are not affected.
    /// error: std::bad_alloc, and what the checkers throw.
    std::shared_ptr<Block const> decode(PageInfo const& page, BlockKey const& key,
                                        BlockCache::Room& room, CancellationChecker* checker);

private:
    struct OpenPage {
        std::uint64_t directory;
        std::uint64_t shift;
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

    void decodeStored(PageInfo const& page, TiffHandle& tiff, BlockKey const& key, Block& block);
    void decodeConverted(PageInfo const& page, TiffHandle& tiff, BlockKey const& key, Block& block);
    void decodeRows(PageInfo const& page, BlockKey const& key, Block& block,
                    CancellationChecker* checker);
    RowReader& getRowReader(PageInfo const& page, long long plane);
    void readRows(PageInfo const& page, long long plane, long long firstRow, Block& block,
                  CancellationChecker* checker);

    /// The turn at the row readers, for one scope. Who waits for it asks to be cancelled.
    class RowTurn {
    public:
        RowTurn(PageDecoder& decoder, CancellationChecker* checker);
        RowTurn(RowTurn const&) = delete;
        RowTurn& operator=(RowTurn const&) = delete;
        ~RowTurn();

    private:
        PageDecoder& decoder_;
    };

    std::shared_ptr<File const> file_;
    /// Guards the idle handles; a leaf, held for a few instructions.
    std::mutex handlesMutex_;
    std::vector<OpenPage> idleHandles_;
    /// Guards whose turn it is; a leaf, held for a few instructions. The turn itself lasts for a
    /// read and guards the row readers; blocks of `BlockCache` are decoded in it, no lock is held.
    std::mutex turnMutex_;
    std::condition_variable turnEnded_;
    bool isTurnTaken_ = false;
    /// By directory, shift and plane.
    std::map<std::tuple<std::uint64_t, std::uint64_t, long long>, RowReader> rowReaders_;
};

}  // namespace Quivo::detail
