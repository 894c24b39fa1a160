#pragma once

#include "container/LibTiff.h"
#include "storage/files/File.h"
#include "storage/files/ScratchLevel.h"
#include "storage/work/WorkerPool.h"
#include "write/TileCodec.h"

#include <quivo/core/ValueRange.h>
#include <quivo/core/Vector.h>
#include <quivo/samples/SampleSource.h>
#include <quivo/writer/ImageWriter.h>

#include <deque>
#include <memory>
#include <string>
#include <vector>

namespace Quivo::detail {

/// What is to be written. Plain value.
struct WritePlan {
    std::string target;
    bool replaces = true;  ///< what is there
    TileFormat format;
    std::vector<Vector> extents;  ///< of every level
    Vector voxelSize;             ///< at level 0, nanometres; 0 where unknown
    ValueRange<double> valueRange;
    std::vector<std::string> channelNames;
    bool computesLevels = false;  ///< from the level before, instead of reading them
    int numThreads = 1;
    SampleSource* samples = nullptr;  ///< the source, where it has samples of the wanted type

    /// error: std::runtime_error "TARGET: reason" for what TIFF cannot hold.
    void check() const;
};

/// One file being written: under another name until `commit`, gone when destroyed without it.
///
/// The caller's thread reads the source, which it turns into samples while they are in its caches,
/// and writes the file, in the order of tiles; the workers encode the samples of a tile and make
/// its share of the next level. One thread at a time.
class WriteSession {
public:
    using Source = ImageWriter::DownsampleOrProxy;

    /// error: std::runtime_error "TARGET: reason" when the file cannot be created.
    explicit WriteSession(WritePlan plan);
    ~WriteSession();

    /// Writes the pages of a level; levels come in ascending order.
    /// error: std::runtime_error "TARGET: reason", and what source, monitor or checker throw.
    void writeLevel(Source& source, long long level, ProgressMonitor* monitor,
                    CancellationChecker* checker);

    /// Finishes the file under its temporary name.
    void finish();

    /// Gives the finished file its name.
    void commit();

private:
    struct Tile;

    void beginPage(long long level, long long slice);
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

    WritePlan plan_;
    std::string channelXml_;
    long long pixelBytes_;
    std::unique_ptr<File> file_;
    TiffHandle tiff_;
    TileCodec codec_;
    std::unique_ptr<ScratchLevel> level_;      ///< the level being written, when computed
    std::unique_ptr<ScratchLevel> nextLevel_;  ///< the one computed meanwhile
    std::unique_ptr<std::byte[]> values_;      ///< of the region read last, doubles or samples
    long long numValues_ = 0;                  ///< for which there is room
    std::size_t maxPending_;
    std::deque<std::unique_ptr<Tile>> pending_;  ///< in the order of the file
    WorkerPool workers_;                         ///< last: its jobs refer to all the others
};

}  // namespace Quivo::detail
