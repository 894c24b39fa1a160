#include "storage/pyramid/PyramidSession.h"

#include <quivo/core/Box.h>
#include <quivo/core/Levels.h>

#include <algorithm>
#include <cstring>
#include <exception>
#include <new>
#include <stdexcept>
#include <type_traits>
#include <utility>

namespace Quivo::detail {

namespace {

constexpr std::size_t pendingBytes = std::size_t{256} << 20;

}  // namespace

Vector PyramidPlan::countTiles(std::size_t level) const {
    return (extents[level] - Vector(1)) / Vector(tile.width, tile.height, 1) + Vector(1);
}

void PyramidPlan::check(std::string const& target) const {
    if (extents.empty()) throw std::runtime_error(target + ": the source image has no pixels");
    for (std::size_t level = 0; level < extents.size(); ++level) {
        Vector const& e = extents[level];
        if (e.x < 1 || e.y < 1 || e.z < 1) {
            throw std::runtime_error(target + ": the source image has no pixels");
        }
        if (computesLevels && level > 0 && e != convertToLevel(extents[level - 1], 0, 1)) {
            throw std::runtime_error(target + ": level " + std::to_string(level) +
                                     " of the source is not half of the one before and cannot be "
                                     "computed from it");
        }
    }
}

/// One tile on its way into the file.
struct PyramidSession::Tile {
    TilePlace place;
    Vector extent;  ///< of the part inside the image
    Bytes samples;  ///< the whole tile, interleaved, as far as the image goes; or else ...
    std::shared_ptr<Bytes const> rows;  ///< ... the samples of whole rows of the level,
    long long rowPixels = 0;            ///< so many pixels each,
    long long firstColumn = 0;          ///< from this one on
    std::shared_ptr<Bytes> nextRows;    ///< whole rows of the next level under this row of tiles
    long long nextRowPixels = 0;
    bool endsRow = false;        ///< then `nextRows` are complete
    Vector nextStart;            ///< where they begin
    std::vector<Bytes> encoded;  ///< one, or one for each channel
    std::future<void> done;
};

PyramidSession::PyramidSession(PyramidPlan plan, std::unique_ptr<TileSink> sink)
    : plan_(std::move(plan)),
      pixelBytes_(plan_.tile.numChannels * getSampleBytes(plan_.tile.sampleType)),
      sink_(std::move(sink)),
      workers_(plan_.numThreads) {
    auto const wanted = 16 * static_cast<std::size_t>(plan_.numThreads);
    maxPending_ = std::clamp(pendingBytes / plan_.tile.getTileBytes(), std::size_t{1}, wanted);
}

PyramidSession::~PyramidSession() = default;

void PyramidSession::writeLevel(Source& source, long long level, ProgressMonitor* monitor,
                                CancellationChecker* checker) {
    auto const index = static_cast<std::size_t>(level);
    Vector const extent = plan_.extents[index];
    bool const hasNext = plan_.computesLevels && index + 1 < plan_.extents.size();
    if (hasNext) {
        nextLevel_ = std::make_unique<ScratchLevel>(sink_->getTarget(), plan_.extents[index + 1],
                                                    pixelBytes_);
    }
    for (long long z = 0; z < extent.z; ++z) {
        sink_->beginPage(level, z);
        for (long long y = 0; y < extent.y; y += plan_.tile.height) {
            writeTileRow(source, level, Vector(0, y, z), monitor, checker);
        }
        while (!pending_.empty()) storeOldest(monitor);
        sink_->endPage();
    }
    level_ = std::move(nextLevel_);
}

void PyramidSession::writeTileRow(Source& source, long long level, Vector const& start,
                                  ProgressMonitor* monitor, CancellationChecker* checker) {
    auto const& shape = plan_.tile;
    auto const index = static_cast<std::size_t>(level);
    Vector const extent = plan_.extents[index];
    auto const height = std::min(shape.height, extent.y - start.y);
    auto const tilesPerRow = plan_.countTiles(index).x;
    std::shared_ptr<Bytes const> rows;
    if (level_) rows = std::make_shared<Bytes>(level_->readRows(start.z, start.y, height));
    std::shared_ptr<Bytes> nextRows;
    if (nextLevel_) {
        auto const nextBytes = nextLevel_->getExtent().x * (height / 2) * pixelBytes_;
        nextRows = std::make_shared<Bytes>(static_cast<std::size_t>(nextBytes));
    }
    for (long long x = 0; x < tilesPerRow; ++x) {
        if (checker && rows) checker->checkCancelled();
        auto tile = std::make_unique<Tile>();
        auto const left = x * shape.width;
        tile->place = {x, start.y / shape.height, 0};
        tile->extent = Vector(std::min(shape.width, extent.x - left), height, 1);
        tile->nextRows = nextRows;
        if (nextLevel_) tile->nextRowPixels = nextLevel_->getExtent().x;
        tile->nextStart = Vector(left / 2, start.y / 2, start.z);
        tile->endsRow = x + 1 == tilesPerRow;
        tile->firstColumn = left;
        if (rows) {
            tile->rows = rows;
            tile->rowPixels = extent.x;
        } else {
            readSamples(source, level, Vector(left, start.y, start.z), *tile, checker);
        }
        // Half of them at once: threads that take turns one tile at a time mostly wake each other.
        if (pending_.size() >= maxPending_) {
            while (pending_.size() > maxPending_ / 2) storeOldest(monitor);
        }
        submit(std::move(tile));
    }
}

void PyramidSession::readSamples(Source& source, long long level, Vector const& corner, Tile& tile,
                                 CancellationChecker* checker) {
    // A usual tile is read at once; a huge one in pieces, to be asked about in between.
    constexpr long long pixelsPerRead = 1 << 20;
    auto const rowsPerRead = std::clamp(pixelsPerRead / tile.extent.x, 1LL, tile.extent.y);
    auto const numValues = tile.extent.x * rowsPerRead * plan_.tile.numChannels;
    if (numValues > numValues_) {
        values_ = std::make_unique_for_overwrite<std::byte[]>(static_cast<std::size_t>(numValues) *
                                                              sizeof(double));
        numValues_ = numValues;
    }
    tile.samples.resize(plan_.tile.getTileBytes());
    for (long long y = 0; y < tile.extent.y; y += rowsPerRead) {
        if (checker) checker->checkCancelled();
        Vector const extent(tile.extent.x, std::min(rowsPerRead, tile.extent.y - y), 1);
        Box const region = Box(extent).translated(corner + Vector(0, y, 0));
        auto* const doubles = reinterpret_cast<double*>(values_.get());
        if (plan_.samples) {
            plan_.samples->openSamples(values_.get(), level, region, {});
        } else {
            source.openRegion(doubles, level, region);
        }
        visitSampleType(plan_.tile.sampleType, [&](auto sample) {
            using T = decltype(sample);
            if (plan_.samples) {
                interleave<T>(reinterpret_cast<T const*>(values_.get()), extent, y, tile);
            } else {
                interleave<T>(doubles, extent, y, tile);
            }
        });
    }
}

template <typename T, typename In>
void PyramidSession::interleave(In const* values, Vector const& extent, long long firstRow,
                                Tile& tile) const {
    auto const numChannels = plan_.tile.numChannels;
    bool constexpr areSamples = std::is_same_v<T, In>;
    std::vector<T> rows(areSamples ? 0 : static_cast<std::size_t>(extent.x * numChannels));
    for (long long y = 0; y < extent.y; ++y) {
        T* const out = reinterpret_cast<T*>(tile.samples.data()) +
                       (firstRow + y) * plan_.tile.width * numChannels;
        if constexpr (areSamples) {
            interleaveRows(values + y * extent.x, extent.x * extent.y, out, extent.x, numChannels);
        } else {
            // First the numbers, many at once, then their places.
            for (long long c = 0; c < numChannels; ++c) {
                In const* const in = values + (c * extent.y + y) * extent.x;
                T* const row = rows.data() + c * extent.x;
                convertRow(in, row, extent.x);
            }
            interleaveRows(rows.data(), extent.x, out, extent.x, numChannels);
        }
    }
}

void PyramidSession::submit(std::unique_ptr<Tile> tile) {
    Tile& job = *tile;
    pending_.push_back(std::move(tile));
    job.done = workers_.run([this, &job] { encode(job); });
}

void PyramidSession::storeOldest(ProgressMonitor* monitor) {
    Tile& tile = *pending_.front();
    tile.done.get();
    for (Bytes const& encoded : tile.encoded) {
        sink_->store(tile.place, encoded);
        ++tile.place.channel;
    }
    if (tile.nextRows && tile.endsRow) {
        nextLevel_->writeRows(tile.nextStart.z, tile.nextStart.y, *tile.nextRows);
    }
    pending_.pop_front();
    if (monitor) monitor->increase(1);
}

void PyramidSession::encode(Tile& tile) const {
    if (tile.rows) fillFromRows(tile);
    pad(tile);
    if (tile.nextRows) {
        visitSampleType(plan_.tile.sampleType,
                        [&](auto sample) { addToNextLevel<decltype(sample)>(tile); });
    }
    if (plan_.layout == TileLayout::Interleaved || plan_.tile.numChannels == 1) {
        tile.encoded.push_back(sink_->encode(std::move(tile.samples)));
        return;
    }
    for (long long c = 0; c < plan_.tile.numChannels; ++c) {
        tile.encoded.push_back(
            sink_->encode(visitSampleType(plan_.tile.sampleType, [&](auto sample) {
                return getPlane<decltype(sample)>(tile.samples, c);
            })));
    }
    tile.samples = {};
}

void PyramidSession::fillFromRows(Tile& tile) const {
    tile.samples.resize(plan_.tile.getTileBytes());
    for (long long y = 0; y < tile.extent.y; ++y) {
        auto const* const row = tile.rows->data() + y * tile.rowPixels * pixelBytes_;
        std::memcpy(tile.samples.data() + y * plan_.tile.width * pixelBytes_,
                    row + tile.firstColumn * pixelBytes_,
                    static_cast<std::size_t>(tile.extent.x * pixelBytes_));
    }
}

void PyramidSession::pad(Tile& tile) const {
    // The last column and row go on to the tile's border: nothing compresses better, and JPEG does
    // not ring at the image's edge.
    auto const rowBytes = plan_.tile.width * pixelBytes_;
    for (long long y = 0; y < tile.extent.y; ++y) {
        auto* const row = tile.samples.data() + y * rowBytes;
        for (auto x = tile.extent.x; x < plan_.tile.width; ++x) {
            std::memcpy(row + x * pixelBytes_, row + (x - 1) * pixelBytes_,
                        static_cast<std::size_t>(pixelBytes_));
        }
    }
    for (auto y = tile.extent.y; y < plan_.tile.height; ++y) {
        auto* const row = tile.samples.data() + y * rowBytes;
        std::memcpy(row, row - rowBytes, static_cast<std::size_t>(rowBytes));
    }
}

template <typename T>
void PyramidSession::addToNextLevel(Tile const& tile) const {
    auto const numChannels = plan_.tile.numChannels;
    auto const rowSamples = plan_.tile.width * numChannels;
    auto const* const in = reinterpret_cast<T const*>(tile.samples.data());
    auto* const out = reinterpret_cast<T*>(tile.nextRows->data());
    RowHalver<T> const halver(plan_.means);
    for (long long y = 0; y < tile.extent.y / 2; ++y) {
        T const* const upper = in + 2 * y * rowSamples;
        halver.halvePixels(upper, upper + rowSamples,
                           out + (y * tile.nextRowPixels + tile.nextStart.x) * numChannels,
                           tile.extent.x / 2, numChannels);
    }
}

template <typename T>
Bytes PyramidSession::getPlane(Bytes const& samples, long long channel) const {
    Bytes plane(samples.size() / static_cast<std::size_t>(plan_.tile.numChannels));
    auto const* const in = reinterpret_cast<T const*>(samples.data()) + channel;
    auto* const out = reinterpret_cast<T*>(plane.data());
    for (long long i = 0; i < plan_.tile.width * plan_.tile.height; ++i) {
        out[i] = in[i * plan_.tile.numChannels];
    }
    return plane;
}

std::optional<std::string> describeFailure(std::string const& target) {
    auto const reason = std::current_exception();
    // A caller of one's own gave up, without an exception on its way.
    if (!reason) return target + ": writing was given up";
    try {
        std::rethrow_exception(reason);
    } catch (CancellationException const&) {
        return std::nullopt;
    } catch (std::bad_alloc const&) {
        return target + ": not enough memory to write it";
    } catch (std::exception const& error) {
        return error.what();
    } catch (...) {
        return target + ": writing ended with an unknown error";
    }
}

}  // namespace Quivo::detail
