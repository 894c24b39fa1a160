#pragma once

// What one page (directory) of a TIFF file says about itself, checked against what this library can
// read and against the size of the file.

#include "container/LibTiff.h"

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

/// What of the file is read from elsewhere: the bytes [begin, end) from `by` bytes further on.
struct FileShift {
    std::uint64_t begin = 0;
    std::uint64_t end = 0;
    std::uint64_t by = 0;

    [[nodiscard]] friend bool operator==(FileShift const&, FileShift const&) noexcept = default;
};

/// The facts of one page. Plain value.
struct PageInfo {
    std::uint64_t directory = 0;  ///< file offset of the directory
    bool isReduced = false;       ///< marked as a reduced-resolution version of another page
    bool isMask = false;
    /// Where its plane lies behind the one that the directory describes.
    FileShift shift{};

    long long width = 0;
    long long height = 0;

    bool isTiled = false;
    long long storedBlockWidth = 0;   ///< of a tile or strip, as the file says
    long long storedBlockHeight = 0;  ///< at most `height` for strips
    long long blockWidth = 0;         ///< of the blocks that `PageDecoder` delivers
    long long blockHeight = 0;
    bool readsByRow = false;      ///< strips too large to be decoded whole
    bool isUncompressed = false;  ///< so that any row can be read without those before it
    /// The most bytes that one stored byte can become; 0 where the codec has no such bound.
    long long maxRatio = 0;

    bool isSeparate = false;      ///< one plane per sample
    bool isYCbCrJpeg = false;     ///< libtiff converts to RGB while decoding
    long long storedSamples = 0;  ///< samples per pixel in the file
    SampleType storedType = SampleType::U8;

    Presentation presentation = Presentation::AsStored;
    std::shared_ptr<std::vector<std::uint8_t> const> palette;  ///< RGB triples
    long long numChannels = 0;                                 ///< as delivered
    SampleType sampleType = SampleType::U8;
    ValueRange<double> valueRange;
    bool hasColours = false;  ///< the first three channels are red, green and blue
    bool hasAlpha = false;    ///< and the fourth one is opacity
    ColourModel colourModel = ColourModel::None;  ///< of the channels as delivered
    std::map<long long, AlphaKind> opacity;       ///< the channels that are, and how

    double pixelWidth = 0;  ///< nanometres, 0 where unknown
    double pixelHeight = 0;
    Vector voxelSize;  ///< the same in whole ones
    std::string name;

    /// Why the pixels cannot be read; empty when they can.
    std::string unsupported;

    /// The facts of the handle's current directory.
    explicit PageInfo(TiffHandle& tiff);

    /// How a decoded tile, strip or row holds the stored samples: one plane of them all, or one of
    /// each.
    [[nodiscard]] long long getNumPlanes() const noexcept { return isSeparate ? storedSamples : 1; }
    [[nodiscard]] long long getSamplesPerPlane() const noexcept {
        return isSeparate ? 1 : storedSamples;
    }

    /// Whether a block holds one channel: planes that lie apart are decoded only when asked for.
    [[nodiscard]] bool isDecodedByPlane() const noexcept {
        return isSeparate && presentation != Presentation::Converted;
    }
    [[nodiscard]] long long getChannelsPerBlock() const noexcept {
        return isDecodedByPlane() ? 1 : numChannels;
    }

    /// Whether two pages hold slices (or levels) of one image.
    [[nodiscard]] bool hasPixelsLike(PageInfo const& other) const noexcept;

private:
    std::optional<SampleType> readStoredType(TiffHandle& tiff);
    void readColours(TiffHandle& tiff);
    void readMeaning(std::uint16_t photometric, std::span<std::uint16_t const> extras);
    void readPalette(TiffHandle& tiff);
    void readBlocks(TiffHandle& tiff);
    void readValueRange(TiffHandle& tiff);
    void readVoxelSize(TiffHandle& tiff);
};

}  // namespace Quivo::detail
