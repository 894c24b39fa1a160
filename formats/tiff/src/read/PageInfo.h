#pragma once

// What one page (directory) of a TIFF file says about itself, checked against what this library can
// read and against the size of the file.

#include "container/LibTiff.h"
#include "read/Orientation.h"

#include <quivo/core/ValueRange.h>
#include <quivo/core/Vector.h>
#include <quivo/metadata/Metadata.h>
#include <quivo/samples/SampleType.h>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace Quivo::detail {

/// How stored samples become the values that an image delivers.
enum class Presentation {
    AsStored,
    Inverted,  ///< MinIsWhite: the first sample is turned over
    Palette,   ///< the first sample is an index into a table of RGB
    Converted  ///< libtiff's own conversion of the page to 8-bit RGB
};

/// How samples lie in decoded bytes.
enum class Packing {
    None,    ///< as the machine has them
    Bits,    ///< integers one behind the other, highest bit first; rows begin on a byte
    Bytes3,  ///< integers of three bytes, in the order of the machine
    Float24  ///< floats of three bytes, in the order of the machine
};

/// What libtiff is told to make of a page when it decodes.
enum class DecodeMode {
    Plain,
    JpegToRgb,      ///< YCbCr of a JPEG becomes RGB
    LogLuvToFloats  ///< logarithmic luminance becomes CIE XYZ, or Y alone
};

/// What of the file is read from elsewhere: the bytes [begin, end) from `by` bytes further on.
struct FileShift {
    long long begin = 0;
    long long end = 0;
    long long by = 0;
};

/// The facts of one page. Plain value.
struct PageInfo {
    std::uint64_t directory = 0;  ///< file offset of the directory
    bool isReduced = false;       ///< marked as a reduced-resolution version of another page
    bool isMask = false;
    FileShift shift{};  ///< where its plane lies behind the one that the directory describes

    /// Which way up the page is stored. All that is delivered is upright.
    Orientation orientation = Orientation::Upright;
    long long width = 0;
    long long height = 0;
    bool isTiled = false;      ///< blocks are delivered as tiles, or in strips across the page
    long long blockWidth = 0;  ///< of the blocks that `PageDecoder` delivers
    long long blockHeight = 0;

    long long storedWidth = 0;  ///< of the page as it lies in the file
    long long storedHeight = 0;
    bool isStoredInTiles = false;
    long long storedBlockWidth = 0;   ///< of a tile or strip, as the file says
    long long storedBlockHeight = 0;  ///< at most `storedHeight` for strips
    long long pieceWidth = 0;         ///< of what is decoded at once
    long long pieceHeight = 0;
    bool readsByRow = false;      ///< strips too large to be decoded whole
    bool isUncompressed = false;  ///< so that any row can be read without those before it
    bool isRowByRow = false;  ///< so that rows below the image need not be decoded, nor be there
    /// The pieces can be reached in their order only, and upright rows need another one.
    bool needsScratch = false;
    /// The most bytes that one stored byte can become; 0 where the codec has no such bound.
    long long maxRatio = 0;

    bool isSeparate = false;  ///< one plane per sample
    DecodeMode decodeMode = DecodeMode::Plain;
    long long storedSamples = 0;  ///< samples per pixel in the file, or in what libtiff makes of it
    long long partsPerSample = 1;  ///< 2 for complex samples, which become a channel for each part
    long long bits = 8;            ///< of a part of a sample
    Packing packing = Packing::None;
    SampleType storedType = SampleType::U8;  ///< the narrowest one for those bits

    Presentation presentation = Presentation::AsStored;
    std::shared_ptr<std::vector<std::uint8_t> const> palette;  ///< RGB triples
    long long numChannels = 0;                                 ///< as delivered
    SampleType sampleType = SampleType::U8;
    ValueRange<double> valueRange;
    bool hasColours = false;  ///< the first three channels are red, green and blue
    bool hasAlpha = false;    ///< and the fourth one is opacity
    ColourModel colourModel = ColourModel::None;  ///< of the channels as delivered
    std::map<long long, AlphaKind> opacity;       ///< the channels that are, and how

    /// What stands, as a stored sample, where nothing was ever written or is damaged; 0 without it.
    std::optional<double> fill;
    /// Where its pixels are 0, the pixels of this page have no value. See `setMask`.
    std::shared_ptr<PageInfo const> mask;
    bool isMaskChannel = false;  ///< the mask is the last channel

    /// Why the pixels cannot be read; empty when they can.
    std::string unsupported;

    /// The facts of the handle's current directory. With `indices`, a palette is left alone: its
    /// indices are delivered, as classes.
    explicit PageInfo(TiffHandle& tiff, bool indices = false);

    /// Lets a page of the same size say which pixels are valid: where `fill` is set, the others
    /// become that value, else the mask becomes one more channel, of unassociated opacity. `fill`
    /// is set before. A mask that cannot be read is left out, and false returned.
    bool setMask(std::shared_ptr<PageInfo const> page);

    /// Tells apart what is decoded: the directory alone where a plane is its own.
    [[nodiscard]] std::uint64_t getPlaneId() const noexcept {
        return shift.by == 0 ? directory : static_cast<std::uint64_t>(shift.begin + shift.by);
    }

    /// `fill` as channel `channel` delivers it.
    [[nodiscard]] double getDeliveredFill(long long channel) const;

    /// How a decoded tile, strip or row holds the stored samples: one plane of them all, or one of
    /// each.
    [[nodiscard]] long long getNumPlanes() const noexcept { return isSeparate ? storedSamples : 1; }
    [[nodiscard]] long long getSamplesPerPlane() const noexcept {
        return partsPerSample * (isSeparate ? 1 : storedSamples);
    }
    /// The bytes of a decoded row of `pixels` pixels of one plane.
    [[nodiscard]] long long getDecodedRowBytes(long long pixels) const noexcept {
        return (pixels * getSamplesPerPlane() * bits + 7) / 8;  // below 2^32 * 2^16 * 2^7
    }

    /// Whether a block holds one channel: planes that lie apart are decoded only when asked for.
    [[nodiscard]] bool isDecodedByPlane() const noexcept {
        return isSeparate && partsPerSample == 1 &&
               (presentation == Presentation::AsStored || presentation == Presentation::Inverted);
    }
    [[nodiscard]] long long getChannelsPerBlock() const noexcept {
        return isDecodedByPlane() ? 1 : numChannels;
    }
    /// The channels that come from the page itself.
    [[nodiscard]] long long getNumOwnChannels() const noexcept {
        return numChannels - (isMaskChannel ? 1 : 0);
    }

    /// Whether two pages hold slices (or levels) of one image.
    [[nodiscard]] bool hasPixelsLike(PageInfo const& other) const noexcept;

private:
    void readStoredType(TiffHandle& tiff);
    void readConversion(TiffHandle& tiff);
    void readColours(TiffHandle& tiff, bool indices);
    void readMeaning(TiffHandle& tiff, std::uint16_t photometric);
    void readPalette(TiffHandle& tiff, bool indices);
    void checkCodec(TiffHandle& tiff);
    void readBlocks(TiffHandle& tiff);
    void chooseUprightBlocks();
    void readValueRange(TiffHandle& tiff);
    [[nodiscard]] ValueRange<double> getRangeOfBits() const;
};

}  // namespace Quivo::detail
