#pragma once

#include "container/LibTiff.h"
#include "kernels/Copy.h"
#include "read/MetadataReader.h"
#include "read/PageDecoder.h"
#include "read/PyramidLayout.h"
#include "samples/MeanRule.h"
#include "samples/Samples.h"
#include "storage/blocks/BlockCache.h"
#include "storage/files/File.h"

#include <quivo/core/Levels.h>
#include <quivo/tiff/TiffImage.h>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <numeric>
#include <span>
#include <stdexcept>
#include <type_traits>
#include <utility>

namespace Quivo {

/// The file, its layout and the cache of decoded blocks.
class TiffImage::Reader {
public:
    using Block = detail::Block;
    using BlockCache = detail::BlockCache;
    using BlockKey = detail::BlockKey;
    using PageInfo = detail::PageInfo;
    using PyramidLayout = detail::PyramidLayout;

    /// The grid in which strips are presented and levels are computed.
    static constexpr long long computedBlockEdge = 256;

    // How many rows of samples a level is computed from at once.
    static constexpr long long rowsPerStep = 64;
    // The tallest request that the cache makes room for, so that reading down an image in columns
    // of such requests still decodes every block once.
    static constexpr long long maxRequestRows = 1024;

    /// The rows [firstRow, endRow) and columns [firstColumn, endColumn) of one page of a level.
    struct Area {
        long long level;
        long long page;  ///< its index in `PyramidLayout::Level::pages`
        long long firstColumn;
        long long endColumn;
        long long firstRow;
        long long endRow;
    };

    /// `height` rows of `width` samples of one channel, `stride` apart, which lie at (x, y) of a
    /// level.
    template <typename T>
    struct Rows {
        T const* samples;
        long long stride;
        long long x;
        long long y;
        long long width;
        long long height;
    };

    /// Copies rows to others, `dstStride` apart.
    template <typename T, typename Out>
    static void copyRows(Rows<T> const& rows, Out* dst, long long dstStride) {
        if constexpr (std::is_same_v<Out, double> &&
                      (std::is_same_v<T, std::uint8_t> || std::is_same_v<T, double>)) {
            detail::copyRows(rows.samples, rows.stride, dst, dstStride, rows.width, rows.height);
        } else {
            for (long long y = 0; y < rows.height; ++y) {
                detail::convertRow(rows.samples + y * rows.stride, dst + y * dstStride, rows.width);
            }
        }
    }

    Reader(std::string const& path, TiffSelection const& selection, OpenOptions const& options)
        : path_(path),
          name_(nameOf(path, selection)),
          file_(detail::File::openForReading(path)),
          directories_(file_),
          layout_(readLayout(selection, options)),
          first_(layout_.getFirstPage()),
          allChannels_(static_cast<std::size_t>(layout_.getNumChannels())),
          metadata_(detail::readMetadata(directories_, layout_)),
          facts_(detail::readFacts(directories_, layout_, metadata_.image)),
          decoder_(file_, options.damage),
          cache_(options.budget) {
        std::iota(allChannels_.begin(), allChannels_.end(), 0);
    }

    [[nodiscard]] std::string const& getPath() const noexcept { return path_; }
    /// The path and what is selected.
    [[nodiscard]] std::string const& getName() const noexcept { return name_; }
    [[nodiscard]] PyramidLayout const& getLayout() const noexcept { return layout_; }
    [[nodiscard]] PageInfo const& getFirst() const noexcept { return first_; }
    [[nodiscard]] detail::ToldMetadata const& getMetadata() const noexcept { return metadata_; }
    [[nodiscard]] detail::Facts const& getFacts() const noexcept { return facts_; }
    /// The numbers of all channels in their order.
    [[nodiscard]] std::span<long long const> getAllChannels() const noexcept {
        return allChannels_;
    }

    [[nodiscard]] PyramidLayout::Level const* findLevel(long long level) const noexcept {
        bool const exists = level >= 0 && level < static_cast<long long>(layout_.levels.size());
        return exists ? &layout_.levels[static_cast<std::size_t>(level)] : nullptr;
    }

    void setCancellationChecker(CancellationChecker* checker) noexcept { checker_ = checker; }

    void setCacheLimit(std::optional<std::size_t> bytes) { cache_.setLimit(bytes); }

    /// Makes room in the cache for the blocks under `rows` rows of so many channels across the
    /// whole image.
    void expectRequest(long long rows, long long numChannels) {
        auto const perPage = first_.numChannels;
        auto const kept = first_.isDecodedByPlane()
                              ? numChannels
                              : perPage * std::min(layout_.planesPerSlice, numChannels);
        auto const rowBytes = first_.width * kept * getSampleBytes(first_.sampleType);
        auto const tall =
            std::clamp(rows, computedBlockEdge, maxRequestRows) + 2 * first_.blockHeight;
        constexpr long long least = 32LL << 20;
        constexpr long long most = 1LL << 30;
        auto const wanted = rowBytes < most / tall ? rowBytes * tall : most;
        cache_.expect(static_cast<std::size_t>(std::max(least, wanted)));
    }

    /// Whether the blocks of a level cover its whole extent: a stored level may be a pixel short.
    [[nodiscard]] bool isCovered(long long level) const {
        auto const& found = *findLevel(level);
        Grid const grid = gridOf(level, found, 0);
        return grid.width >= found.extent.x && grid.height >= found.extent.y;
    }

    /// Calls `visit(i, rows)` with the rows of channel `channels[i]` of a page, of the image's type
    /// T, that every block has inside an area of a level. Positions that are not covered are not
    /// visited.
    template <typename T, typename Visit>
    void visitRows(Area const& area, std::span<long long const> channels, Visit&& visit) {
        Grid const grid = gridOf(area.level, *findLevel(area.level), area.page);
        auto const endColumn = std::min(area.endColumn, grid.width);
        auto const endRow = std::min(area.endRow, grid.height);
        if (area.firstColumn >= endColumn || area.firstRow >= endRow) return;
        for (auto by = area.firstRow / grid.blockHeight; by * grid.blockHeight < endRow; ++by) {
            auto bx = area.firstColumn / grid.blockWidth;
            for (; bx * grid.blockWidth < endColumn; ++bx) {
                auto const column = bx * grid.blockWidth;
                auto const row = by * grid.blockHeight;
                std::shared_ptr<Block const> block;
                for (std::size_t i = 0; i < channels.size(); ++i) {
                    auto const plane = grid.isByPlane ? channels[i] : 0;
                    if (!block || grid.isByPlane) {
                        block = getBlock({area.level, area.page, plane, bx, by});
                    }
                    auto const x = std::max(area.firstColumn, column);
                    auto const y = std::max(area.firstRow, row);
                    auto const* const samples =
                        reinterpret_cast<T const*>(block->samples.data()) +
                        ((channels[i] - plane) * block->height + y - row) * block->width + x -
                        column;
                    visit(static_cast<long long>(i),
                          Rows<T>{samples, block->width, x, y,
                                  std::min(endColumn, column + block->width) - x,
                                  std::min(endRow, row + block->height) - y});
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
        expectRequest(dstExtent.y, numPlanes);
        for (long long z = inside.min.z; z <= inside.max.z; ++z) {
            Area area{level, 0, inside.min.x, inside.max.x + 1, inside.min.y, inside.max.y + 1};
            visitPages(channels, [&](long long page, long long start, auto const& ofPage) {
                area.page = z * layout_.planesPerSlice + page;
                visitRows<T>(area, ofPage, [&](long long c, Rows<T> const& rows) {
                    Out* const first = rowAt(start + c, rows.y - region.min.y, z - region.min.z);
                    copyRows(rows, first + rows.x - region.min.x, dstExtent.x);
                });
            });
        }
    }

private:
    struct Grid {
        long long width;  ///< of the pixels that exist, stored or computed
        long long height;
        long long blockWidth;
        long long blockHeight;
        bool isByPlane;  ///< a block holds one channel, else all
    };

    /// Calls `visit(page, start, ofPage)` for every run of channels that are of one page of a
    /// slice: `ofPage` are their numbers in that page, the first of them is `channels[start]`.
    template <typename Visit>
    void visitPages(std::span<long long const> channels, Visit&& visit) const {
        if (layout_.planesPerSlice == 1) return visit(0, 0, channels);
        auto const perPage = first_.numChannels;
        std::vector<long long> ofPage;
        for (std::size_t start = 0; start < channels.size(); start += ofPage.size()) {
            auto const page = channels[start] / perPage;
            ofPage.clear();
            for (auto i = start; i < channels.size() && channels[i] / perPage == page; ++i) {
                ofPage.push_back(channels[i] % perPage);
            }
            visit(page, static_cast<long long>(start), std::span<long long const>(ofPage));
        }
    }

    static std::string nameOf(std::string const& path, TiffSelection const& selection) {
        std::string name = path;
        if (selection.page > 0) name += "#" + std::to_string(selection.page);
        if (selection.time != 1) name += "#t=" + std::to_string(selection.time);
        if (selection.indices) name += "#indices";
        return name;
    }

    PyramidLayout readLayout(TiffSelection const& selection, OpenOptions const& options) {
        if (!directories_.isTiff()) throw std::runtime_error(name_ + ": is not a TIFF file");
        auto stream = std::make_unique<detail::FileReadStream>(file_, false);
        // Tags may point to the same bytes over and over again: an honest file does so rarely.
        stream->readBudget = 4 * std::min(file_->getSize(), 1LL << 60) + (64LL << 20);
        detail::TiffHandle tiff(std::move(stream), name_, "rhcOm");
        auto const slash = path_.rfind('/');  // npos + 1 is 0
        return {tiff, directories_, selection, options.strict, path_.substr(slash + 1)};
    }

    /// How the channels of one page become those of its coarser levels.
    [[nodiscard]] detail::MeanRule makeMeans() const {
        Metadata page;
        page.noData = metadata_.image.noData;
        page.colourModel = metadata_.image.colourModel;
        if (page.noData || !first_.opacity.empty() || page.colourModel == ColourModel::Classes) {
            page.channels.resize(static_cast<std::size_t>(first_.numChannels));
        }
        for (auto const& [channel, kind] : first_.opacity) {
            page.channels[static_cast<std::size_t>(channel)].alpha = kind;
        }
        return detail::makeMeanRule(page);
    }

    /// Slices of one size may still be cut into different tiles or strips.
    [[nodiscard]] Grid gridOf(long long levelIndex, PyramidLayout::Level const& level,
                              long long pageIndex) const {
        if (level.isStored()) {
            auto const& page = level.pages[static_cast<std::size_t>(pageIndex)];
            return {page.width, page.height, page.blockWidth, page.blockHeight,
                    page.isDecodedByPlane()};
        }
        auto const& e = level.extent;
        bool const isByPlane = first_.isDecodedByPlane();
        if (first_.isTiled) return {e.x, e.y, computedBlockEdge, computedBlockEdge, isByPlane};
        // Strips run across the image: so do the blocks computed from them, and no strip is decoded
        // once per column of blocks. Rows are a power of two, at most those of a square block.
        auto const rowBytes = first_.width * first_.numChannels * getSampleBytes(first_.sampleType);
        auto rows = computedBlockEdge;
        while (rows > 1 && (rowBytes >> levelIndex) * rows > (16LL << 20)) rows /= 2;
        return {e.x, e.y, e.x, rows, isByPlane};
    }

    std::shared_ptr<Block const> getBlock(BlockKey const& key) {
        auto const decode = [&](BlockCache::Room& room) {
            detail::checkCancelled(checker_);
            auto const& level = layout_.levels[static_cast<std::size_t>(key.level)];
            if (!level.isStored()) return computeBlock(key, level, room);
            auto const& page = level.pages[static_cast<std::size_t>(key.slice)];
            return decoder_.decode(page, key, room, checker_);
        };
        return cache_.getOrDecode(key, decode, [&] { detail::checkCancelled(checker_); });
    }

    std::shared_ptr<Block const> computeBlock(BlockKey const& key,
                                              PyramidLayout::Level const& level,
                                              BlockCache::Room& room) {
        std::call_once(meansAreMade_, [this] { means_ = makeMeans(); });
        Grid const grid = gridOf(key.level, level, key.slice);
        auto const channels = grid.isByPlane
                                  ? std::span(&key.plane, 1)
                                  : std::span(std::as_const(allChannels_))
                                        .first(static_cast<std::size_t>(first_.numChannels));
        auto block = std::make_shared<Block>();
        block->width = std::min(grid.blockWidth, grid.width - key.x * grid.blockWidth);
        block->height = std::min(grid.blockHeight, grid.height - key.y * grid.blockHeight);
        detail::visitSampleType(first_.sampleType, [&](auto sample) {
            using T = decltype(sample);
            auto const bytes = static_cast<std::size_t>(block->width * block->height) *
                               channels.size() * sizeof(T);
            room.take(bytes);
            block->samples.resize(bytes);
            Area below{key.level - 1, key.slice, 0, 0, 0, 0};
            below.firstColumn = 2 * key.x * grid.blockWidth;
            below.endColumn = below.firstColumn + 2 * block->width;
            for (long long row = 0; row < block->height; row += rowsPerStep) {
                auto const count = std::min(rowsPerStep, block->height - row);
                below.firstRow = 2 * (key.y * grid.blockHeight + row);
                below.endRow = below.firstRow + 2 * count;
                halve<T>(below, channels, *block, row, count);
            }
        });
        return block;
    }

    /// Stores the 2 x 2 means of an area as `count` rows of `block` from `firstRow` on.
    template <typename T>
    void halve(Area const& below, std::span<long long const> channels, Block& block,
               long long firstRow, long long count) {
        auto const width = below.endColumn - below.firstColumn;
        auto const plane = width * 2 * count;
        // Where channels are apart, opacity comes along with those that it weighs.
        std::vector<long long> used(channels.begin(), channels.end());
        auto const isWeighed = [&](long long c) { return means_.isWeighed(c); };
        bool const weighs = std::any_of(used.begin(), used.end(), isWeighed);
        auto const alpha = std::find(used.begin(), used.end(), means_.alphaChannel) - used.begin();
        if (weighs && alpha == std::ssize(used)) used.push_back(means_.alphaChannel);
        std::vector<T> samples(static_cast<std::size_t>(plane) * used.size());
        visitRows<T>(below, used, [&](long long c, Rows<T> const& rows) {
            copyRows(rows,
                     samples.data() + c * plane + (rows.y - below.firstRow) * width + rows.x -
                         below.firstColumn,
                     width);
        });
        auto* const out = reinterpret_cast<T*>(block.samples.data());
        detail::RowHalver<T> const halver(means_);
        for (long long c = 0; c < std::ssize(channels); ++c) {
            for (long long y = 0; y < count; ++y) {
                T const* const upper = samples.data() + c * plane + 2 * y * width;
                T const* const opacity =
                    weighs ? samples.data() + alpha * plane + 2 * y * width : upper;
                halver.halvePlane(channels[static_cast<std::size_t>(c)], upper, upper + width,
                                  {opacity, opacity + width, 1},
                                  out + (c * block.height + firstRow + y) * block.width,
                                  block.width);
            }
        }
    }

    std::string path_;
    std::string name_;
    std::shared_ptr<detail::File const> file_;
    detail::DirectoryReader directories_;
    PyramidLayout layout_;
    PageInfo const& first_;
    std::vector<long long> allChannels_;
    detail::ToldMetadata metadata_;
    detail::Facts facts_;
    std::once_flag meansAreMade_;
    detail::MeanRule means_;
    detail::PageDecoder decoder_;
    BlockCache cache_;
    std::atomic<CancellationChecker*> checker_{nullptr};
};

}  // namespace Quivo
