#include "read/Lengths.h"
#include "read/MetadataReader.h"

#include <string_view>
#include <utility>

namespace Quivo::detail {

namespace {

std::string getCompressionName(std::uint64_t number) {
    static constexpr std::pair<unsigned, std::string_view> known[] = {
        {COMPRESSION_NONE, "none"},
        {COMPRESSION_CCITTRLE, "CCITT RLE"},
        {COMPRESSION_CCITTFAX3, "CCITT fax, group 3"},
        {COMPRESSION_CCITTFAX4, "CCITT fax, group 4"},
        {COMPRESSION_LZW, "LZW"},
        {COMPRESSION_OJPEG, "old JPEG"},
        {COMPRESSION_JPEG, "JPEG"},
        {COMPRESSION_ADOBE_DEFLATE, "Deflate"},
        {COMPRESSION_CCITTRLEW, "CCITT RLE with words"},
        {COMPRESSION_PACKBITS, "PackBits"},
        {COMPRESSION_THUNDERSCAN, "ThunderScan"},
        {COMPRESSION_DEFLATE, "Deflate (old number)"},
        {33003, "JPEG 2000"},
        {33005, "JPEG 2000"},
        {COMPRESSION_JP2000, "JPEG 2000"},
        {COMPRESSION_SGILOG, "SGI LogLuv"},
        {COMPRESSION_SGILOG24, "SGI LogLuv, 24 bits"},
        {COMPRESSION_LERC, "LERC"},
        {COMPRESSION_LZMA, "LZMA"},
        {COMPRESSION_ZSTD, "Zstd"},
        {COMPRESSION_WEBP, "WebP"},
        {COMPRESSION_JXL, "JPEG XL"},
    };
    for (auto const& [code, name] : known) {
        if (code == number) return std::string(name);
    }
    return "number " + std::to_string(number);
}

std::string getColoursText(std::uint64_t photometric) {
    static constexpr std::pair<unsigned, std::string_view> known[] = {
        {PHOTOMETRIC_MINISWHITE, "grey, stored with 0 as white"},
        {PHOTOMETRIC_MINISBLACK, "grey, 0 is black"},
        {PHOTOMETRIC_RGB, "red, green, blue"},
        {PHOTOMETRIC_PALETTE, "a palette"},
        {PHOTOMETRIC_MASK, "a mask"},
        {PHOTOMETRIC_SEPARATED, "inks"},
        {PHOTOMETRIC_YCBCR, "YCbCr, delivered as red, green, blue"},
        {PHOTOMETRIC_CIELAB, "CIE L*a*b*"},
        {PHOTOMETRIC_ICCLAB, "ICC L*a*b*"},
        {PHOTOMETRIC_ITULAB, "ITU L*a*b*"},
        {PHOTOMETRIC_CFA, "a colour filter array"},
        {PHOTOMETRIC_LOGL, "logarithmic luminance"},
        {PHOTOMETRIC_LOGLUV, "logarithmic luminance and u'v'"},
        {34892, "linear, of a camera"},
    };
    for (auto const& [code, name] : known) {
        if (code == photometric) return std::string(name);
    }
    return "number " + std::to_string(photometric);
}

std::string getFormatText(std::uint64_t format) {
    static constexpr std::string_view names[] = {
        "unsigned",        "unsigned",         "signed", "floating point",
        "of unknown kind", "complex integers", "complex"};
    return std::string(format < std::size(names) ? names[format] : "of unknown kind");
}

}  // namespace

Facts readFacts(DirectoryReader& directories, PyramidLayout const& layout,
                Metadata const& metadata) {
    PageInfo const& page = layout.getFirstPage();
    auto const directory = directories.read(page.directory).value_or(Directory());
    auto const get = [&](std::uint16_t tag, std::uint64_t otherwise) {
        return directories.getUnsigned(directory, tag).value_or(otherwise);
    };
    Facts facts;
    facts.emplace_back("file", std::string(directories.isBig() ? "BigTIFF" : "TIFF") +
                                   (directories.isBigEndian() ? ", big-endian" : ""));
    facts.emplace_back("compression",
                       getCompressionName(get(TIFFTAG_COMPRESSION, COMPRESSION_NONE)));
    auto const photometric = get(TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
    bool const isGrey =
        photometric == PHOTOMETRIC_MINISBLACK && metadata.colourModel != ColourModel::Grey;
    bool const isOneGrey = isGrey && page.numChannels == 1 && layout.planesPerSlice == 1;
    facts.emplace_back("colours", isGrey && !isOneGrey ? "none, channels for themselves"
                                                       : getColoursText(photometric));
    auto const bits = get(TIFFTAG_BITSPERSAMPLE, 1);
    facts.emplace_back("samples", std::to_string(bits) + (bits == 1 ? " bit, " : " bits, ") +
                                      getFormatText(get(TIFFTAG_SAMPLEFORMAT, 1)));
    bool const isTiled = directory.find(TIFFTAG_TILEWIDTH) != nullptr;
    constexpr std::uint64_t allRows = 0xffffffff;
    auto const rows = std::min<std::uint64_t>(get(TIFFTAG_ROWSPERSTRIP, allRows),
                                              get(TIFFTAG_IMAGELENGTH, allRows));
    auto const blocks = isTiled
                            ? "tiles of " + std::to_string(get(TIFFTAG_TILEWIDTH, 0)) + " x " +
                                  std::to_string(get(TIFFTAG_TILELENGTH, 0))
                            : "strips of " + std::to_string(rows) + (rows == 1 ? " row" : " rows");
    bool const isSeparate = get(TIFFTAG_PLANARCONFIG, 1) == PLANARCONFIG_SEPARATE;
    bool const hasPlanes = get(TIFFTAG_SAMPLESPERPIXEL, 1) > 1;
    facts.emplace_back("layout", blocks + (!hasPlanes   ? ""
                                           : isSeparate ? ", planes apart"
                                                        : ", planes together"));
    auto const noData = metadata.properties.find("tiff:GDALNoData");
    if (noData != metadata.properties.end()) {
        facts.emplace_back("no-data", toUtf8(trim(noData->second)));
    }
    if (layout.hasMask) {
        facts.emplace_back("mask", !page.opacity.empty()
                                       ? "a page of its own, delivered as opacity"
                                       : "a page of its own, delivered as no-data");
    }
    auto const orientation = get(TIFFTAG_ORIENTATION, 1);
    if (orientation >= 2 && orientation <= 8) {
        facts.emplace_back("orientation",
                           "turned upright (stored as " + std::to_string(orientation) + ")");
    }
    facts.insert(facts.end(), layout.stack.facts.begin(), layout.stack.facts.end());
    return facts;
}

}  // namespace Quivo::detail
