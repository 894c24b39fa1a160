#pragma once

#include "samples/MeanRule.h"
#include "storage/files/ScratchLevel.h"
#include "storage/pyramid/TileSink.h"
#include "storage/work/WorkerPool.h"

#include <quivo/core/Vector.h>
#include <quivo/samples/SampleSource.h>
#include <quivo/writer/ImageWriter.h>

#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Quivo::detail {

/// What is to be written, as far as every format has it. Plain value.
struct PyramidPlan {
    TileShape tile;
    TileLayout layout = TileLayout::Interleaved;
    std::vector<Vector> extents;  ///< of every level
    /// From the level before, instead of reading them; the sides of tiles are even then.
    bool computesLevels = false;
    int numThreads = 1;
    SampleSource* samples = nullptr;  ///< the source, where it has samples of the wanted type
    MeanRule means;                   ///< by which levels are computed

    /// How many tiles lie along each axis of a level.
    [[nodiscard]] Vector countTiles(std::size_t level) const;

    /// error: std::runtime_error "TARGET: reason" for a level without pixels, and for one that is
    /// to be computed and not half of the one before.
    void check(std::string const& target) const;
};

/// Turns an image into the tiles of a pyramid and hands them to a sink.
///
/// The caller's thread reads the source, which it turns into samples while they are in its caches,
/// and stores tiles, in their order; the workers encode the samples of a tile and make its share of
/// the next level. So much that memory is bounded: a band of tiles as wide as the image, and a few
/// tiles per thread. What is stored depends neither on the number of threads nor on timing. One
/// thread at a time.
class PyramidSession {
public:
    using Source = ImageWriter::DownsampleOrProxy;

    PyramidSession(PyramidPlan plan, std::unique_ptr<TileSink> sink);
    ~PyramidSession();

    /// Writes the pages of a level; levels come in ascending order. The progress increases by one
    /// for each tile with all its channels.
    /// error: std::runtime_error "TARGET: reason", and what source, sink, monitor or checker throw.
    void writeLevel(Source& source, long long level, ProgressMonitor* monitor,
                    CancellationChecker* checker);

    /// As the sink's.
    ///@{
    void finish() { sink_->finish(); }
    void commit() { sink_->commit(); }
    ///@}

private:
    struct Tile;

    void writeTileRow(Source& source, long long level, Vector const& start,
                      ProgressMonitor* monitor, CancellationChecker* checker);
    void readSamples(Source& source, long long level, Vector const& corner, Tile& tile,
                     CancellationChecker* checker);
    template <typename T, typename In>
    void interleave(In const* values, Vector const& extent, long long firstRow, Tile& tile) const;
    void submit(std::unique_ptr<Tile> tile);
    void storeOldest(ProgressMonitor* monitor);
    void encode(Tile& tile) const;

    void fillFromRows(Tile& tile) const;
    void pad(Tile& tile) const;
    template <typename T>
    void addToNextLevel(Tile const& tile) const;
    template <typename T>
    [[nodiscard]] Bytes getPlane(Bytes const& samples, long long channel) const;

    PyramidPlan plan_;
    long long pixelBytes_;
    std::unique_ptr<TileSink> sink_;
    std::unique_ptr<ScratchLevel> level_;      ///< the level being written, when computed
    std::unique_ptr<ScratchLevel> nextLevel_;  ///< the one computed meanwhile
    std::unique_ptr<std::byte[]> values_;      ///< of the region read last, doubles or samples
    long long numValues_ = 0;                  ///< for which there is room
    std::size_t maxPending_;
    std::deque<std::unique_ptr<Tile>> pending_;  ///< in the order of the file
    WorkerPool workers_;                         ///< last: its jobs refer to all the others
};

/// One line that says why a write to `target` ended, by the exception that is being handled; none
/// when that is a cancellation.
[[nodiscard]] std::optional<std::string> describeFailure(std::string const& target);

}  // namespace Quivo::detail
