#include "read/PieceDecoder.h"

#include "read/Presenter.h"
#include "samples/Samples.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <stdexcept>

namespace Quivo::detail {

namespace {

constexpr std::size_t maxIdleHandles = 8;
constexpr long long maxRowReaders = 16;            // of several pages
constexpr long long maxReaderBytes = 256LL << 20;  // of the planes of one page
constexpr long long rowsPerCheck = 64;  // a long strip may have to be decoded from its start

// libtiff's flags: h leaves the first directory alone, c shows strips as they are in the file,
// O loads tables of tile offsets piece by piece, m does without a memory map.
constexpr char const* readMode = "rhcOm";
constexpr char const* mappedReadMode = "rhc";

/// How many bytes of the file belong to a tile or strip. None: it was never written and reads as
/// zeros.
/// error: std::runtime_error when the file's tables do not tell.
long long getStoredBytes(TiffHandle& tiff, std::uint32_t block) {
    int failed = 0;
    auto const size = TIFFGetStrileByteCountWithErr(tiff.get(), block, &failed);
    tiff.check(!failed, "damaged table of tiles or strips");
    auto const offset = TIFFGetStrileOffsetWithErr(tiff.get(), block, &failed);
    tiff.check(!failed && (size == 0 || offset != 0), "damaged table of tiles or strips");
    if (size == 0) return 0;
    auto const end = static_cast<std::uint64_t>(tiff.getStream().getSize());
    tiff.check(offset < end, "damaged: tile or strip " + std::to_string(block) +
                                 " lies behind the end of the file");
    return static_cast<long long>(std::min(size, end - offset));
}

/// One tile or strip under a block.
struct Stored {
    std::uint32_t number;
    long long plane;
    long long row;  ///< of the block where it begins
    long long height;
    long long bytes;  ///< when it is decoded
};

/// Calls `visit` for all tiles or strips under a block, `height` rows high.
template <typename Visit>
void visitStored(PageInfo const& page, TiffHandle& tiff, BlockKey const& key, long long height,
                 Visit visit) {
    auto const rowBytes = page.getDecodedRowBytes(page.storedBlockWidth);
    auto const left = static_cast<std::uint32_t>(key.x * page.pieceWidth);
    // One plane; all of them where they become the channels of one block together.
    auto const endPlane = page.isDecodedByPlane() ? key.plane + 1 : page.getNumPlanes();
    for (long long plane = key.plane; plane < endPlane; ++plane) {
        auto const sample = static_cast<std::uint16_t>(plane);
        for (long long row = 0; row < height; row += page.storedBlockHeight) {
            auto const top = static_cast<std::uint32_t>(key.y * page.pieceHeight + row);
            auto const number = page.isStoredInTiles
                                    ? TIFFComputeTile(tiff.get(), left, top, 0, sample)
                                    : TIFFComputeStrip(tiff.get(), top, sample);
            // Tiles are whole, the last strip ends with the image.
            auto const rows = page.isStoredInTiles ? page.storedBlockHeight
                                                   : std::min(page.storedBlockHeight, height - row);
            visit(Stored{number, plane, row, rows, rows * rowBytes});
        }
    }
}

/// Throws when what the file has for a block cannot become what its header claims: before memory
/// is taken for it.
void checkClaims(PageInfo const& page, TiffHandle& tiff, BlockKey const& key, long long height) {
    if (page.maxRatio == 0) return;
    constexpr long long slack = 64;
    visitStored(page, tiff, key, height, [&](Stored const& stored) {
        auto const bytes = getStoredBytes(tiff, stored.number);
        tiff.check(bytes == 0 || stored.bytes / page.maxRatio <= bytes + slack,
                   "damaged: the " + std::to_string(bytes) + " bytes of tile or strip " +
                       std::to_string(stored.number) + " cannot become " +
                       std::to_string(stored.bytes));
    });
}

}  // namespace

std::shared_ptr<Block> PieceDecoder::decode(PageInfo const& page, BlockKey const& key,
                                            TakeRoom const& takeRoom,
                                            CancellationChecker* checker) {
    auto block = std::make_shared<Block>();
    block->width = std::min(page.pieceWidth, page.storedWidth - key.x * page.pieceWidth);
    block->height = std::min(page.pieceHeight, page.storedHeight - key.y * page.pieceHeight);
    auto const bytes =
        static_cast<std::size_t>(block->width * block->height * page.getChannelsPerBlock() *
                                 getSampleBytes(page.sampleType));
    auto const makeRoom = [&] {
        takeRoom(bytes);
        block->samples.resize(bytes);
    };
    try {
        decodeInto(page, key, *block, makeRoom, checker);
    } catch (std::runtime_error const& error) {
        // None of it may be half decoded.
        if (!log_) throw;
        log_->report(error.what());
        if (block->samples.empty()) makeRoom();
        Presenter(page, *block).storeFill();
    }
    return block;
}

void PieceDecoder::decodeInto(PageInfo const& page, BlockKey const& key, Block& block,
                              std::function<void()> const& makeRoom, CancellationChecker* checker) {
    OpenPage handle = takeHandle(page);
    checkClaims(page, *handle.tiff, key, block.height);
    makeRoom();
    if (page.readsByRow) {
        decodeRows(page, key, block, checker);
    } else if (page.presentation == Presentation::Converted) {
        decodeConverted(page, *handle.tiff, key, block);
    } else {
        decodeStored(page, *handle.tiff, key, block);
    }
    giveBack(std::move(handle));  // one that failed is closed instead
}

std::unique_ptr<TiffHandle> PieceDecoder::open(PageInfo const& page, bool mapped,
                                               FileReadStream** stream) {
    mapped = mapped && page.shift.by == 0;
    auto bytes = std::make_unique<FileReadStream>(file_, mapped);
    bytes->shift(page.shift.begin, page.shift.end, page.shift.by);
    if (stream) *stream = bytes.get();
    auto tiff = std::make_unique<TiffHandle>(std::move(bytes), file_->getPath(),
                                             mapped ? mappedReadMode : readMode);
    tiff->check(TIFFSetSubDirectory(tiff->get(), page.directory) != 0, "damaged directory");
    if (page.decodeMode == DecodeMode::JpegToRgb) {
        tiff->set(TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
    }
    if (page.decodeMode == DecodeMode::LogLuvToFloats) {
        tiff->set(TIFFTAG_SGILOGDATAFMT, SGILOGDATAFMT_FLOAT);
    }
    // libtiff's conversion would turn some of it upright by itself.
    if (page.presentation == Presentation::Converted) {
        tiff->set(TIFFTAG_ORIENTATION, int{ORIENTATION_TOPLEFT});
    }
    return tiff;
}

PieceDecoder::OpenPage PieceDecoder::takeHandle(PageInfo const& page) {
    {
        std::lock_guard const lock(handlesMutex_);
        for (auto& idle : idleHandles_) {
            if (idle.plane != page.getPlaneId()) continue;
            std::swap(idle, idleHandles_.back());
            OpenPage handle = std::move(idleHandles_.back());
            idleHandles_.pop_back();
            return handle;
        }
    }
    // libtiff's conversion refuses uncompressed blocks whose size is no multiple of 1024 bytes when
    // it reads them into a buffer of its own, but not out of a mapping.
    bool const mapped = page.presentation == Presentation::Converted;
    return {page.getPlaneId(), open(page, mapped, nullptr)};
}

void PieceDecoder::giveBack(OpenPage handle) {
    std::lock_guard const lock(handlesMutex_);
    if (idleHandles_.size() == maxIdleHandles) idleHandles_.erase(idleHandles_.begin());
    idleHandles_.push_back(std::move(handle));
}

void PieceDecoder::decodeStored(PageInfo const& page, TiffHandle& tiff, BlockKey const& key,
                                Block& block) {
    auto* const file = tiff.get();
    Presenter presenter(page, block);
    Bytes decoded(
        static_cast<std::size_t>(page.isStoredInTiles ? TIFFTileSize(file) : TIFFStripSize(file)));
    visitStored(page, tiff, key, block.height, [&](Stored const& stored) {
        auto const name =
            (page.isStoredInTiles ? "tile " : "strip ") + std::to_string(stored.number);
        tiff.check(static_cast<long long>(decoded.size()) >= stored.bytes,
                   name + " has an unexpected size");
        auto const height = std::min(stored.height, block.height - stored.row);
        if (getStoredBytes(tiff, stored.number) == 0) {
            presenter.storeFill(stored.plane, stored.row, height);
            return;
        }
        // Codecs may report success and leave a part of the buffer as it was: what stands there
        // must not be what the process had in that memory before.
        if (!page.isUncompressed) std::fill(decoded.begin(), decoded.end(), std::byte{});
        auto const read = page.isStoredInTiles ? TIFFReadEncodedTile : TIFFReadEncodedStrip;
        auto const bytes = page.isRowByRow ? stored.bytes / stored.height * height : stored.bytes;
        auto const got = read(file, stored.number, decoded.data(), tmsize_t(bytes));
        tiff.check(got == bytes, name + " is damaged");
        tiff.checkComplete();
        presenter.store(decoded.data(), page.storedBlockWidth, stored.plane, stored.row, height);
    });
}

void PieceDecoder::decodeConverted(PageInfo const& page, TiffHandle& tiff, BlockKey const& key,
                                   Block& block) {
    auto const left = static_cast<std::uint32_t>(key.x * page.pieceWidth);
    auto const top = static_cast<std::uint32_t>(key.y * page.pieceHeight);
    long long storedBytes = 0;
    visitStored(page, tiff, key, block.height,
                [&](Stored const& stored) { storedBytes += getStoredBytes(tiff, stored.number); });
    if (storedBytes == 0) {
        Presenter(page, block).storeFill(0, 0, block.height);
        return;
    }
    std::vector<std::uint32_t> raster(
        static_cast<std::size_t>(page.storedBlockWidth * page.storedBlockHeight));
    bool const done = page.isStoredInTiles
                          ? TIFFReadRGBATileExt(tiff.get(), left, top, raster.data(), 1) != 0
                          : TIFFReadRGBAStripExt(tiff.get(), top, raster.data(), 1) != 0;
    tiff.check(done, "a tile or strip is damaged");
    // libtiff's raster has its last row first: the tile's last one, or the strip's last one.
    auto const lastRow = page.isStoredInTiles ? page.storedBlockHeight - 1 : block.height - 1;
    auto* const planes = reinterpret_cast<std::uint8_t*>(block.samples.data());
    auto const planeSize = block.width * block.height;
    for (long long row = 0; row < block.height; ++row) {
        auto const* const in = raster.data() + (lastRow - row) * page.storedBlockWidth;
        for (long long column = 0; column < block.width; ++column) {
            auto* const out = planes + row * block.width + column;
            out[0] = static_cast<std::uint8_t>(TIFFGetR(in[column]));
            out[planeSize] = static_cast<std::uint8_t>(TIFFGetG(in[column]));
            out[2 * planeSize] = static_cast<std::uint8_t>(TIFFGetB(in[column]));
        }
    }
}

void PieceDecoder::decodeRows(PageInfo const& page, BlockKey const& key, Block& block,
                              CancellationChecker* checker) {
    // Such strips can only be decoded from their first row on, so one thread at a time goes on
    // where the last one stopped.
    Turnstile::Turn const turn(rowTurn_, checker);
    try {
        auto const endPlane = page.isDecodedByPlane() ? key.plane + 1 : page.getNumPlanes();
        for (auto plane = key.plane; plane < endPlane; ++plane) {
            readRows(page, plane, key.y * page.pieceHeight, block, checker);
        }
    } catch (...) {
        std::erase_if(rowReaders_,
                      [&](auto const& reader) { return reader.first.first == page.getPlaneId(); });
        throw;
    }
}

PieceDecoder::RowReader& PieceDecoder::getRowReader(PageInfo const& page, long long plane) {
    std::pair const key(page.getPlaneId(), plane);
    if (auto const found = rowReaders_.find(key); found != rowReaders_.end()) return found->second;
    if (std::ssize(rowReaders_) >= maxRowReaders) {
        // Those of this page's other planes are needed again for the next block.
        std::erase_if(rowReaders_,
                      [&](auto const& other) { return other.first.first != page.getPlaneId(); });
    }
    // A handle has a table of all strips and the state of a codec. Where that is too much for all
    // planes, the last ones share a handle and start their strips anew.
    auto const numStrips =
        page.getNumPlanes() * ((page.storedHeight - 1) / page.storedBlockHeight + 1);
    auto const limit = std::max(maxRowReaders, maxReaderBytes / (16 * numStrips + (64LL << 10)));
    if (std::ssize(rowReaders_) >= limit) {
        auto shared = rowReaders_.extract(std::prev(rowReaders_.end()));
        shared.key() = key;
        shared.mapped().nextRow = 0;
        return rowReaders_.insert(std::move(shared)).position->second;
    }
    RowReader& reader = rowReaders_[key];
    reader.tiff = open(page, true, &reader.stream);
    return reader;
}

void PieceDecoder::readRows(PageInfo const& page, long long plane, long long firstRow, Block& block,
                            CancellationChecker* checker) {
    RowReader& reader = getRowReader(page, plane);
    auto* const file = reader.tiff->get();
    auto const rowBytes = page.getDecodedRowBytes(page.storedWidth);
    reader.tiff->check(TIFFScanlineSize(file) == rowBytes, "rows of an unexpected size");
    Bytes row(static_cast<std::size_t>(rowBytes));
    auto const sample = static_cast<std::uint16_t>(plane);
    std::optional<std::uint32_t> strip;
    bool isStored = false;
    auto const readRow = [&](long long y) {
        auto const line = static_cast<std::uint32_t>(y);
        if (auto const current = TIFFComputeStrip(file, line, sample); current != strip) {
            strip = current;
            isStored = getStoredBytes(*reader.tiff, current) != 0;
        }
        if (!isStored) return;
        // As for whole tiles: a codec may write less than it says.
        if (!page.isUncompressed) std::fill(row.begin(), row.end(), std::byte{});
        auto const result = TIFFReadScanline(file, row.data(), line, sample);
        reader.tiff->check(result == 1, "row " + std::to_string(y) + " is damaged");
        reader.tiff->checkComplete();
        reader.nextRow = y + 1;
    };
    // From the start of the strip when the reader is in another one or further down already.
    auto const stripStart = firstRow / page.storedBlockHeight * page.storedBlockHeight;
    bool const goesOn = reader.nextRow > stripStart && reader.nextRow <= firstRow;
    if (!page.isUncompressed) {
        for (long long y = goesOn ? reader.nextRow : stripStart; y < firstRow; ++y) {
            if (y % rowsPerCheck == 0) checkCancelled(checker);
            readRow(y);
        }
    }
    Presenter presenter(page, block);
    for (long long y = 0; y < block.height; ++y) {
        readRow(firstRow + y);
        if (isStored) {
            presenter.store(row.data(), page.storedWidth, plane, y, 1);
        } else {
            presenter.storeFill(plane, y, 1);
        }
    }
    reader.stream->releasePages();
}

}  // namespace Quivo::detail
