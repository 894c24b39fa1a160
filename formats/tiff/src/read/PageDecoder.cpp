#include "read/PageDecoder.h"

#include "samples/Samples.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <iterator>
#include <optional>
#include <type_traits>

namespace Quivo::detail {

namespace {

constexpr std::size_t maxIdleHandles = 8;
constexpr long long maxRowReaders = 16;            // of several pages
constexpr long long maxReaderBytes = 256LL << 20;  // of the planes of one page
constexpr long long rowsPerCheck = 64;  // a long strip may have to be decoded from its start
constexpr std::chrono::milliseconds patience(5);  // between checks while another thread does so

// libtiff's flags: h leaves the first directory alone, c shows strips as they are in the file,
// O loads tables of tile offsets piece by piece, m does without a memory map.
constexpr char const* readMode = "rhcOm";
constexpr char const* mappedReadMode = "rhc";

/// Stores `width` x `height` decoded pixels at (x, y) of a planar block, as the page presents them.
/// `src` has rows of `srcStride` pixels with the samples of one plane each, which become the
/// block's channels.
class Presenter {
public:
    Presenter(PageInfo const& page, Block& block) : page_(page), block_(block) {}

    void store(std::byte const* src, long long srcStride, long long plane, long long y,
               long long height) {
        visitSampleType(page_.storedType, [&](auto sample) {
            using T = decltype(sample);
            auto const* const samples = reinterpret_cast<T const*>(src);
            if constexpr (std::is_unsigned_v<T>) {  // what indices are
                if (page_.presentation == Presentation::Palette) {
                    storePalette(samples, srcStride, y, height);
                    return;
                }
            }
            storeSamples(samples, srcStride, plane, y, height);
        });
    }

private:
    template <typename T>
    void storeSamples(T const* src, long long srcStride, long long plane, long long y,
                      long long height) {
        auto const numSamples = page_.getSamplesPerPlane();
        auto const planeSize = block_.width * block_.height;
        T* out = reinterpret_cast<T*>(block_.samples.data()) + y * block_.width;
        bool const turnOver = page_.presentation == Presentation::Inverted && plane == 0;
        for (long long row = 0; row < height; ++row, out += block_.width) {
            separateRow(src + row * srcStride * numSamples, out, planeSize, block_.width,
                        numSamples);
            if (turnOver) invert(out);
        }
    }

    template <typename T>
    void invert(T* row) {
        for (long long x = 0; x < block_.width; ++x) {
            if constexpr (isFloat<T>) {
                row[x] = static_cast<T>(page_.valueRange.min + page_.valueRange.max -
                                        static_cast<double>(row[x]));
            } else {
                row[x] = static_cast<T>(~row[x]);  // highest - value for either signedness
            }
        }
    }

    template <typename T>
    void storePalette(T const* src, long long srcStride, long long y, long long height) {
        auto* const planes = reinterpret_cast<std::uint8_t*>(block_.samples.data());
        for (long long c = 0; c < 3; ++c) {
            std::uint8_t* out = planes + (c * block_.height + y) * block_.width;
            for (long long row = 0; row < height; ++row, out += block_.width) {
                for (long long x = 0; x < block_.width; ++x) {
                    auto const index = static_cast<std::size_t>(src[row * srcStride + x]);
                    out[x] = (*page_.palette)[3 * index + static_cast<std::size_t>(c)];
                }
            }
        }
    }

    PageInfo const& page_;
    Block& block_;
};

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
    long long row;  ///< of the block where it begins
    long long height;
    long long bytes;  ///< when it is decoded
};

/// Calls `visit` for all tiles or strips under a block, `height` rows high.
template <typename Visit>
void visitStored(PageInfo const& page, TiffHandle& tiff, BlockKey const& key, long long height,
                 Visit visit) {
    auto const rowBytes =
        page.storedBlockWidth * page.getSamplesPerPlane() * getSampleBytes(page.storedType);
    auto const left = static_cast<std::uint32_t>(key.x * page.blockWidth);
    // One plane; all of them where libtiff converts them together.
    auto const endPlane = page.isDecodedByPlane() ? key.plane + 1 : page.getNumPlanes();
    for (long long plane = key.plane; plane < endPlane; ++plane) {
        auto const sample = static_cast<std::uint16_t>(plane);
        for (long long row = 0; row < height; row += page.storedBlockHeight) {
            auto const top = static_cast<std::uint32_t>(key.y * page.blockHeight + row);
            auto const number = page.isTiled ? TIFFComputeTile(tiff.get(), left, top, 0, sample)
                                             : TIFFComputeStrip(tiff.get(), top, sample);
            // Tiles are whole, the last strip ends with the image.
            auto const rows = page.isTiled ? page.storedBlockHeight
                                           : std::min(page.storedBlockHeight, height - row);
            visit(Stored{number, row, rows, rows * rowBytes});
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

std::shared_ptr<Block const> PageDecoder::decode(PageInfo const& page, BlockKey const& key,
                                                 BlockCache::Room& room,
                                                 CancellationChecker* checker) {
    auto block = std::make_shared<Block>();
    block->width = std::min(page.blockWidth, page.width - key.x * page.blockWidth);
    block->height = std::min(page.blockHeight, page.height - key.y * page.blockHeight);
    OpenPage handle = takeHandle(page);
    checkClaims(page, *handle.tiff, key, block->height);
    auto const bytes =
        static_cast<std::size_t>(block->width * block->height * page.getChannelsPerBlock() *
                                 getSampleBytes(page.sampleType));
    room.take(bytes);
    block->samples.resize(bytes);
    if (page.readsByRow) {
        decodeRows(page, key, *block, checker);
    } else if (page.presentation == Presentation::Converted) {
        decodeConverted(page, *handle.tiff, key, *block);
    } else {
        decodeStored(page, *handle.tiff, key, *block);
    }
    giveBack(std::move(handle));  // one that failed is closed instead
    return block;
}

std::unique_ptr<TiffHandle> PageDecoder::open(PageInfo const& page, bool mapped,
                                              FileReadStream** stream) {
    mapped = mapped && page.shift.by == 0;
    auto bytes = std::make_unique<FileReadStream>(file_, mapped);
    bytes->shift(static_cast<long long>(page.shift.begin), static_cast<long long>(page.shift.end),
                 static_cast<long long>(page.shift.by));
    if (stream) *stream = bytes.get();
    auto tiff = std::make_unique<TiffHandle>(std::move(bytes), file_->getPath(),
                                             mapped ? mappedReadMode : readMode);
    tiff->check(TIFFSetSubDirectory(tiff->get(), page.directory) != 0, "damaged directory");
    if (page.isYCbCrJpeg) tiff->set(TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
    return tiff;
}

PageDecoder::OpenPage PageDecoder::takeHandle(PageInfo const& page) {
    {
        std::lock_guard const lock(handlesMutex_);
        for (auto& idle : idleHandles_) {
            if (idle.directory != page.directory || idle.shift != page.shift.by) continue;
            std::swap(idle, idleHandles_.back());
            OpenPage handle = std::move(idleHandles_.back());
            idleHandles_.pop_back();
            return handle;
        }
    }
    // libtiff's conversion refuses uncompressed blocks whose size is no multiple of 1024 bytes when
    // it reads them into a buffer of its own, but not out of a mapping.
    bool const mapped = page.presentation == Presentation::Converted;
    return {page.directory, page.shift.by, open(page, mapped, nullptr)};
}

void PageDecoder::giveBack(OpenPage handle) {
    std::lock_guard const lock(handlesMutex_);
    if (idleHandles_.size() == maxIdleHandles) idleHandles_.erase(idleHandles_.begin());
    idleHandles_.push_back(std::move(handle));
}

void PageDecoder::decodeStored(PageInfo const& page, TiffHandle& tiff, BlockKey const& key,
                               Block& block) {
    auto* const file = tiff.get();
    Presenter presenter(page, block);
    Bytes decoded(
        static_cast<std::size_t>(page.isTiled ? TIFFTileSize(file) : TIFFStripSize(file)));
    visitStored(page, tiff, key, block.height, [&](Stored const& stored) {
        auto const name = (page.isTiled ? "tile " : "strip ") + std::to_string(stored.number);
        tiff.check(static_cast<long long>(decoded.size()) >= stored.bytes,
                   name + " has an unexpected size");
        bool const isStored = getStoredBytes(tiff, stored.number) != 0;
        // Codecs may report success and leave a part of the buffer as it was: what stands there
        // must not be what the process had in that memory before.
        if (!isStored || !page.isUncompressed) {
            std::fill(decoded.begin(), decoded.end(), std::byte{});
        }
        if (isStored) {
            auto const read = page.isTiled ? TIFFReadEncodedTile : TIFFReadEncodedStrip;
            auto const got = read(file, stored.number, decoded.data(), tmsize_t(stored.bytes));
            tiff.check(got == stored.bytes, "damaged " + name);
            tiff.checkComplete();
        }
        presenter.store(decoded.data(), page.storedBlockWidth, key.plane, stored.row,
                        std::min(stored.height, block.height - stored.row));
    });
}

void PageDecoder::decodeConverted(PageInfo const& page, TiffHandle& tiff, BlockKey const& key,
                                  Block& block) {
    auto const left = static_cast<std::uint32_t>(key.x * page.blockWidth);
    auto const top = static_cast<std::uint32_t>(key.y * page.blockHeight);
    std::vector<std::uint32_t> raster(
        static_cast<std::size_t>(page.storedBlockWidth * page.storedBlockHeight));
    bool const done = page.isTiled
                          ? TIFFReadRGBATileExt(tiff.get(), left, top, raster.data(), 1) != 0
                          : TIFFReadRGBAStripExt(tiff.get(), top, raster.data(), 1) != 0;
    tiff.check(done, "damaged block");
    // libtiff's raster has its last row first: the tile's last one, or the strip's last one.
    auto const lastRow = page.isTiled ? page.storedBlockHeight - 1 : block.height - 1;
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

PageDecoder::RowTurn::RowTurn(PageDecoder& decoder, CancellationChecker* checker)
    : decoder_(decoder) {
    std::unique_lock lock(decoder_.turnMutex_);
    while (decoder_.isTurnTaken_) {
        decoder_.turnEnded_.wait_for(lock, patience);
        if (!decoder_.isTurnTaken_) break;
        lock.unlock();
        checkCancelled(checker);
        lock.lock();
    }
    decoder_.isTurnTaken_ = true;
}

PageDecoder::RowTurn::~RowTurn() {
    {
        std::lock_guard const lock(decoder_.turnMutex_);
        decoder_.isTurnTaken_ = false;
    }
    decoder_.turnEnded_.notify_one();
}

void PageDecoder::decodeRows(PageInfo const& page, BlockKey const& key, Block& block,
                             CancellationChecker* checker) {
    // Such strips can only be decoded from their first row on, so one thread at a time goes on
    // where the last one stopped.
    RowTurn const turn(*this, checker);
    try {
        readRows(page, key.plane, key.y * page.blockHeight, block, checker);
    } catch (...) {
        rowReaders_.erase({page.directory, page.shift.by, key.plane});
        throw;
    }
}

PageDecoder::RowReader& PageDecoder::getRowReader(PageInfo const& page, long long plane) {
    std::tuple const key(page.directory, page.shift.by, plane);
    if (auto const found = rowReaders_.find(key); found != rowReaders_.end()) return found->second;
    if (std::ssize(rowReaders_) >= maxRowReaders) {
        // Those of this page's other planes are needed again for the next block.
        std::erase_if(rowReaders_, [&](auto const& other) {
            return std::get<0>(other.first) != page.directory ||
                   std::get<1>(other.first) != page.shift.by;
        });
    }
    // A handle has a table of all strips and the state of a codec. Where that is too much for all
    // planes, the last ones share a handle and start their strips anew.
    auto const numStrips = page.getNumPlanes() * ((page.height - 1) / page.storedBlockHeight + 1);
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

void PageDecoder::readRows(PageInfo const& page, long long plane, long long firstRow, Block& block,
                           CancellationChecker* checker) {
    RowReader& reader = getRowReader(page, plane);
    auto* const file = reader.tiff->get();
    auto const samplesPerPlane = page.getSamplesPerPlane();
    auto const rowBytes = page.width * samplesPerPlane * getSampleBytes(page.storedType);
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
        // As for whole tiles: a codec may write less than it says.
        if (!isStored || !page.isUncompressed) std::fill(row.begin(), row.end(), std::byte{});
        if (!isStored) return;
        auto const result = TIFFReadScanline(file, row.data(), line, sample);
        reader.tiff->check(result == 1, "damaged row " + std::to_string(y));
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
        presenter.store(row.data(), page.width, plane, y, 1);
    }
    reader.stream->releasePages();
}

}  // namespace Quivo::detail
