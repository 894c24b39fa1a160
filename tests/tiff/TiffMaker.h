#pragma once

// TIFF files of every odd shape, made by libtiff from one line of text per page, and what images of
// them deliver.

#include <quivo/core/Levels.h>
#include <quivo/image/Image.h>
#include <quivo/samples/SampleType.h>
#include <quivo/writer/Progress.h>

#include "support/Files.h"
#include "support/Voxels.h"

#include <tiffio.h>

#include <atomic>
#include <cmath>
#include <functional>
#include <limits>
#include <map>
#include <optional>
#include <sstream>

namespace Quivo::Testing {

using enum SampleType;

/// Overwrites tags of the first directory of a classic file, checked by nobody.
inline void patchTags(std::string const& path, std::vector<std::pair<int, unsigned>> const& tags) {
    std::string bytes = slurp(path);
    auto const byteAt = [&](std::size_t at) { return static_cast<unsigned char>(bytes.at(at)); };
    for (auto const& [tag, value] : tags) {
        std::size_t entry = byteAt(4) + 256U * (byteAt(5) + 256U * byteAt(6)) + 2;
        while (byteAt(entry) + 256 * byteAt(entry + 1) != tag) entry += 12;
        bytes[entry + 2] = TIFF_LONG;
        for (std::size_t i = 0; i < 4; ++i)
            bytes[entry + 8 + i] = static_cast<char>(value >> 8 * i);
    }
    spill(path, bytes);
}

/// Expects what every message of a failure has to be: one line that names the file first.
inline void expectMessage(std::string const& message, std::string const& path) {
    EXPECT_EQ(message.rfind(path + ": ", 0), 0U) << '"' << message << '"';
    EXPECT_EQ(message.find('\n'), std::string::npos) << '"' << message << '"';
}

/// Counts how often it is asked, and cancels at one of the calls.
struct CountingChecker : CancellationChecker {
    std::atomic<int> calls{0};
    int cancelsAt = -1;
    void checkCancelled() override {
        if (++calls == cancelsAt) throw CancellationException();
    }
};

/// Calls `function` with a zero of the type.
template <typename Function>
auto withType(SampleType type, Function function) {
    if (type == U8) return function(std::uint8_t{});
    if (type == U16) return function(std::uint16_t{});
    if (type == U32) return function(std::uint32_t{});
    if (type == I8) return function(std::int8_t{});
    if (type == I16) return function(std::int16_t{});
    if (type == I32) return function(std::int32_t{});
    if (type == F32) return function(float{});
    return function(double{});
}

/// `value` after a stay in a file.
inline double toStored(SampleType type, double value) {
    return withType(type, [value](auto zero) {
        using T = decltype(zero);
        double const lowest = std::numeric_limits<T>::min();
        double const highest = std::numeric_limits<T>::max();
        if constexpr (std::is_floating_point_v<T>) return double{static_cast<T>(value)};
        if (std::isnan(value)) return 0.0;
        return std::clamp(std::floor(value + 0.5), lowest, highest);
    });
}

/// Noise that fills the range of an integer type and goes beyond it by some part of it.
inline double noiseOf(SampleType type, long long c, Vector const& p, double beyond = 0) {
    auto const range = type >= F32 ? ValueRange<double>(-1000, 1000) : getDefaultValueRange(type);
    double const noise = (noiseAt(c, p) + noiseAt(c + 50, p) / 65536) * (1 + beyond);
    return (range.min + range.max) / 2 + (range.max - range.min) / 2 * noise;
}

/// One page of a file to be made, as a line of words: "61x45 u16*3 tiles:32x16 deflate rgb". Words
/// that are not needed for the shape set a tag.
struct Page {
    std::uint32_t width = 61, height = 45, tileWidth = 32, rows = 16;  // no tile width: strips
    SampleType type = U8;
    int samples = 1;
    bool isFlat = false, isGrey = false;
    int level = 0, slice = 0;                    // what it shows; level -1: nothing of the image
    int skippedX = -1;                           // the tile in the second row that is never written
    std::map<std::uint32_t, std::string> texts;  // further tags
    std::map<std::uint32_t, double> tags{{TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK}};

    Page(std::string const& line) {
        static std::map<std::string, std::pair<std::uint32_t, int>> const tagWords{
            {"lzw", {TIFFTAG_COMPRESSION, COMPRESSION_LZW}},
            {"deflate", {TIFFTAG_COMPRESSION, COMPRESSION_ADOBE_DEFLATE}},
            {"zstd", {TIFFTAG_COMPRESSION, COMPRESSION_ZSTD}},
            {"packbits", {TIFFTAG_COMPRESSION, COMPRESSION_PACKBITS}},
            {"jpeg", {TIFFTAG_COMPRESSION, COMPRESSION_JPEG}},
            {"planes", {TIFFTAG_PLANARCONFIG, PLANARCONFIG_SEPARATE}},
            {"rgb", {TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB}},
            {"white0", {TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISWHITE}},
            {"ycbcr", {TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_YCBCR}},
            {"palette", {TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_PALETTE}},
            {"reduced", {TIFFTAG_SUBFILETYPE, FILETYPE_REDUCEDIMAGE}},
            {"mask", {TIFFTAG_SUBFILETYPE, FILETYPE_REDUCEDIMAGE | FILETYPE_MASK}}};
        std::istringstream words(line);
        for (std::string word; words >> word;) {
            unsigned tag = 0;
            double value = 0;
            if (auto const found = tagWords.find(word); found != tagWords.end()) {
                tags[found->second.first] = found->second.second;
            } else if (std::sscanf(word.c_str(), "%u=%lf", &tag, &value) == 2) {
                tags[tag] = value;
            } else if (std::sscanf(word.c_str(), "strips:%u", &rows) == 1) {
                tileWidth = 0;
            } else if (word == "flat" || word == "grey") {
                (word == "flat" ? isFlat : isGrey) = true;
            } else if (std::sscanf(word.c_str(), "%ux%u", &width, &height) != 2 &&
                       std::sscanf(word.c_str(), "tiles:%ux%u", &tileWidth, &rows) != 2 &&
                       std::sscanf(word.c_str(), "level:%d", &level) != 1 &&
                       std::sscanf(word.c_str(), "slice:%d", &slice) != 1 &&
                       std::sscanf(word.c_str(), "skip:%d", &skippedX) != 1) {
                auto const star = std::min(word.find('*'), word.size());
                if (star < word.size()) samples = std::stoi(word.substr(star + 1));
                while (toString(type) != word.substr(0, star)) type = SampleType(int(type) + 1);
            }
        }
    }

    [[nodiscard]] bool has(std::uint32_t tag, double value) const {
        return tags.contains(tag) && tags.at(tag) == value;
    }
    /// The sample that is stored: noise.
    [[nodiscard]] double valueAt(long long c, Vector const& p) const {
        if (isGrey && c > 0) return 128;
        Vector const q(isFlat ? p.x / 32 : p.x, isFlat ? p.y / 16 : p.y, slice);
        return toStored(type, noiseOf(type, c + 100 * level, q));
    }
    /// The value that an image delivers.
    [[nodiscard]] double seenAt(long long c, Vector const& p) const {
        if (p.x >= width || p.y >= height || isSkipped(p)) return 0;
        auto const first = valueAt(0, p);
        if (has(TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISWHITE))
            return getDefaultValueRange(type).max - first;
        if (has(TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_PALETTE))
            return std::min(first + static_cast<double>(c), 255.0);
        return isGrey ? first : valueAt(c, p);
    }
    [[nodiscard]] int getNumChannels() const {
        return has(TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_PALETTE) ? 3 : samples;
    }
    [[nodiscard]] bool isSkipped(Vector const& p) const {
        return p.x / 32 == skippedX && p.y / 16 == 1;
    }
};

/// The pages of a text with a line for each.
inline std::vector<Page> pagesOf(std::string const& text) {
    std::istringstream lines(text);
    std::vector<Page> pages;
    for (std::string line; std::getline(lines, line, ';');) pages.emplace_back(line);
    return pages;
}

inline void setTags(TIFF* tiff, Page const& page) {
    int const format = page.type >= F32                          ? SAMPLEFORMAT_IEEEFP
                       : getDefaultValueRange(page.type).min < 0 ? SAMPLEFORMAT_INT
                                                                 : SAMPLEFORMAT_UINT;
    int const bits = 8 * getSampleBytes(page.type);
    auto tags = page.tags;
    tags.insert({{TIFFTAG_IMAGEWIDTH, page.width}, {TIFFTAG_IMAGELENGTH, page.height}});
    tags.insert({{TIFFTAG_BITSPERSAMPLE, bits}, {TIFFTAG_SAMPLESPERPIXEL, page.samples}});
    tags.insert({{TIFFTAG_SAMPLEFORMAT, format}, {TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG}});
    tags.insert({page.tileWidth > 0 ? TIFFTAG_TILELENGTH : TIFFTAG_ROWSPERSTRIP, page.rows});
    if (page.tileWidth > 0) tags.insert({TIFFTAG_TILEWIDTH, page.tileWidth});
    for (auto const& [tag, value] : tags) {
        auto const n = static_cast<int>(value);
        std::uint64_t const noOffsets[9] = {};
        std::vector<std::uint16_t> ramp;
        for (int i = 0; i < 258; ++i) ramp.push_back(std::uint16_t(std::min(i, 255) * n));
        bool const isReal =
            (tag | 1) == TIFFTAG_YRESOLUTION || (tag | 1) == TIFFTAG_SMAXSAMPLEVALUE;
        int done = 0;
        if (tag == TIFFTAG_SUBIFD) done = TIFFSetField(tiff, tag, n, noOffsets);
        if (tag == TIFFTAG_EXTRASAMPLES) done = TIFFSetField(tiff, tag, 1, &ramp[1]);
        if (tag == TIFFTAG_COLORMAP) done = TIFFSetField(tiff, tag, &ramp[0], &ramp[1], &ramp[2]);
        if (isReal) done = TIFFSetField(tiff, tag, value);
        if (done == 0) done = TIFFSetField(tiff, tag, n, n);  // two for the subsampling
        ASSERT_EQ(done, 1) << tag;
    }
    for (auto const& [tag, text] : page.texts) {
        static char name[] = "of GDAL";
        TIFFFieldInfo const field{tag, -1, -1, TIFF_ASCII, FIELD_CUSTOM, 1, 0, name};
        if (!TIFFFindField(tiff, tag, TIFF_ANY)) TIFFMergeFieldInfo(tiff, &field, 1);
        ASSERT_EQ(TIFFSetField(tiff, tag, text.c_str()), 1) << tag;
    }
}

inline void writePixels(TIFF* tiff, Page const& page) {
    bool const isTiled = page.tileWidth > 0;
    auto const across = isTiled ? page.tileWidth : page.width;
    int const perPlane = page.tags.contains(TIFFTAG_PLANARCONFIG) ? 1 : page.samples;
    for (int first = 0; first < page.samples; first += perPlane)
        for (std::uint32_t top = 0; top < page.height; top += page.rows)
            for (std::uint32_t left = 0; left < page.width; left += across) {
                auto const plane = static_cast<std::uint16_t>(first / perPlane);
                auto const block = isTiled ? TIFFComputeTile(tiff, left, top, 0, plane)
                                           : TIFFComputeStrip(tiff, top, plane);
                if (page.isSkipped({left, top, 0})) continue;
                auto const height = isTiled ? page.rows : std::min(page.rows, page.height - top);
                std::string bytes;
                for (std::uint32_t i = 0; i < height * across; ++i)
                    for (int c = first; c < first + perPlane; ++c)
                        withType(page.type, [&](auto sample) {
                            Vector const p(left + i % across, top + i / across, 0);
                            sample = static_cast<decltype(sample)>(page.valueAt(c, p));
                            bytes.append(reinterpret_cast<char const*>(&sample), sizeof(sample));
                        });
                auto const write = isTiled ? TIFFWriteEncodedTile : TIFFWriteEncodedStrip;
                auto const size = static_cast<tmsize_t>(bytes.size());
                ASSERT_EQ(write(tiff, block, bytes.data(), size), size);
            }
}

/// Makes a file. Pages that follow one with a SubIFD tag become its sub-directories.
inline void makeTiff(std::string const& path, std::vector<Page> const& pages,
                     char const* mode = "w") {
    TIFF* const tiff = TIFFOpen(path.c_str(), mode);
    for (Page const& page : pages) {
        setTags(tiff, page);
        writePixels(tiff, page);
        ASSERT_EQ(TIFFWriteDirectory(tiff), 1);
    }
    TIFFClose(tiff);
}

/// Every level of an image as plain arrays: what is stored, and else the 2 x 2 means of the level
/// below, as the sample type holds them, weighed by a channel `alpha` of opacity if there is one.
class Reference {
public:
    /// The value of a stored level; nothing for one that is to be computed.
    using Stored = std::function<std::optional<double>(long long level, long long c, Vector p)>;

    Reference(SampleType type, long long numChannels, Vector const& extent, Stored const& stored,
              long long alpha = -1)
        : numChannels_(numChannels), extent_(extent) {
        for (long long level = 0; level < computeNumPyramidLevels(extent); ++level) {
            auto const valueOf = [&](long long c, Vector const& p) {
                if (auto const value = stored(level, c, p)) return *value;
                double plain = 0, weighed = 0, weight = 0;
                for (Vector const q :
                     {Vector(0), Vector(1, 0, 0), Vector(0, 1, 0), Vector(1, 1, 0)}) {
                    Vector const at = p * Vector(2, 2, 1) + q;
                    double const value = valueAt(level - 1, c, at);
                    double const w = std::max(valueAt(level - 1, alpha, at), 0.0);
                    plain += value;
                    weighed += w > 0 ? value * w : 0;
                    weight += w;
                }
                bool const isWeighed = alpha >= 0 && c != alpha && weight > 0;
                return toStored(type, isWeighed ? weighed / weight : plain / 4);
            };
            levels_.push_back(pixelByPixel(numChannels, Box(extentOf(level)), valueOf));
        }
    }

    /// What a file of those pages holds. A page that is smaller than its level ends in zeros.
    /// The last page is of the last slice.
    explicit Reference(std::vector<Page> const& pages)
        : Reference(
              pages[0].type, pages[0].getNumChannels(),
              {pages[0].width, pages[0].height, pages.back().slice + 1},
              [&](long long level, long long c, Vector p) -> std::optional<double> {
                  for (Page const& page : pages)
                      if (page.level == level && page.slice == p.z) return page.seenAt(c, p);
                  return std::nullopt;
              },
              pages[0].has(TIFFTAG_EXTRASAMPLES, EXTRASAMPLE_UNASSALPHA) ? pages[0].samples - 1
                                                                         : -1) {}

    [[nodiscard]] double valueAt(long long level, long long c, Vector const& p) const {
        Vector const extent = extentOf(level);
        if (!Box(extent).contains(p) || c < 0) return 0.0;
        auto const index = c * extent.prod() + p.dot(extent.getStrides());
        return levels_[static_cast<std::size_t>(level)][static_cast<std::size_t>(index)];
    }

    /// Compares random boxes of every level, existing or not, within `tolerance`.
    void check(Image& image, int numBoxes, double tolerance = 0, int firstBox = 0) const {
        auto const numLevels = std::ssize(levels_);
        ASSERT_EQ(image.getNumLevels(), numLevels);
        ASSERT_EQ(image.getNumChannels(), numChannels_);
        for (long long level = -1; level <= numLevels; ++level) {
            ASSERT_EQ(image.getExtent(level), extentOf(level));
            RandomBoxes boxes(Box(extentOf(level)).expanded({5, 5, 1}));
            for (int i = 0; i < firstBox; ++i) boxes.next();
            for (int i = 0; i < numBoxes; ++i) check(image, level, boxes.next(), tolerance);
        }
    }
    void check(Image& image, long long level, Box const& box, double tolerance = 0) const {
        auto const near = [=](double a, double b) { return std::abs(a - b) <= tolerance; };
        auto const expected = pixelByPixel(
            numChannels_, box, [&](long long c, Vector const& p) { return valueAt(level, c, p); });
        auto const got = read(image, level, box);
        auto const [wrong, right] = std::mismatch(got.begin(), got.end(), expected.begin(), near);
        EXPECT_TRUE(wrong == got.end())
            << "level " << level << ", " << ::testing::PrintToString(box) << ", element "
            << wrong - got.begin() << " is " << *wrong << " instead of " << *right;
    }

private:
    [[nodiscard]] Vector extentOf(long long level) const {
        bool const exists = level >= 0 && level < computeNumPyramidLevels(extent_);
        return exists ? Vector(extent_.x >> level, extent_.y >> level, extent_.z) : Vector();
    }

    long long numChannels_;
    Vector extent_;
    std::vector<Values> levels_;
};

}  // namespace Quivo::Testing
