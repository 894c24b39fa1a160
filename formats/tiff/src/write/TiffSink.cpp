#include "write/TiffSink.h"

#include "container/ChannelNames.h"

#include <quivo/core/Levels.h>
#include <quivo/core/Version.h>

#include <algorithm>
#include <array>
#include <limits>
#include <stdexcept>
#include <utility>

namespace Quivo::detail {

namespace {

/// Classic TIFF where everything certainly fits into its 32-bit offsets, otherwise BigTIFF.
char const* chooseMode(TiffPlan const& plan, std::string const& channelXml) {
    constexpr double offsetBytes = 16;
    auto const& extents = plan.pyramid.extents;
    auto const worst = static_cast<double>(plan.getFormat().getWorstBytes());
    double total = static_cast<double>(channelXml.size()) * static_cast<double>(extents[0].z);
    for (std::size_t level = 0; level < extents.size(); ++level) {
        auto const tiles = static_cast<double>(plan.pyramid.countTiles(level).prod());
        total += tiles * (worst + offsetBytes) + static_cast<double>(extents[level].z) * 1024;
    }
    return total < static_cast<double>(std::numeric_limits<std::uint32_t>::max()) ? "w" : "w8";
}

}  // namespace

void TiffPlan::check() const {
    auto const refuse = [this](std::string const& reason) {
        throw std::runtime_error(target + ": " + reason);
    };
    constexpr long long maxSide = std::numeric_limits<std::uint32_t>::max();
    TileShape const& f = pyramid.tile;
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
    if (compression == TiffCompression::Jpeg &&
        (f.sampleType != SampleType::U8 || (f.numChannels != 1 && f.numChannels != 3))) {
        refuse("JPEG compression needs u8 samples and 1 or 3 channels, not " +
               toString(f.sampleType) + " and " + std::to_string(f.numChannels));
    }
    if (quality < 1 || quality > 100) refuse("the JPEG quality must be 1 to 100");
    pyramid.check(target);
    for (std::size_t level = 0; level < pyramid.extents.size(); ++level) {
        Vector const& e = pyramid.extents[level];
        if (e.x > maxSide || e.y > maxSide) {
            refuse(std::to_string(e.x) + " x " + std::to_string(e.y) +
                   " pixels: TIFF holds sides up to " + std::to_string(maxSide));
        }
        Vector const tiles = pyramid.countTiles(level);
        if (tiles.x > maxSide / tiles.y) {
            refuse("too many tiles: TIFF holds up to " + std::to_string(maxSide) +
                   " per page; use larger tiles");
        }
    }
}

TiffSink::TiffSink(TiffPlan plan)
    : plan_(std::move(plan)),
      channelXml_(toChannelXml(plan_.channelNames)),
      file_(plan_.target, plan_.replaces ? Existing::Replaced : Existing::Kept),
      tiff_(std::make_unique<FileWriteStream>(file_.getFile()), file_.getTarget(),
            chooseMode(plan_, channelXml_)),
      codec_(plan_.getFormat(), file_.getTarget()) {}

void TiffSink::beginPage(long long level, long long slice) {
    auto const index = static_cast<std::size_t>(level);
    Vector const extent = plan_.pyramid.extents[index];
    tilesPerRow_ = plan_.pyramid.countTiles(index).x;
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
    if (range != getDefaultValueRange(plan_.pyramid.tile.sampleType) && range.min < range.max) {
        tiff_.set(TIFFTAG_SMINSAMPLEVALUE, range.min);
        tiff_.set(TIFFTAG_SMAXSAMPLEVALUE, range.max);
    }
}

Bytes TiffSink::encode(Bytes samples) const { return codec_.encode(std::move(samples)); }

void TiffSink::store(TilePlace const& place, Bytes const& encoded) {
    auto const index = static_cast<std::uint32_t>(place.row * tilesPerRow_ + place.column);
    // libtiff takes what it only reads as what it may change.
    auto const written =
        TIFFWriteRawTile(tiff_.get(), index, const_cast<std::byte*>(encoded.data()),
                         static_cast<tmsize_t>(encoded.size()));
    tiff_.check(written >= 0, "cannot be written");
}

void TiffSink::endPage() { tiff_.check(TIFFWriteDirectory(tiff_.get()) != 0, "cannot be written"); }

void TiffSink::finish() { tiff_.close(); }

void TiffSink::commit() { file_.commit(); }

}  // namespace Quivo::detail
