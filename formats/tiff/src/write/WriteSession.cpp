#include "write/WriteSession.h"

#include "container/ChannelNames.h"

#include <quivo/core/Box.h>
#include <quivo/core/Levels.h>
#include <quivo/core/Version.h>

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>
#include <limits>
#include <stdexcept>
#include <type_traits>

namespace Quivo::detail {

namespace {

/// The file that a write to `path` replaces: what a symbolic link points to, else `path` itself.
/// error: std::runtime_error when that is no regular file, or is there and not to be replaced.
std::string resolveTarget(std::string const& path, bool replaces) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) return path;
    if (!replaces) throwSystemError(path, "cannot create", EEXIST);
    if (!S_ISREG(status.st_mode)) {
        throw std::runtime_error(path + ": is not a regular file and cannot be replaced");
    }
    std::error_code failed;
    auto const resolved = std::filesystem::canonical(path, failed);
    return failed ? path : resolved.string();
}

/// How many tiles lie along each axis.
Vector countTiles(Vector const& extent, TileFormat const& format) {
    Vector const tile(format.width, format.height, 1);
    return (extent - Vector(1)) / tile + Vector(1);
}

/// Classic TIFF where everything certainly fits into its 32-bit offsets, otherwise BigTIFF.
char const* chooseMode(WritePlan const& plan, std::string const& channelXml) {
    constexpr double offsetBytes = 16;
    double total = static_cast<double>(channelXml.size()) * static_cast<double>(plan.extents[0].z);
    for (auto const& extent : plan.extents) {
        auto const tiles = static_cast<double>(countTiles(extent, plan.format).prod());
        auto const worst = static_cast<double>(plan.format.getWorstBytes());
        total += tiles * (worst + offsetBytes) + static_cast<double>(extent.z) * 1024;
    }
    return total < static_cast<double>(std::numeric_limits<std::uint32_t>::max()) ? "w" : "w8";
}

constexpr std::size_t pendingBytes = std::size_t{256} << 20;

}  // namespace

void WritePlan::check() const {
    auto const refuse = [this](std::string const& reason) {
        throw std::runtime_error(target + ": " + reason);
    };
    constexpr long long maxSide = std::numeric_limits<std::uint32_t>::max();
    auto const& f = format;
    constexpr std::array written{SampleType::U8, SampleType::U16, SampleType::U32, SampleType::F32,
                                 SampleType::F64};
    if (std::find(written.begin(), written.end(), f.sampleType) == written.end()) {
        refuse((isInteger(f.sampleType) && f.sampleType != SampleType::U64
                    ? "signed"
                    : toString(f.sampleType)) +
               std::string(" samples are not written; use f32 or f64"));
    }
    if (f.numChannels < 1 || f.numChannels > std::numeric_limits<std::uint16_t>::max()) {
        refuse(std::to_string(f.numChannels) + " channels: TIFF holds 1 to 65535");
    }
    if (channelNames.size() > static_cast<std::size_t>(f.numChannels)) {
        refuse(std::to_string(channelNames.size()) + " names for " + std::to_string(f.numChannels) +
               " channels");
    }
    bool const isTileSide = f.width % 16 == 0 && f.height % 16 == 0;
    constexpr long long maxTileSide = 1LL << 20;
    if (!isTileSide || f.width > maxTileSide || f.height > maxTileSide) {
        refuse("tiles of " + std::to_string(f.width) + " x " + std::to_string(f.height) +
               ": both sides must be multiples of 16");
    }
    if (f.width * f.height * getSampleBytes(f.sampleType) >
        std::numeric_limits<std::int32_t>::max() / f.numChannels) {
        refuse("tiles of more than 2 GB cannot be written; use a smaller tile size");
    }
    if (f.compression == TiffCompression::Jpeg &&
        (f.sampleType != SampleType::U8 || (f.numChannels != 1 && f.numChannels != 3))) {
        refuse("JPEG compression needs u8 samples and 1 or 3 channels, not " +
               toString(f.sampleType) + " and " + std::to_string(f.numChannels));
    }
    if (f.quality < 1 || f.quality > 100) refuse("the JPEG quality must be 1 to 100");
    if (extents.empty()) refuse("the source image has no pixels");
    for (std::size_t level = 0; level < extents.size(); ++level) {
        Vector const& e = extents[level];
        if (e.x < 1 || e.y < 1 || e.z < 1) refuse("the source image has no pixels");
        if (e.x > maxSide || e.y > maxSide) {
            refuse(std::to_string(e.x) + " x " + std::to_string(e.y) +
                   " pixels: TIFF holds sides up to " + std::to_string(maxSide));
        }
        Vector const tiles = countTiles(e, f);
        if (tiles.x > maxSide / tiles.y) {
            refuse("too many tiles: TIFF holds up to " + std::to_string(maxSide) +
                   " per page; use larger tiles");
        }
        if (computesLevels && level > 0 && e != convertToLevel(extents[level - 1], 0, 1)) {
            refuse("level " + std::to_string(level) +
                   " of the source is not half of the one before and cannot be computed from it");
        }
    }
}

/// One tile on its way into the file.
struct WriteSession::Tile {
    std::uint32_t index = 0;  ///< within the page
    Vector extent;            ///< of the part inside the image
    Bytes samples;  ///< the whole tile, interleaved, as far as the image goes; or else ...
    std::shared_ptr<Bytes const> rows;  ///< ... the samples of whole rows of the level,
    long long rowPixels = 0;            ///< so many pixels each,
    long long firstColumn = 0;          ///< from this one on
    std::shared_ptr<Bytes> nextRows;    ///< whole rows of the next level under this row of tiles
    long long nextRowPixels = 0;
    bool endsRow = false;  ///< then `nextRows` are complete
    Vector nextStart;      ///< where they begin
    Bytes encoded;
    std::future<void> done;
};

WriteSession::WriteSession(WritePlan plan)
    : plan_(std::move(plan)),
      channelXml_(toChannelXml(plan_.channelNames)),
      pixelBytes_(plan_.format.numChannels * getSampleBytes(plan_.format.sampleType)),
      file_(File::createBeside(plan_.target = resolveTarget(plan_.target, plan_.replaces))),
      tiff_(std::make_unique<FileWriteStream>(*file_), plan_.target,
            chooseMode(plan_, channelXml_)),
      codec_(plan_.format, plan_.target),
      workers_(plan_.numThreads) {
    auto const wanted = 16 * static_cast<std::size_t>(plan_.numThreads);
    maxPending_ = std::clamp(pendingBytes / plan_.format.getTileBytes(), std::size_t{1}, wanted);
}

WriteSession::~WriteSession() = default;

void WriteSession::writeLevel(Source& source, long long level, ProgressMonitor* monitor,
                              CancellationChecker* checker) {
    auto const index = static_cast<std::size_t>(level);
    Vector const extent = plan_.extents[index];
    bool const hasNext = plan_.computesLevels && index + 1 < plan_.extents.size();
    if (hasNext) {
        nextLevel_ =
            std::make_unique<ScratchLevel>(plan_.target, plan_.extents[index + 1], pixelBytes_);
    }
    for (long long z = 0; z < extent.z; ++z) {
        beginPage(level, z);
        for (long long y = 0; y < extent.y; y += plan_.format.height) {
            writeTileRow(source, level, Vector(0, y, z), monitor, checker);
        }
        while (!pending_.empty()) storeOldest(monitor);
        tiff_.check(TIFFWriteDirectory(tiff_.get()) != 0, "cannot be written");
    }
    level_ = std::move(nextLevel_);
}

void WriteSession::beginPage(long long level, long long slice) {
    Vector const extent = plan_.extents[static_cast<std::size_t>(level)];
    tiff_.set(TIFFTAG_IMAGEWIDTH, static_cast<std::uint32_t>(extent.x));
    tiff_.set(TIFFTAG_IMAGELENGTH, static_cast<std::uint32_t>(extent.y));
    codec_.setPageTags(tiff_);
    tiff_.set(TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
    std::string const software = "QuivoCore " + std::to_string(QUIVO_VERSION_MAJOR) + "." +
                                 std::to_string(QUIVO_VERSION_MINOR) + "." +
                                 std::to_string(QUIVO_VERSION_PATCH);
    tiff_.set(TIFFTAG_SOFTWARE, software.c_str());
    bool const isStack = extent.z > 1;
    tiff_.set(TIFFTAG_SUBFILETYPE,
              (level > 0 ? FILETYPE_REDUCEDIMAGE : 0) | (isStack ? FILETYPE_PAGE : 0));
    if (isStack && extent.z <= std::numeric_limits<std::uint16_t>::max()) {
        tiff_.set(TIFFTAG_PAGENUMBER, static_cast<int>(slice), static_cast<int>(extent.z));
    }
    Vector const voxel = convertToLevel(plan_.voxelSize, level, 0);
    if (voxel.x > 0 && voxel.y > 0) {
        constexpr double nanometresPerCentimetre = 1e7;
        tiff_.set(TIFFTAG_RESOLUTIONUNIT, RESUNIT_CENTIMETER);
        tiff_.set(TIFFTAG_XRESOLUTION, nanometresPerCentimetre / static_cast<double>(voxel.x));
        tiff_.set(TIFFTAG_YRESOLUTION, nanometresPerCentimetre / static_cast<double>(voxel.y));
    }
    if (level == 0 && !channelXml_.empty()) setChannelXml(tiff_, channelXml_);
    auto const& range = plan_.valueRange;
    if (range != getDefaultValueRange(plan_.format.sampleType) && range.min < range.max) {
        tiff_.set(TIFFTAG_SMINSAMPLEVALUE, range.min);
        tiff_.set(TIFFTAG_SMAXSAMPLEVALUE, range.max);
    }
}

void WriteSession::writeTileRow(Source& source, long long level, Vector const& start,
                                ProgressMonitor* monitor, CancellationChecker* checker) {
    auto const& format = plan_.format;
    Vector const extent = plan_.extents[static_cast<std::size_t>(level)];
    auto const height = std::min(format.height, extent.y - start.y);
    auto const tilesPerRow = countTiles(extent, format).x;
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
        auto const left = x * format.width;
        tile->index = static_cast<std::uint32_t>(start.y / format.height * tilesPerRow + x);
        tile->extent = Vector(std::min(format.width, extent.x - left), height, 1);
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

void WriteSession::readSamples(Source& source, long long level, Vector const& corner, Tile& tile,
                               CancellationChecker* checker) {
    // A usual tile is read at once; a huge one in pieces, to be asked about in between.
    constexpr long long pixelsPerRead = 1 << 20;
    auto const rowsPerRead = std::clamp(pixelsPerRead / tile.extent.x, 1LL, tile.extent.y);
    auto const numValues = tile.extent.x * rowsPerRead * plan_.format.numChannels;
    if (numValues > numValues_) {
        values_ = std::make_unique_for_overwrite<std::byte[]>(static_cast<std::size_t>(numValues) *
                                                              sizeof(double));
        numValues_ = numValues;
    }
    tile.samples.resize(plan_.format.getTileBytes());
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
        visitSampleType(plan_.format.sampleType, [&](auto sample) {
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
void WriteSession::interleave(In const* values, Vector const& extent, long long firstRow,
                              Tile& tile) const {
    auto const numChannels = plan_.format.numChannels;
    bool constexpr areSamples = std::is_same_v<T, In>;
    std::vector<T> rows(areSamples ? 0 : static_cast<std::size_t>(extent.x * numChannels));
    for (long long y = 0; y < extent.y; ++y) {
        T* const out = reinterpret_cast<T*>(tile.samples.data()) +
                       (firstRow + y) * plan_.format.width * numChannels;
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

void WriteSession::submit(std::unique_ptr<Tile> tile) {
    Tile& job = *tile;
    pending_.push_back(std::move(tile));
    job.done = workers_.run([this, &job] { encode(job); });
}

void WriteSession::storeOldest(ProgressMonitor* monitor) {
    Tile& tile = *pending_.front();
    tile.done.get();
    auto const written = TIFFWriteRawTile(tiff_.get(), tile.index, tile.encoded.data(),
                                          static_cast<tmsize_t>(tile.encoded.size()));
    tiff_.check(written >= 0, "cannot be written");
    if (tile.nextRows && tile.endsRow) {
        nextLevel_->writeRows(tile.nextStart.z, tile.nextStart.y, *tile.nextRows);
    }
    pending_.pop_front();
    if (monitor) monitor->increase(1);
}

void WriteSession::encode(Tile& tile) const {
    if (tile.rows) fillFromRows(tile);
    pad(tile);
    if (tile.nextRows) {
        visitSampleType(plan_.format.sampleType,
                        [&](auto sample) { addToNextLevel<decltype(sample)>(tile); });
    }
    tile.encoded = codec_.encode(std::move(tile.samples));
}

void WriteSession::fillFromRows(Tile& tile) const {
    tile.samples.resize(plan_.format.getTileBytes());
    for (long long y = 0; y < tile.extent.y; ++y) {
        auto const* const row = tile.rows->data() + y * tile.rowPixels * pixelBytes_;
        std::memcpy(tile.samples.data() + y * plan_.format.width * pixelBytes_,
                    row + tile.firstColumn * pixelBytes_,
                    static_cast<std::size_t>(tile.extent.x * pixelBytes_));
    }
}

void WriteSession::pad(Tile& tile) const {
    // The last column and row go on to the tile's border: nothing compresses better, and JPEG does
    // not ring at the image's edge.
    auto const rowBytes = plan_.format.width * pixelBytes_;
    for (long long y = 0; y < tile.extent.y; ++y) {
        auto* const row = tile.samples.data() + y * rowBytes;
        for (auto x = tile.extent.x; x < plan_.format.width; ++x) {
            std::memcpy(row + x * pixelBytes_, row + (x - 1) * pixelBytes_,
                        static_cast<std::size_t>(pixelBytes_));
        }
    }
    for (auto y = tile.extent.y; y < plan_.format.height; ++y) {
        auto* const row = tile.samples.data() + y * rowBytes;
        std::memcpy(row, row - rowBytes, static_cast<std::size_t>(rowBytes));
    }
}

template <typename T>
void WriteSession::addToNextLevel(Tile const& tile) const {
    auto const numChannels = plan_.format.numChannels;
    auto const rowSamples = plan_.format.width * numChannels;
    auto const* const in = reinterpret_cast<T const*>(tile.samples.data());
    auto* const out = reinterpret_cast<T*>(tile.nextRows->data());
    for (long long y = 0; y < tile.extent.y / 2; ++y) {
        T const* const upper = in + 2 * y * rowSamples;
        halveRows(upper, upper + rowSamples,
                  out + (y * tile.nextRowPixels + tile.nextStart.x) * numChannels,
                  tile.extent.x / 2, numChannels);
    }
}

void WriteSession::finish() { tiff_.close(); }

void WriteSession::commit() { file_->renameTo(plan_.target, plan_.replaces); }

}  // namespace Quivo::detail
