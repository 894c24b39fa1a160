// Samples of every depth and pages of every orientation, stored by libtiff bit by bit, against what
// stands where in the picture.

#include <quivo/metadata/Metadata.h>
#include <quivo/tiff/TiffImage.h>

#include "support/Files.h"

#include <gtest/gtest.h>
#include <tiffio.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace Quivo {

namespace {

/// How a page is stored.
struct Stored {
    std::string reason;
    int bits = 8, format = SAMPLEFORMAT_UINT, samples = 1, photometric = PHOTOMETRIC_MINISBLACK;
    int orientation = 1, compression = COMPRESSION_ADOBE_DEFLATE;
    bool isTiled = false, isSeparate = false;
    int width = 45, height = 37, rows = 5;  ///< of a strip
};

/// Writes numbers of `bits` bits from left to right, highest bit first.
void putBits(std::vector<unsigned char>& row, long long index, int bits, std::uint64_t value) {
    for (int b = 0; b < bits; ++b) {
        auto const at = static_cast<std::size_t>(index * bits + b);
        if (value >> (bits - 1 - b) & 1) row[at / 8] |= static_cast<unsigned char>(0x80 >> at % 8);
    }
}

/// The file, and the raw samples as they lie in it: [sample][row][column].
std::vector<std::uint64_t> make(Stored const& s, std::string const& path) {
    std::mt19937_64 random(static_cast<unsigned>(s.bits * 64 + s.orientation));
    std::vector<std::uint64_t> raw(static_cast<std::size_t>(s.samples * s.width * s.height));
    for (auto& value : raw) value = random() >> (64 - s.bits);
    TIFF* const tiff = TIFFOpen(path.c_str(), "w");
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, s.width);
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, s.height);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, s.bits);
    TIFFSetField(tiff, TIFFTAG_SAMPLEFORMAT, s.format);
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, s.samples);
    TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, s.isSeparate ? 2 : 1);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, s.photometric);
    TIFFSetField(tiff, TIFFTAG_ORIENTATION, s.orientation);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, s.compression);
    int const side = 16;
    int const blockWidth = s.isTiled ? side : s.width, blockHeight = s.isTiled ? side : s.rows;
    if (s.isTiled) {
        TIFFSetField(tiff, TIFFTAG_TILEWIDTH, side);
        TIFFSetField(tiff, TIFFTAG_TILELENGTH, side);
    } else {
        TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, s.rows);
    }
    int const together = s.isSeparate ? 1 : s.samples;
    bool const isWhole = s.bits == 8 || s.bits == 16 || s.bits == 32 || s.bits == 64;
    std::uint32_t number = 0;
    for (int plane = 0; plane < s.samples / together; ++plane) {
        for (int top = 0; top < s.height; top += blockHeight) {
            for (int left = 0; left < s.width; left += blockWidth) {
                int const height = s.isTiled ? side : std::min(s.rows, s.height - top);
                std::vector<unsigned char> block;
                for (int y = 0; y < height; ++y) {
                    std::vector<unsigned char> row(
                        static_cast<std::size_t>((blockWidth * together * s.bits + 7) / 8));
                    for (int i = 0; i < blockWidth * together; ++i) {
                        int const x = left + i / together, line = top + y;
                        if (x >= s.width || line >= s.height) continue;
                        auto const at = ((plane + i % together) * s.height + line) * s.width + x;
                        auto const value = raw[static_cast<std::size_t>(at)];
                        auto const bytes = static_cast<std::size_t>(s.bits / 8);
                        if (isWhole) {  // in the order of the machine
                            std::memcpy(&row[static_cast<std::size_t>(i) * bytes], &value, bytes);
                        } else {
                            putBits(row, i, s.bits, value);
                        }
                    }
                    block.insert(block.end(), row.begin(), row.end());
                }
                auto const size = static_cast<tmsize_t>(block.size());
                auto const write = s.isTiled ? TIFFWriteEncodedTile : TIFFWriteEncodedStrip;
                EXPECT_EQ(write(tiff, number++, block.data(), size), size);
            }
        }
    }
    TIFFClose(tiff);
    return raw;
}

double toValue(Stored const& s, std::uint64_t raw, bool isFirst) {
    if (s.format == SAMPLEFORMAT_INT) {
        bool const isNegative = raw >> (s.bits - 1) & 1;
        auto const highest = s.bits == 64 ? ~0ULL : (1ULL << s.bits) - 1;
        return isNegative ? -static_cast<double>(highest - raw + 1) : static_cast<double>(raw);
    }
    bool const isTurned = s.photometric == PHOTOMETRIC_MINISWHITE && isFirst;
    auto const highest = s.bits == 64 ? ~0ULL : (1ULL << s.bits) - 1;
    return static_cast<double>(isTurned ? highest - raw : raw);
}

class StoredSamples : public Testing::TempFolder {};

}  // namespace

TEST_F(StoredSamples, ArriveUprightWithTheirValuesWholeAndInPieces) {
    std::vector<Stored> cases;
    for (int bits : {1, 2, 3, 4, 5, 7, 9, 10, 12, 14, 16, 17, 24, 31, 32, 40, 57, 58, 63, 64}) {
        std::string const depth = std::to_string(bits) + " bits";
        cases.push_back({depth, bits});
        cases.push_back({depth + ", signed planes", bits, SAMPLEFORMAT_INT, 2});
        cases.back().isSeparate = true;
        cases.push_back({depth + ", white is 0", bits, SAMPLEFORMAT_UINT, 3});
        cases.back().photometric = PHOTOMETRIC_MINISWHITE;
    }
    for (int orientation = 1; orientation <= 8; ++orientation) {
        std::string const name = "orientation " + std::to_string(orientation);
        for (int kind = 0; kind < 4; ++kind) {
            Stored s{name + (kind % 2 ? " in tiles" : " in strips"), kind < 2 ? 8 : 12};
            s.orientation = orientation;
            s.isTiled = kind % 2 == 1;
            s.samples = 2;
            s.isSeparate = kind >= 2;
            cases.push_back(s);
        }
        // Beyond what is turned in memory: in tiles, and out of one strip of which only the first
        // row can be found.
        if (orientation != 3 && orientation != 6 && orientation != 8) continue;
        Stored large{name + " of a large page", 8, SAMPLEFORMAT_UINT, 1};
        large.orientation = orientation;
        large.width = 4111;
        large.height = large.rows = 4099;
        large.compression = COMPRESSION_PACKBITS;
        cases.push_back(large);
        large.reason += ", tiled";
        large.isTiled = true;
        large.compression = COMPRESSION_NONE;
        cases.push_back(large);
    }
    for (Stored const& s : cases) {
        SCOPED_TRACE(s.reason);
        auto const raw = make(s, path);
        TiffImage image(path);
        bool const swaps = s.orientation >= 5;
        Vector const extent(swaps ? s.height : s.width, swaps ? s.width : s.height, 1);
        ASSERT_EQ(image.getExtent(0), extent);
        ASSERT_EQ(image.getNumChannels(), s.samples);
        std::mt19937 random(7);
        for (int i = 0; i < 12; ++i) {
            // The whole of a small page, and pieces.
            Box box(extent);
            if (i > 0 || extent.x > 100) {
                auto const at = [&](long long end) {
                    return static_cast<long long>(random()) % end;
                };
                box.min = Vector(at(extent.x), at(extent.y), 0);
                box.max = Vector(std::min(extent.x - 1, box.min.x + at(40)),
                                 std::min(extent.y - 1, box.min.y + at(40)), 0);
            }
            Vector const size = box.getExtent();
            std::vector<double> values(static_cast<std::size_t>(size.prod() * s.samples), -7);
            image.openRegion(values.data(), 0, box);
            std::size_t next = 0, wrong = 0;
            for (int c = 0; c < s.samples; ++c) {
                for (long long y = box.min.y; y <= box.max.y; ++y) {
                    for (long long x = box.min.x; x <= box.max.x; ++x) {
                        // Where the first row and column of the file belong, by TIFF 6.0.
                        auto column = swaps ? y : x, row = swaps ? x : y;
                        int const o = s.orientation;
                        if (o == 2 || o == 3 || o == 7 || o == 8) column = s.width - 1 - column;
                        if (o == 3 || o == 4 || o == 6 || o == 7) row = s.height - 1 - row;
                        auto const at = (c * s.height + row) * s.width + column;
                        wrong +=
                            values[next++] != toValue(s, raw[static_cast<std::size_t>(at)], c == 0);
                    }
                }
            }
            ASSERT_EQ(wrong, 0U) << "of " << next << " in a box of " << size.x << " x " << size.y;
        }
    }
}

}  // namespace Quivo
