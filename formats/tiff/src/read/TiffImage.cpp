#include <quivo/tiff/TiffImage.h>

#include "container/LibTiff.h"
#include "read/PageDecoder.h"
#include "read/PyramidLayout.h"
#include "samples/Samples.h"
#include "storage/blocks/BlockCache.h"
#include "storage/files/File.h"

#include <quivo/core/Levels.h>
#include <quivo/util/Paths.h>
#include <quivo/writer/Progress.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <numeric>
#include <span>

namespace Quivo {

namespace {

using detail::Block;
using detail::BlockKey;
using detail::PageInfo;
using detail::PyramidLayout;

// The grid in which strips are presented and levels are computed.
constexpr long long computedBlockEdge = 256;
// How many rows of samples a level is computed from at once.
constexpr long long rowsPerStep = 64;
// The tallest request that the cache makes room for, so that reading down an image in columns of
// such requests still decodes every block once.
constexpr long long maxRequestRows = 1024;

/// The rows [firstRow, endRow) and columns [firstColumn, endColumn) of one slice of a level.
struct Area {
    long long level;
    long long slice;
    long long firstColumn;
    long long endColumn;
    long long firstRow;
    long long endRow;
};

}  // namespace

/// The file, its layout and the cache of decoded blocks.
class TiffImage::Reader {
public:
    explicit Reader(std::string const& path)
        : path_(path),
          file_(detail::File::openForReading(path)),
          layout_(readLayout()),
          first_(layout_.getFirstPage()),
          allChannels_(static_cast<std::size_t>(first_.numChannels)),
          decoder_(file_) {
        std::iota(allChannels_.begin(), allChannels_.end(), 0);
    }

    [[nodiscard]] std::string const& getPath() const noexcept { return path_; }
    [[nodiscard]] PyramidLayout const& getLayout() const noexcept { return layout_; }
    [[nodiscard]] PageInfo const& getFirst() const noexcept { return first_; }
    /// The numbers of all channels in their order.
    [[nodiscard]] std::span<long long const> getAllChannels() const noexcept {
        return allChannels_;
    }

    [[nodiscard]] PyramidLayout::Level const* findLevel(long long level) const noexcept {
        bool const exists = level >= 0 && level < static_cast<long long>(layout_.levels.size());
        return exists ? &layout_.levels[static_cast<std::size_t>(level)] : nullptr;
    }

    void setCancellationChecker(CancellationChecker* checker) noexcept { checker_ = checker; }

    /// Makes room in the cache for the blocks under `rows` rows across the whole image.
    void expectRequest(long long rows) {
        auto const rowBytes = first_.width * first_.numChannels * getSampleBytes(first_.sampleType);
        auto const tall =
            std::clamp(rows, computedBlockEdge, maxRequestRows) + 2 * first_.blockHeight;
        constexpr long long least = 32LL << 20;
        constexpr long long most = 1LL << 30;
        auto const wanted = rowBytes < most / tall ? rowBytes * tall : most;
        cache_.allow(static_cast<std::size_t>(std::max(least, wanted)));
    }

    /// Whether the blocks of a level cover its whole extent: a stored level may be a pixel short.
    [[nodiscard]] bool isCovered(long long level) const {
        auto const& found = *findLevel(level);
        Grid const grid = gridOf(level, found, 0);
        return grid.width >= found.extent.x && grid.height >= found.extent.y;
    }

    /// Calls `visit(i, x, y, samples, count)` for every run of `count` samples of channel
    /// `channels[i]`, of the image's type T, that starts at (x, y) inside an area of a level.
    /// Positions that are not covered are not visited.
    template <typename T, typename Visit>
    void visitRows(Area const& area, std::span<long long const> channels, Visit&& visit) {
        Grid const grid = gridOf(area.level, *findLevel(area.level), area.slice);
        auto const endColumn = std::min(area.endColumn, grid.width);
        auto const endRow = std::min(area.endRow, grid.height);
        if (area.firstColumn >= endColumn || area.firstRow >= endRow) return;
        for (auto by = area.firstRow / grid.blockHeight; by * grid.blockHeight < endRow; ++by) {
            auto bx = area.firstColumn / grid.blockWidth;
            for (; bx * grid.blockWidth < endColumn; ++bx) {
                auto const block = getBlock({area.level, area.slice, bx, by});
                auto const column = bx * grid.blockWidth;
                auto const row = by * grid.blockHeight;
                auto const firstX = std::max(area.firstColumn, column);
                auto const endX = std::min(endColumn, column + block->width);
                auto const firstY = std::max(area.firstRow, row);
                auto const endY = std::min(endRow, row + block->height);
                auto const* const samples = reinterpret_cast<T const*>(block->samples.data());
                for (long long i = 0; i < std::ssize(channels); ++i) {
                    auto const c = channels[static_cast<std::size_t>(i)];
                    auto const* const plane = samples + c * block->height * block->width;
                    for (auto y = firstY; y < endY; ++y) {
                        visit(i, firstX, y, plane + (y - row) * block->width + firstX - column,
                              endX - firstX);
                    }
                }
            }
        }
    }

    /// Stores `region` of a level, of samples of the image's type T, at `dstPosition` of a planar
    /// destination of extent `dstExtent`. Past the level's border, and where a stored level is a
    /// pixel short, there is nothing: 0.
    template <typename T, typename Out>
    void store(Out* dst, long long level, Box const& region, Vector const& dstExtent,
               Vector const& dstPosition, std::span<long long const> channels) {
        if (region.isEmpty()) return;
        auto const numPlanes = std::ssize(channels);
        auto const* const found = findLevel(level);
        Box const inside = found ? region.intersected(Box(found->extent)) : Box();
        // Where a row of the region begins in the destination; relative to the region, because its
        // positions may be anywhere.
        auto const rowAt = [&](long long c, long long y, long long z) {
            auto const row =
                (c * dstExtent.z + dstPosition.z + z) * dstExtent.y + dstPosition.y + y;
            return dst + row * dstExtent.x + dstPosition.x;
        };
        Vector const extent = region.getExtent();
        if (inside.isEmpty() || inside != region || !isCovered(level)) {
            for (long long c = 0; c < numPlanes; ++c) {
                for (long long z = 0; z < extent.z; ++z) {
                    for (long long y = 0; y < extent.y; ++y) {
                        std::fill_n(rowAt(c, y, z), extent.x, Out{});
                    }
                }
            }
        }
        if (inside.isEmpty()) return;
        expectRequest(dstExtent.y);
        for (long long z = inside.min.z; z <= inside.max.z; ++z) {
            Area const area{level,           z, inside.min.x, inside.max.x + 1, inside.min.y,
                            inside.max.y + 1};
            visitRows<T>(
                area, channels,
                [&](long long c, long long x, long long y, T const* in, long long run) {
                    detail::convertRow(
                        in, rowAt(c, y - region.min.y, z - region.min.z) + x - region.min.x, run);
                });
        }
    }

private:
    struct Grid {
        long long width;  ///< of the pixels that exist, stored or computed
        long long height;
        long long blockWidth;
        long long blockHeight;
    };

    PyramidLayout readLayout() {
        auto stream = std::make_unique<detail::FileReadStream>(file_, false);
        // Tags may point to the same bytes over and over again: an honest file does so rarely.
        stream->readBudget = 4 * std::min(file_->getSize(), 1LL << 60) + (64LL << 20);
        detail::TiffHandle tiff(std::move(stream), path_, "rcOm");
        return PyramidLayout(tiff);
    }

    /// Slices of one size may still be cut into different tiles or strips.
    [[nodiscard]] Grid gridOf(long long levelIndex, PyramidLayout::Level const& level,
                              long long slice) const {
        if (level.isStored()) {
            auto const& page = level.pages[static_cast<std::size_t>(slice)];
            return {page.width, page.height, page.blockWidth, page.blockHeight};
        }
        auto const& e = level.extent;
        if (first_.isTiled) return {e.x, e.y, computedBlockEdge, computedBlockEdge};
        // Strips run across the image: so do the blocks computed from them, and no strip is decoded
        // once per column of blocks. Rows are a power of two, at most those of a square block.
        auto const rowBytes = first_.width * first_.numChannels * getSampleBytes(first_.sampleType);
        auto rows = computedBlockEdge;
        while (rows > 1 && (rowBytes >> levelIndex) * rows > (16LL << 20)) rows /= 2;
        return {e.x, e.y, e.x, rows};
    }

    std::shared_ptr<Block const> getBlock(BlockKey const& key) {
        if (auto found = cache_.find(key)) return found;
        if (auto* const checker = checker_.load()) checker->checkCancelled();
        auto const& level = layout_.levels[static_cast<std::size_t>(key.level)];
        auto block = level.isStored()
                         ? decoder_.decode(level.pages[static_cast<std::size_t>(key.slice)], key.x,
                                           key.y, checker_.load())
                         : computeBlock(key, level);
        cache_.insert(key, block);
        return block;
    }

    std::shared_ptr<Block const> computeBlock(BlockKey const& key,
                                              PyramidLayout::Level const& level) {
        Grid const grid = gridOf(key.level, level, key.slice);
        auto block = std::make_shared<Block>();
        block->width = std::min(grid.blockWidth, grid.width - key.x * grid.blockWidth);
        block->height = std::min(grid.blockHeight, grid.height - key.y * grid.blockHeight);
        detail::visitSampleType(first_.sampleType, [&](auto sample) {
            using T = decltype(sample);
            block->samples.resize(
                static_cast<std::size_t>(block->width * block->height * first_.numChannels) *
                sizeof(T));
            Area below{key.level - 1, key.slice, 0, 0, 0, 0};
            below.firstColumn = 2 * key.x * grid.blockWidth;
            below.endColumn = below.firstColumn + 2 * block->width;
            for (long long row = 0; row < block->height; row += rowsPerStep) {
                auto const count = std::min(rowsPerStep, block->height - row);
                below.firstRow = 2 * (key.y * grid.blockHeight + row);
                below.endRow = below.firstRow + 2 * count;
                halve<T>(below, *block, row, count);
            }
        });
        return block;
    }

    /// Stores the 2 x 2 means of an area as `count` rows of `block` from `firstRow` on.
    template <typename T>
    void halve(Area const& below, Block& block, long long firstRow, long long count) {
        auto const width = below.endColumn - below.firstColumn;
        auto const plane = width * 2 * count;
        std::vector<T> samples(static_cast<std::size_t>(plane * first_.numChannels));
        visitRows<T>(below, allChannels_,
                     [&](long long c, long long x, long long y, T const* in, long long run) {
                         std::copy_n(in, run,
                                     samples.begin() + c * plane + (y - below.firstRow) * width +
                                         x - below.firstColumn);
                     });
        auto* const out = reinterpret_cast<T*>(block.samples.data());
        for (long long c = 0; c < first_.numChannels; ++c) {
            for (long long y = 0; y < count; ++y) {
                T const* const upper = samples.data() + c * plane + 2 * y * width;
                detail::halveRows(upper, upper + width,
                                  out + (c * block.height + firstRow + y) * block.width,
                                  block.width, 1);
            }
        }
    }

    std::string path_;
    std::shared_ptr<detail::File const> file_;
    PyramidLayout layout_;
    PageInfo const& first_;
    std::vector<long long> allChannels_;
    detail::PageDecoder decoder_;
    detail::BlockCache cache_;
    std::atomic<CancellationChecker*> checker_{nullptr};
};

TiffImage::TiffImage(std::string const& path) : reader_(std::make_unique<Reader>(path)) {}

TiffImage::~TiffImage() = default;

std::string TiffImage::getURL() const { return reader_->getPath(); }

Vector TiffImage::getExtent(long long level) const {
    auto const* const found = reader_->findLevel(level);
    return found ? found->extent : Vector();
}

long long TiffImage::getNumChannels() const { return reader_->getFirst().numChannels; }

long long TiffImage::getNumLevels() const {
    return static_cast<long long>(reader_->getLayout().levels.size());
}

ValueRange<double> TiffImage::getValueRange() const { return reader_->getFirst().valueRange; }

Vector TiffImage::getVoxelSize(long long level) const {
    return convertToLevel(reader_->getFirst().voxelSize, level, 0);
}

Vector TiffImage::getTileExtent() const {
    auto const& first = reader_->getFirst();
    if (!first.isTiled) return {computedBlockEdge, computedBlockEdge, 1};
    return {first.blockWidth, first.blockHeight, 1};
}

void TiffImage::openRegion(double* dst, long long level, Box const& region) {
    // Any region can be served like one tile, which writes all of it: nothing is zeroed beforehand.
    openTileRegionToPosition(dst, level, region.min, Box(region.getExtent()), region.getExtent(),
                             {});
}

void TiffImage::openTileRegionToPosition(double* dst, long long level, Vector const& tilePosition,
                                         Box const& tileRegion, Vector const& dstExtent,
                                         Vector const& dstPosition) {
    detail::visitSampleType(getSampleType(), [&](auto sample) {
        reader_->store<decltype(sample)>(dst, level, tileRegion.translated(tilePosition), dstExtent,
                                         dstPosition, reader_->getAllChannels());
    });
}

std::optional<SampleType> TiffImage::getStoredType() const { return getSampleType(); }

void TiffImage::openSamples(void* dst, long long level, Box const& region,
                            std::span<long long const> channels) {
    if (channels.empty()) channels = reader_->getAllChannels();
    detail::visitSampleType(getSampleType(), [&](auto sample) {
        using T = decltype(sample);
        reader_->store<T>(static_cast<T*>(dst), level, region, region.getExtent(), {}, channels);
    });
}

std::string TiffImage::getSliceName(long long index) {
    auto const& slices = reader_->getLayout().levels[0].pages;
    bool const exists = index >= 0 && index < static_cast<long long>(slices.size());
    return exists ? slices[static_cast<std::size_t>(index)].name : std::string();
}

std::string TiffImage::getChannelName(long long index) {
    auto const& first = reader_->getFirst();
    check(index >= 0 && index < first.numChannels,
          "Invalid channel index. Cannot determine its name.");
    auto const& told = reader_->getLayout().channelNames;
    auto const position = static_cast<std::size_t>(index);
    if (position < told.size() && !told[position].empty()) return told[position];
    if (first.numChannels == 1) return "Gray";
    static constexpr std::array names{"Red", "Green", "Blue", "Alpha"};
    long long const numNamed = !first.hasColours ? 0 : first.hasAlpha ? 4 : 3;
    return index < numNamed ? names[position] : "";
}

std::string TiffImage::getId() const { return getImageIdFromPath(reader_->getPath()); }

std::string TiffImage::getGroupId() const { return getGroupIdFromImagePath(reader_->getPath()); }

ContentHash TiffImage::getHash() { return 0; }

Image* TiffImage::getViewableRepresentation() { return displayView_.get(*this); }

bool TiffImage::isLevelStored(long long level) const noexcept {
    auto const* const found = reader_->findLevel(level);
    return found && found->isStored();
}

bool TiffImage::isTiled() const noexcept { return reader_->getFirst().isTiled; }

SampleType TiffImage::getSampleType() const noexcept { return reader_->getFirst().sampleType; }

void TiffImage::setCancellationChecker(CancellationChecker* checker) noexcept {
    reader_->setCancellationChecker(checker);
}

}  // namespace Quivo
