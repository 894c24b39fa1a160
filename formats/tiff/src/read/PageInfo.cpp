#include "read/PageInfo.h"

#include "read/Presenter.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string_view>

namespace Quivo::detail {

namespace {

/// Decoded bytes that a strip is split (or strips are gathered) to.
constexpr long long wantedBlockBytes = 2 << 20;
/// Decoded bytes of all planes of a strip above which they are read row by row.
constexpr long long largestStripBlockBytes = 256LL << 20;
/// Bytes of a page that is turned upright as one block.
constexpr long long largestTurnedPage = 16LL << 20;
/// The edge of the blocks of a larger one, out of a scratch file.
constexpr long long scratchBlockEdge = 512;

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

PageInfo::PageInfo(TiffHandle& tiff, bool indices) {
    directory = TIFFCurrentDirOffset(tiff.get());
    auto const kind = tiff.getDefaulted<std::uint32_t>(TIFFTAG_SUBFILETYPE);
    isReduced = (kind & FILETYPE_REDUCEDIMAGE) != 0;
    isMask = (kind & FILETYPE_MASK) != 0;
    width = storedWidth = tiff.getOr<std::uint32_t>(TIFFTAG_IMAGEWIDTH, 0);
    height = storedHeight = tiff.getOr<std::uint32_t>(TIFFTAG_IMAGELENGTH, 0);
    storedSamples = tiff.getDefaulted<std::uint16_t>(TIFFTAG_SAMPLESPERPIXEL);
    if (width < 1 || height < 1 || storedSamples < 1) {
        unsupported = "the image has no pixels";
        return;
    }
    // What is no orientation counts as none.
    auto const turned = tiff.getDefaulted<std::uint16_t>(TIFFTAG_ORIENTATION);
    if (turned >= ORIENTATION_TOPLEFT && turned <= ORIENTATION_LEFTBOT) {
        orientation = static_cast<Orientation>(turned);
    }
    if (Turn(orientation, width, height).swapsAxes()) std::swap(width, height);
    isStoredInTiles = TIFFIsTiled(tiff.get()) != 0;
    isSeparate = tiff.getDefaulted<std::uint16_t>(TIFFTAG_PLANARCONFIG) == PLANARCONFIG_SEPARATE &&
                 storedSamples > 1;
    checkCodec(tiff);
    if (unsupported.empty()) readColours(tiff, indices);
    if (unsupported.empty()) readBlocks(tiff);
    if (!unsupported.empty()) return;
    chooseUprightBlocks();
    readValueRange(tiff);
}

void PageInfo::checkCodec(TiffHandle& tiff) {
    auto const compression = tiff.getDefaulted<std::uint16_t>(TIFFTAG_COMPRESSION);
    if (!TIFFIsCODECConfigured(compression)) {
        unsupported = "compression " + std::to_string(compression) +
                      " is not supported by the installed libtiff";
        return;
    }
    isUncompressed = compression == COMPRESSION_NONE;
    constexpr int rowByRow[] = {COMPRESSION_NONE,    COMPRESSION_PACKBITS,      COMPRESSION_LZW,
                                COMPRESSION_DEFLATE, COMPRESSION_ADOBE_DEFLATE, COMPRESSION_ZSTD};
    isRowByRow = std::count(std::begin(rowByRow), std::end(rowByRow), compression) != 0;
    maxRatio = maxRatioOf(compression);
    bool const isJpeg = compression == COMPRESSION_JPEG || compression == COMPRESSION_OJPEG;
    constexpr long long mostInScan = 4;
    if (isJpeg && !isSeparate && storedSamples > mostInScan) {
        unsupported = "damaged: JPEG holds no " + std::to_string(storedSamples) +
                      " samples together, " + std::to_string(mostInScan) + " at most";
    }
}

void PageInfo::readBlocks(TiffHandle& tiff) {
    if (isStoredInTiles) {
        storedBlockWidth = tiff.getOr<std::uint32_t>(TIFFTAG_TILEWIDTH, 0);
        storedBlockHeight = tiff.getOr<std::uint32_t>(TIFFTAG_TILELENGTH, 0);
    } else {
        storedBlockWidth = storedWidth;
        storedBlockHeight = tiff.getDefaulted<std::uint32_t>(TIFFTAG_ROWSPERSTRIP);
        storedBlockHeight = std::min(storedBlockHeight, storedHeight);
    }
    if (storedBlockWidth < 1 || storedBlockHeight < 1) {
        unsupported = "tiles or strips of size 0";
        return;
    }
    // What the header claims has to fit to the bytes that are there.
    auto const fileSize = tiff.getStream().getSize();
    auto const columns = (storedWidth - 1) / storedBlockWidth + 1;
    auto const rows = (storedHeight - 1) / storedBlockHeight + 1;
    if (columns > fileSize / rows) {
        unsupported = "damaged: the header claims " + std::to_string(columns) + " x " +
                      std::to_string(rows) + " tiles or strips, the file has only " +
                      std::to_string(fileSize) + " bytes";
        return;
    }
    auto const bytesPerPixel = presentation == Presentation::Converted
                                   ? 4
                                   : storedSamples * partsPerSample * getSampleBytes(storedType);
    auto const rowBytes = storedBlockWidth * bytesPerPixel;  // below 2^32 * 2^16 * 2^3
    auto const blockRows =
        isStoredInTiles || presentation == Presentation::Converted ? storedBlockHeight : 1;
    if (rowBytes > plausibleBytes(fileSize) / blockRows) {
        unsupported = "damaged: a " + std::string(isStoredInTiles ? "tile" : "row") + " of " +
                      std::to_string(storedBlockWidth) + " x " + std::to_string(blockRows) +
                      " pixels cannot come out of a file of " + std::to_string(fileSize) + " bytes";
        return;
    }
    pieceWidth = storedBlockWidth;
    pieceHeight = storedBlockHeight;
    if (isStoredInTiles || presentation == Presentation::Converted) return;
    // A strip holds one plane, a block all of them.
    auto const planeRowBytes = rowBytes / getNumPlanes();
    auto const wantedRows = std::max(1LL, wantedBlockBytes / rowBytes);
    readsByRow = storedBlockHeight > std::max(1LL, wantedBlockBytes / planeRowBytes) ||
                 storedBlockHeight > std::max(1LL, largestStripBlockBytes / rowBytes);
    pieceHeight =
        readsByRow ? wantedRows : storedBlockHeight * std::max(1LL, wantedRows / storedBlockHeight);
}

void PageInfo::chooseUprightBlocks() {
    isTiled = isStoredInTiles;
    blockWidth = pieceWidth;
    blockHeight = pieceHeight;
    if (orientation == Orientation::Upright) return;
    auto const pixelBytes = getChannelsPerBlock() * getSampleBytes(sampleType);
    if (width * pixelBytes <= largestTurnedPage / height) {
        isTiled = false;
        blockWidth = width;
        blockHeight = height;
        return;
    }
    Turn const turn(orientation, storedWidth, storedHeight);
    if (turn.swapsAxes()) std::swap(blockWidth, blockHeight);
    if (isStoredInTiles) return;
    if (turn.swapsAxes()) {
        needsScratch = true;
        isTiled = true;
        blockWidth = blockHeight = scratchBlockEdge;
    } else {
        needsScratch = turn.turnsRowsOver() && readsByRow && !isUncompressed;
    }
}

bool PageInfo::setMask(std::shared_ptr<PageInfo const> page) {
    if (!page || !page->unsupported.empty() || page->width != width || page->height != height ||
        page->numChannels != 1 || page->sampleType != SampleType::U8 || mask) {
        return false;
    }
    mask = std::move(page);
    isMaskChannel = !fill;
    if (!isMaskChannel) return true;
    hasAlpha |= hasColours && numChannels == 3;
    opacity[numChannels++] = AlphaKind::Unassociated;
    return true;
}

double PageInfo::getDeliveredFill(long long channel) const {
    if (channel >= getNumOwnChannels()) return 0.0;
    Block pixel{1, 1, {}};
    auto const bytes = getSampleBytes(sampleType);
    pixel.samples.resize(static_cast<std::size_t>(getNumOwnChannels() * bytes));
    PageInfo whole = *this;  // all channels in one block
    whole.isSeparate = false;
    Presenter(whole, pixel).storeFill(0, 0, 1);
    return visitSampleType(sampleType, [&](auto sample) {
        std::memcpy(&sample, pixel.samples.data() + channel * bytes, sizeof(sample));
        return static_cast<double>(sample);
    });
}

ValueRange<double> PageInfo::getRangeOfBits() const {
    auto const all = getDefaultValueRange(storedType);
    if (!isInteger(storedType) || bits == 8LL * getSampleBytes(storedType)) return all;
    auto const one = static_cast<int>(bits);
    if (all.min < 0) return {-std::ldexp(1.0, one - 1), std::ldexp(1.0, one - 1) - 1};
    return {0.0, std::ldexp(1.0, one) - 1};
}

void PageInfo::readValueRange(TiffHandle& tiff) {
    valueRange = getDefaultValueRange(sampleType);
    if (presentation == Presentation::Palette || presentation == Presentation::Converted) return;
    if (decodeMode == DecodeMode::LogLuvToFloats) return;  // what the tags say is of the logarithms
    valueRange = getRangeOfBits();
    ValueRange<double> stated = valueRange;
    std::uint16_t limit = 0;
    if (TIFFGetField(tiff.get(), TIFFTAG_MINSAMPLEVALUE, &limit)) stated.min = limit;
    if (TIFFGetField(tiff.get(), TIFFTAG_MAXSAMPLEVALUE, &limit)) stated.max = limit;
    stated.min = tiff.getOr<double>(TIFFTAG_SMINSAMPLEVALUE, stated.min);
    stated.max = tiff.getOr<double>(TIFFTAG_SMAXSAMPLEVALUE, stated.max);
    // What no sample can be was not said of these samples.
    auto const possible = getDefaultValueRange(sampleType);
    bool const isPossible = isInteger(sampleType)
                                ? stated.min >= possible.min && stated.max <= possible.max
                                : std::isfinite(stated.min) && std::isfinite(stated.max);
    if (!isPossible || !(stated.min < stated.max)) return;
    valueRange = stated;
    if (presentation == Presentation::Inverted && isInteger(sampleType)) {
        // Integers are turned over in the range of their bits, and so is what is said of them.
        auto const all = getRangeOfBits();
        valueRange = {all.min + all.max - stated.max, all.min + all.max - stated.min};
    }
}

bool PageInfo::hasPixelsLike(PageInfo const& other) const noexcept {
    return unsupported.empty() && sampleType == other.sampleType &&
           numChannels == other.numChannels && hasColours == other.hasColours;
}

}  // namespace Quivo::detail
