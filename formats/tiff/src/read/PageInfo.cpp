#include "read/PageInfo.h"

#include <algorithm>
#include <cmath>
#include <string_view>

namespace Quivo::detail {

namespace {

/// Decoded bytes that a strip is split (or strips are gathered) to.
constexpr long long wantedBlockBytes = 2 << 20;
/// Decoded bytes of all planes of a strip above which they are read row by row.
constexpr long long largestStripBlockBytes = 256LL << 20;

/// The most that decoding may claim to make of a file: more than any codec's honest ratio, and
/// enough for small files with tiles of a single colour.
long long plausibleBytes(long long fileSize) {
    return std::max(256LL << 20, std::min(fileSize, 1LL << 48) * 4096);
}

/// What the best case of a codec makes of one byte, rounded up; 0 where there is no bound.
long long maxRatioOf(std::uint16_t compression) {
    switch (compression) {
        case COMPRESSION_NONE:
            return 1;
        case COMPRESSION_PACKBITS:  // 128 repeated bytes out of two
            return 64;
        case COMPRESSION_ADOBE_DEFLATE:
        case COMPRESSION_DEFLATE:  // 258 repeated bytes out of two bits
            return 1040;
        case COMPRESSION_LZW:   // the longest of 4096 codes again and again, in 12 bits each
        case COMPRESSION_JPEG:  // 4 x 4 blocks with two of colour, one bit each
            return 4096;
        default:
            return 0;
    }
}

}  // namespace

PageInfo::PageInfo(TiffHandle& tiff) {
    directory = TIFFCurrentDirOffset(tiff.get());
    auto const kind = tiff.getDefaulted<std::uint32_t>(TIFFTAG_SUBFILETYPE);
    isReduced = (kind & FILETYPE_REDUCEDIMAGE) != 0;
    isMask = (kind & FILETYPE_MASK) != 0;
    width = tiff.getOr<std::uint32_t>(TIFFTAG_IMAGEWIDTH, 0);
    height = tiff.getOr<std::uint32_t>(TIFFTAG_IMAGELENGTH, 0);
    storedSamples = tiff.getDefaulted<std::uint16_t>(TIFFTAG_SAMPLESPERPIXEL);
    constexpr std::size_t longestName = 1024;
    name = std::string_view(tiff.getOr<char const*>(TIFFTAG_PAGENAME, "")).substr(0, longestName);
    if (width < 1 || height < 1 || storedSamples < 1) {
        unsupported = "the image has no pixels";
        return;
    }
    auto const orientation = tiff.getDefaulted<std::uint16_t>(TIFFTAG_ORIENTATION);
    if (orientation != ORIENTATION_TOPLEFT) {
        unsupported = "orientation " + std::to_string(orientation) +
                      " is not supported: only 1 (the first row at the top, columns from the left)";
        return;
    }
    auto const compression = tiff.getDefaulted<std::uint16_t>(TIFFTAG_COMPRESSION);
    if (!TIFFIsCODECConfigured(compression)) {
        unsupported = "compression " + std::to_string(compression) +
                      " is not supported by the installed libtiff";
        return;
    }
    isUncompressed = compression == COMPRESSION_NONE;
    maxRatio = maxRatioOf(compression);
    isTiled = TIFFIsTiled(tiff.get()) != 0;
    isSeparate = tiff.getDefaulted<std::uint16_t>(TIFFTAG_PLANARCONFIG) == PLANARCONFIG_SEPARATE &&
                 storedSamples > 1;
    readColours(tiff);
    if (unsupported.empty()) readBlocks(tiff);
    if (!unsupported.empty()) return;
    readValueRange(tiff);
    readVoxelSize(tiff);
}

std::optional<SampleType> PageInfo::readStoredType(TiffHandle& tiff) {
    auto const bits = tiff.getDefaulted<std::uint16_t>(TIFFTAG_BITSPERSAMPLE);
    auto const format = tiff.getDefaulted<std::uint16_t>(TIFFTAG_SAMPLEFORMAT);
    if (format == SAMPLEFORMAT_IEEEFP) {
        if (bits == 32) return SampleType::F32;
        if (bits == 64) return SampleType::F64;
    } else if (format == SAMPLEFORMAT_INT) {
        if (bits == 8) return SampleType::I8;
        if (bits == 16) return SampleType::I16;
        if (bits == 32) return SampleType::I32;
    } else if (format == SAMPLEFORMAT_UINT || format == SAMPLEFORMAT_VOID) {
        if (bits == 8) return SampleType::U8;
        if (bits == 16) return SampleType::U16;
        if (bits == 32) return SampleType::U32;
    }
    unsupported = "samples of " + std::to_string(bits) + " bits in format " +
                  std::to_string(format) +
                  " are not supported: only integers of 8, 16 or 32 and floats of 32 or 64 bits";
    return std::nullopt;
}

void PageInfo::readColours(TiffHandle& tiff) {
    auto const photometric = tiff.getOr<std::uint16_t>(TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
    auto const compression = tiff.getDefaulted<std::uint16_t>(TIFFTAG_COMPRESSION);
    isYCbCrJpeg = photometric == PHOTOMETRIC_YCBCR && compression == COMPRESSION_JPEG &&
                  !isSeparate && storedSamples == 3;
    bool const isConverted = (photometric == PHOTOMETRIC_YCBCR && !isYCbCrJpeg) ||
                             photometric == PHOTOMETRIC_LOGL || photometric == PHOTOMETRIC_LOGLUV;
    if (isConverted) {
        char reason[1024] = "";
        if (!TIFFRGBAImageOK(tiff.get(), reason)) {
            unsupported = std::string("the colours cannot be converted: ") + reason;
        }
        presentation = Presentation::Converted;
        maxRatio *= 16;  // one sample of colour for 4 x 4 pixels
        hasColours = true;
        colourModel = ColourModel::Rgb;
        numChannels = 3;
        return;
    }
    auto const type = readStoredType(tiff);
    if (!type) return;
    storedType = sampleType = *type;
    numChannels = storedSamples;
    hasColours = (photometric == PHOTOMETRIC_RGB || isYCbCrJpeg) && storedSamples >= 3;
    std::uint16_t numExtra = 0;
    std::uint16_t* extras = nullptr;
    TIFFGetFieldDefaulted(tiff.get(), TIFFTAG_EXTRASAMPLES, &numExtra, &extras);
    hasAlpha = hasColours && numExtra > 0 && storedSamples - numExtra == 3 &&
               extras[0] != EXTRASAMPLE_UNSPECIFIED;
    readMeaning(photometric, std::span(extras, numExtra));
    if (photometric == PHOTOMETRIC_MINISWHITE) presentation = Presentation::Inverted;
    if (photometric == PHOTOMETRIC_PALETTE) readPalette(tiff);
}

void PageInfo::readMeaning(std::uint16_t photometric, std::span<std::uint16_t const> extras) {
    auto const numColours = storedSamples - std::ssize(extras);
    bool const isLightness =
        photometric == PHOTOMETRIC_MINISBLACK || photometric == PHOTOMETRIC_MINISWHITE;
    colourModel = hasColours && numColours == 3                             ? ColourModel::Rgb
                  : isLightness && numColours == 1                          ? ColourModel::Grey
                  : photometric == PHOTOMETRIC_SEPARATED && numColours == 4 ? ColourModel::Cmyk
                  : photometric == PHOTOMETRIC_CIELAB && numColours == 3    ? ColourModel::CieLab
                  : photometric == PHOTOMETRIC_ICCLAB && numColours == 3    ? ColourModel::IccLab
                                                                            : ColourModel::None;
    // Grey among bands that are nothing in particular is one of them.
    bool hasBands = false;
    for (long long i = 0; i < std::ssize(extras); ++i) {
        auto const kind = extras[static_cast<std::size_t>(i)];
        hasBands |= kind == EXTRASAMPLE_UNSPECIFIED;
        if (kind == EXTRASAMPLE_ASSOCALPHA) opacity[numColours + i] = AlphaKind::Associated;
        if (kind == EXTRASAMPLE_UNASSALPHA) opacity[numColours + i] = AlphaKind::Unassociated;
    }
    if (colourModel == ColourModel::Grey && hasBands) colourModel = ColourModel::None;
}

void PageInfo::readPalette(TiffHandle& tiff) {
    std::uint16_t* colours[3] = {};
    if (!TIFFGetField(tiff.get(), TIFFTAG_COLORMAP, &colours[0], &colours[1], &colours[2])) {
        unsupported = "the palette is missing";
        return;
    }
    if (storedType != SampleType::U8 && storedType != SampleType::U16) {
        unsupported = "palettes are supported for indices of 8 or 16 bits only";
        return;
    }
    std::size_t const size = storedType == SampleType::U8 ? 256 : 65536;
    // Old files hold 8-bit colours in the 16-bit table.
    bool isWide = false;
    for (auto const* table : colours) {
        isWide |= std::any_of(table, table + size, [](std::uint16_t c) { return c > 255; });
    }
    auto triples = std::make_shared<std::vector<std::uint8_t>>();
    triples->reserve(3 * size);
    for (std::size_t i = 0; i < size; ++i) {
        for (auto const* table : colours) {
            triples->push_back(static_cast<std::uint8_t>(isWide ? table[i] >> 8 : table[i]));
        }
    }
    palette = std::move(triples);
    presentation = Presentation::Palette;
    sampleType = SampleType::U8;
    numChannels = 3;
    hasColours = true;
    colourModel = ColourModel::Rgb;
    opacity.clear();
    if (storedSamples > 1) unsupported = "palettes with further samples are not supported";
}

void PageInfo::readBlocks(TiffHandle& tiff) {
    if (isTiled) {
        storedBlockWidth = tiff.getOr<std::uint32_t>(TIFFTAG_TILEWIDTH, 0);
        storedBlockHeight = tiff.getOr<std::uint32_t>(TIFFTAG_TILELENGTH, 0);
    } else {
        storedBlockWidth = width;
        storedBlockHeight = tiff.getDefaulted<std::uint32_t>(TIFFTAG_ROWSPERSTRIP);
        storedBlockHeight = std::min(storedBlockHeight, height);
    }
    if (storedBlockWidth < 1 || storedBlockHeight < 1) {
        unsupported = "tiles or strips of size 0";
        return;
    }
    // What the header claims has to fit to the bytes that are there.
    auto const fileSize = tiff.getStream().getSize();
    auto const columns = (width - 1) / storedBlockWidth + 1;
    auto const rows = (height - 1) / storedBlockHeight + 1;
    if (columns > fileSize / rows) {
        unsupported = "damaged: the header claims " + std::to_string(columns) + " x " +
                      std::to_string(rows) + " tiles or strips, the file has only " +
                      std::to_string(fileSize) + " bytes";
        return;
    }
    auto const bytesPerPixel =
        presentation == Presentation::Converted ? 4 : storedSamples * getSampleBytes(storedType);
    auto const rowBytes = storedBlockWidth * bytesPerPixel;  // below 2^32 * 2^16 * 2^3
    auto const blockRows =
        isTiled || presentation == Presentation::Converted ? storedBlockHeight : 1;
    if (rowBytes > plausibleBytes(fileSize) / blockRows) {
        unsupported = "damaged: a " + std::string(isTiled ? "tile" : "row") + " of " +
                      std::to_string(storedBlockWidth) + " x " + std::to_string(blockRows) +
                      " pixels cannot come out of a file of " + std::to_string(fileSize) + " bytes";
        return;
    }
    blockWidth = storedBlockWidth;
    blockHeight = storedBlockHeight;
    if (isTiled || presentation == Presentation::Converted) return;
    // A strip holds one plane, a block all of them.
    auto const planeRowBytes = rowBytes / getNumPlanes();
    auto const wantedRows = std::max(1LL, wantedBlockBytes / rowBytes);
    readsByRow = storedBlockHeight > std::max(1LL, wantedBlockBytes / planeRowBytes) ||
                 storedBlockHeight > std::max(1LL, largestStripBlockBytes / rowBytes);
    blockHeight =
        readsByRow ? wantedRows : storedBlockHeight * std::max(1LL, wantedRows / storedBlockHeight);
}

void PageInfo::readValueRange(TiffHandle& tiff) {
    valueRange = getDefaultValueRange(sampleType);
    if (presentation == Presentation::Palette || presentation == Presentation::Converted) return;
    ValueRange<double> stated = valueRange;
    std::uint16_t limit = 0;
    if (TIFFGetField(tiff.get(), TIFFTAG_MINSAMPLEVALUE, &limit)) stated.min = limit;
    if (TIFFGetField(tiff.get(), TIFFTAG_MAXSAMPLEVALUE, &limit)) stated.max = limit;
    stated.min = tiff.getOr<double>(TIFFTAG_SMINSAMPLEVALUE, stated.min);
    stated.max = tiff.getOr<double>(TIFFTAG_SMAXSAMPLEVALUE, stated.max);
    bool const isSensible =
        std::isfinite(stated.min) && std::isfinite(stated.max) && stated.min < stated.max;
    if (!isSensible) return;
    valueRange = stated;
    if (presentation == Presentation::Inverted && isInteger(sampleType)) {
        // Integers are turned over in the range of their type, and so is what is said of them.
        auto const all = getDefaultValueRange(sampleType);
        valueRange = {all.min + all.max - stated.max, all.min + all.max - stated.min};
    }
}

void PageInfo::readVoxelSize(TiffHandle& tiff) {
    auto const unit = tiff.getDefaulted<std::uint16_t>(TIFFTAG_RESOLUTIONUNIT);
    double const nanometres = unit == RESUNIT_CENTIMETER ? 1e7
                              : unit == RESUNIT_INCH     ? 25.4e6
                                                         : 0.0;
    auto const sizeOf = [&](float perUnit) {
        double const size = nanometres / static_cast<double>(perUnit);
        return perUnit > 0 && size < 1e15 ? size : 0.0;
    };
    pixelWidth = sizeOf(tiff.getOr<float>(TIFFTAG_XRESOLUTION, 0));
    pixelHeight = sizeOf(tiff.getOr<float>(TIFFTAG_YRESOLUTION, 0));
    voxelSize = Vector(std::llround(pixelWidth), std::llround(pixelHeight), 0);
}

bool PageInfo::hasPixelsLike(PageInfo const& other) const noexcept {
    return unsupported.empty() && sampleType == other.sampleType &&
           numChannels == other.numChannels && hasColours == other.hasColours;
}

}  // namespace Quivo::detail
