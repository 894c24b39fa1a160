#include "write/TiffPlan.h"

#include "container/LibTiff.h"
#include "write/OmeXml.h"

#include <quivo/core/Version.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace Quivo::detail {

namespace {

std::string getSoftware() {
    return "QuivoCore " + std::to_string(QUIVO_VERSION_MAJOR) + "." +
           std::to_string(QUIVO_VERSION_MINOR) + "." + std::to_string(QUIVO_VERSION_PATCH);
}

/// Whether a number is one of a type of samples.
bool isValueOf(SampleType type, double value) {
    auto const range = getDefaultValueRange(type);
    return value >= range.min && value <= range.max && value == std::floor(value);
}

}  // namespace

PageTags::PageTags(TiffPlan const& plan, TileCodec const& codec)
    : plan_(plan),
      format_(plan.getFormat()),
      colours_(plan.arePagesApart() ? describePlanes(plan.metadata)
                                    : chooseColours(plan.metadata, plan.pyramid.tile.sampleType)),
      metadata_(plan.metadata, plan.getShape()),
      jpegTables_(codec.getJpegTables()) {}

TagList PageTags::make(long long level, long long slice, long long plane, TileIndex const& tiles,
                       TiffForm form) const {
    auto const extent = plan_.pyramid.extents[static_cast<std::size_t>(level)];
    auto const channels = static_cast<std::size_t>(plan_.countPageChannels());
    auto const numPlanes = plan_.arePagesApart() ? plan_.pyramid.tile.numChannels : 1;
    auto const numPages = extent.z * numPlanes;
    auto const perChannel = [channels](int value) {
        return std::vector<std::uint16_t>(channels, static_cast<std::uint16_t>(value));
    };
    TagList tags;
    // The values behind a directory lie in the order that libtiff gives them.
    tags.addSize(TIFFTAG_IMAGEWIDTH, extent.x);
    tags.addSize(TIFFTAG_IMAGELENGTH, extent.y);
    tags.addSize(TIFFTAG_TILEWIDTH, format_.width);
    tags.addSize(TIFFTAG_TILELENGTH, format_.height);
    tags.add(metadata_.makeResolution(level));
    tags.addLong(TIFFTAG_SUBFILETYPE,
                 static_cast<std::uint32_t>((level > 0 ? FILETYPE_REDUCEDIMAGE : 0) |
                                            (numPages > 1 ? FILETYPE_PAGE : 0)));
    tags.addShorts(TIFFTAG_BITSPERSAMPLE, perChannel(8 * getSampleBytes(format_.sampleType)));
    tags.addShort(TIFFTAG_COMPRESSION, format_.getCompressionTag());
    tags.addShort(TIFFTAG_PHOTOMETRIC,
                  format_.isYCbCr() ? std::uint16_t{PHOTOMETRIC_YCBCR} : colours_.photometric);
    tags.addShort(TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
    tags.addShort(TIFFTAG_SAMPLESPERPIXEL, static_cast<std::uint16_t>(channels));
    bool const isSeparate = plan_.arePlanesApart() && !plan_.arePagesApart();
    tags.addShort(TIFFTAG_PLANARCONFIG, isSeparate ? std::uint16_t{PLANARCONFIG_SEPARATE}
                                                   : std::uint16_t{PLANARCONFIG_CONTIG});
    if (numPages > 1 && numPages <= std::numeric_limits<std::uint16_t>::max()) {
        tags.addShorts(TIFFTAG_PAGENUMBER,
                       std::array{static_cast<std::uint16_t>(slice * numPlanes + plane),
                                  static_cast<std::uint16_t>(numPages)});
    }
    tags.addIntegers(TIFFTAG_TILEBYTECOUNTS, getCountType(tiles, form), tiles.sizes);
    tags.addIntegers(TIFFTAG_TILEOFFSETS, form.getOffsetType(), tiles.offsets);
    tags.add(colours_.tags);
    tags.addShorts(TIFFTAG_EXTRASAMPLES, colours_.extras);
    tags.addShorts(TIFFTAG_SAMPLEFORMAT, perChannel(format_.getSampleFormatTag()));
    addRange(tags);
    if (format_.isYCbCr()) {
        auto const step = static_cast<std::uint16_t>(format_.getColourStep());
        tags.addShorts(TIFFTAG_YCBCRSUBSAMPLING, std::array{step, step});
        tags.addRationals(TIFFTAG_REFERENCEBLACKWHITE,
                          std::array<std::array<std::uint32_t, 2>, 6>{
                              {{0, 1}, {255, 1}, {128, 1}, {255, 1}, {128, 1}, {255, 1}}});
    }
    if (auto const predictor = format_.getPredictorTag()) {
        tags.addShort(TIFFTAG_PREDICTOR, predictor);
    }
    if (!jpegTables_.empty()) {
        tags.add(TIFFTAG_JPEGTABLES, TIFF_UNDEFINED,
                 {reinterpret_cast<char const*>(jpegTables_.data()), jpegTables_.size()});
    }
    tags.addText(TIFFTAG_SOFTWARE, getSoftware());
    auto const& names = plan_.sliceNames;
    if (level == 0 && static_cast<std::size_t>(slice) < names.size()) {
        auto const& name = names[static_cast<std::size_t>(slice)];
        if (!name.empty()) tags.addText(TIFFTAG_PAGENAME, name);
    }
    tags.add(metadata_.getEvery());
    if (level == 0 && slice == 0 && plane == 0) tags.add(metadata_.getFirst());
    return tags;
}

std::uint16_t PageTags::getCountType(TileIndex const& tiles, TiffForm form) const {
    // The shortest type into which every count fits, as libtiff estimates it.
    auto const bytes = format_.getTileBytes();
    auto const mayExceed = [&](std::uint64_t limit) {
        bool const isCompressed = format_.compression != TiffCompression::None;
        return tiles.sizes.size() == 1 || (isCompressed ? bytes >= limit / 10 : bytes > limit);
    };
    if (form.isBig && mayExceed(std::numeric_limits<std::uint32_t>::max())) return TIFF_LONG8;
    return mayExceed(std::numeric_limits<std::uint16_t>::max()) ? std::uint16_t{TIFF_LONG}
                                                                : std::uint16_t{TIFF_SHORT};
}

void PageTags::addRange(TagList& tags) const {
    auto const& range = plan_.valueRange;
    auto const type = format_.sampleType;
    if (range == getDefaultValueRange(type) || !(range.min < range.max)) return;
    auto const count = static_cast<std::size_t>(plan_.countPageChannels());
    bool const isInType = getSampleBytes(type) <= 4 && isInteger(type) &&
                          isValueOf(type, range.min) && isValueOf(type, range.max);
    bool const isSigned = format_.getSampleFormatTag() == SAMPLEFORMAT_INT;
    std::uint16_t kind = TIFF_DOUBLE;
    if (isInType && getSampleBytes(type) == 1) kind = isSigned ? TIFF_SBYTE : TIFF_BYTE;
    if (isInType && getSampleBytes(type) == 2) kind = isSigned ? TIFF_SSHORT : TIFF_SHORT;
    if (isInType && getSampleBytes(type) == 4) kind = isSigned ? TIFF_SLONG : TIFF_LONG;
    for (auto const& [tag, value] : {std::pair{TIFFTAG_SMINSAMPLEVALUE, range.min},
                                     std::pair{TIFFTAG_SMAXSAMPLEVALUE, range.max}}) {
        auto const number = static_cast<std::uint16_t>(tag);
        if (kind == TIFF_DOUBLE) {
            tags.addDoubles(number, std::vector<double>(count, value));
        } else {
            auto const bits = static_cast<std::uint64_t>(static_cast<long long>(value));
            tags.addIntegers(number, kind, std::vector<std::uint64_t>(count, bits));
        }
    }
}

std::uint64_t PageTags::countPageBytes() const noexcept {
    auto const channels = static_cast<std::uint64_t>(plan_.pyramid.tile.numChannels);
    // Sample formats, bits and ranges are there once for each channel.
    return 1024 + 24 * channels + jpegTables_.size() + colours_.tags.getValueBytes() +
           metadata_.getEvery().getValueBytes();
}

}  // namespace Quivo::detail
