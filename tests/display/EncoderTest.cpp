#include <quivo/display/JpegEncoder.h>
#include <quivo/display/PngEncoder.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <functional>
#include <string>

#include <jpeglib.h>
#include <png.h>

namespace Quivo {

namespace {

using Pixels = std::vector<unsigned char>;

/// Waves of another length and phase in every channel: something to lose for JPEG.
Pixels makePixels(int width, int height, int numChannels) {
    Pixels pixels;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            for (int c = 0; c < numChannels; ++c) {
                double const wave = std::sin(x / (9.0 + c)) * std::cos((y + 5 * c) / 11.0);
                pixels.push_back(static_cast<unsigned char>(127.5 + 127.0 * wave));
            }
        }
    }
    return pixels;
}

Pixels decodePng(std::vector<std::byte> const& bytes, int width, int height, int numChannels) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    EXPECT_NE(png_image_begin_read_from_memory(&image, bytes.data(), bytes.size()), 0);
    EXPECT_EQ(image.width, static_cast<unsigned>(width));
    EXPECT_EQ(image.height, static_cast<unsigned>(height));
    EXPECT_EQ(static_cast<int>(PNG_IMAGE_SAMPLE_CHANNELS(image.format)), numChannels);
    Pixels pixels(PNG_IMAGE_SIZE(image));
    EXPECT_NE(png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr), 0);
    return pixels;
}

/// The pixels, and by how much the first plane is larger than the others, across and down.
struct Decoded {
    Pixels pixels;
    int factorX = 0;
    int factorY = 0;
};

Decoded decodeJpeg(std::vector<std::byte> const& bytes) {
    jpeg_decompress_struct jpeg{};
    jpeg_error_mgr errors{};
    jpeg.err = jpeg_std_error(&errors);  // ends the process: a failure is one
    jpeg_create_decompress(&jpeg);
    jpeg_mem_src(&jpeg, reinterpret_cast<unsigned char const*>(bytes.data()), bytes.size());
    jpeg_read_header(&jpeg, TRUE);
    jpeg_start_decompress(&jpeg);
    Decoded result{{}, jpeg.comp_info[0].h_samp_factor, jpeg.comp_info[0].v_samp_factor};
    std::size_t const rowSize = jpeg.output_width * static_cast<unsigned>(jpeg.output_components);
    while (jpeg.output_scanline < jpeg.output_height) {
        result.pixels.resize(result.pixels.size() + rowSize);
        unsigned char* row = result.pixels.data() + result.pixels.size() - rowSize;
        jpeg_read_scanlines(&jpeg, &row, 1);
    }
    EXPECT_EQ(errors.num_warnings, 0);
    jpeg_finish_decompress(&jpeg);
    jpeg_destroy_decompress(&jpeg);
    return result;
}

double getPsnr(Pixels const& a, Pixels const& b) {
    double sum = 0.0;
    for (std::size_t i = 0; i < a.size(); ++i) sum += std::pow(double{1} * a[i] - b[i], 2);
    return 10.0 * std::log10(255.0 * 255.0 * static_cast<double>(a.size()) / sum);
}

TEST(PngEncoder, GivesEveryPixelBack) {
    struct {
        int width, height, numChannels;
    } const cases[] = {{1, 1, 1}, {37, 5, 1}, {300, 200, 3}, {64, 3, 4}};
    for (auto const& [width, height, numChannels] : cases) {
        Pixels const pixels = makePixels(width, height, numChannels);
        auto const bytes = encodePng(pixels, width, height, numChannels);
        EXPECT_EQ(decodePng(bytes, width, height, numChannels), pixels) << numChannels;
    }
}

TEST(JpegEncoder, StaysNearThePixels) {
    struct {
        int numChannels, quality, factor;
        double psnr;
        char const* reason;
    } const cases[] = {{1, 75, 1, 40, "grey has nothing to subsample"},
                       {3, 89, 2, 28, "subsampled below 90"},
                       {3, 90, 1, 40, "not from 90 on"},
                       {3, 100, 1, 45, "the best"},
                       {3, 1, 2, 15, "the worst"}};
    for (auto const& [numChannels, quality, factor, psnr, reason] : cases) {
        SCOPED_TRACE(reason);
        Pixels const pixels = makePixels(203, 101, numChannels);
        auto const decoded = decodeJpeg(encodeJpeg(pixels, 203, 101, numChannels, quality));
        EXPECT_EQ(decoded.factorX, factor);
        EXPECT_EQ(decoded.factorY, factor);
        ASSERT_EQ(decoded.pixels.size(), pixels.size());
        EXPECT_GT(getPsnr(decoded.pixels, pixels), psnr);
    }
}

/// Full after so many bytes.
class FullSink final : public ByteSink {
public:
    explicit FullSink(std::size_t room) : room_(room) {}
    void write(std::span<std::byte const> bytes) override {
        if (bytes.size() > room_) throw std::string("full");
        room_ -= bytes.size();
    }

private:
    std::size_t room_;
};

/// Noise, which no encoder makes small.
Pixels makeNoise(int size) {
    Pixels noise;
    unsigned state = 1;
    for (int i = 0; i < size; ++i) {
        noise.push_back(static_cast<unsigned char>((state = state * 1664525U + 1013904223U) >> 24));
    }
    return noise;
}

template <typename Encoder, typename... Options>
std::size_t countUntilFull(std::size_t room, Options... options) {
    Pixels const noise = makeNoise(400 * 3000);
    FullSink sink(room);
    std::size_t numRows = 0;
    try {
        Encoder encoder(sink, 1000, 400, 3, options...);
        for (; numRows < 400; ++numRows) encoder.writeRow(noise.data() + numRows * 3000);
        encoder.finish();
    } catch (std::string const& reason) {
        EXPECT_EQ(reason, "full");
        return numRows;
    }
    ADD_FAILURE() << "all was taken";
    return numRows;
}

TEST(Encoders, PassOnWhatTheSinkThrows) {
    EXPECT_EQ(countUntilFull<PngEncoder>(0), 0U) << "at the header";
    std::size_t const middle = countUntilFull<PngEncoder>(20000);
    EXPECT_TRUE(middle > 0 && middle < 400) << middle;
    std::size_t const middleOfJpeg = countUntilFull<JpegEncoder>(80000, 95);
    EXPECT_TRUE(middleOfJpeg > 0 && middleOfJpeg < 400) << middleOfJpeg;
    ByteVector all;
    Pixels const noise = makeNoise(64 * 64);
    std::size_t const size = encodeJpeg(noise, 64, 64, 1, 90).size();
    FullSink almost(size - 1);
    JpegEncoder last(almost, 64, 64, 1, 90);
    for (int y = 0; y < 64; ++y) last.writeRow(noise.data() + y * 64);
    EXPECT_THROW(last.finish(), std::string) << "with the last byte";
}

TEST(Encoders, RefuseWhatTheyCannotHold) {
    Pixels const pixels(48);
    auto const png = [&](long long width, long long height, int numChannels) {
        return [=, &pixels] { (void)encodePng(pixels, width, height, numChannels); };
    };
    auto const jpeg = [&](long long width, long long height, int numChannels, int quality) {
        return [=, &pixels] { (void)encodeJpeg(pixels, width, height, numChannels, quality); };
    };
    struct {
        std::function<void()> encode;
        char const* text;
        char const* reason;
    } const cases[] = {{png(0, 1, 1), "0 x 1", "no pixels"},
                       {png(1, 1LL << 31, 1), "2147483647", "31 bits"},
                       {png(4, 6, 2), "1, 3 or 4", "grey with alpha"},
                       {png(4, 5, 3), "not as many", "more rows than pixels"},
                       {png(4, 3, 3), "not as many", "more pixels than rows"},
                       {jpeg(65501, 1, 1, 90), "65500", "the limit of libjpeg"},
                       {jpeg(4, 3, 4, 90), "1 or 3", "no alpha"},
                       {jpeg(4, 4, 3, 0), "1 to 100", "no such quality"},
                       {jpeg(4, 4, 3, 101), "1 to 100", "no such quality"}};
    for (auto const& [encode, text, reason] : cases) {
        SCOPED_TRACE(reason);
        try {
            encode();
            ADD_FAILURE() << "taken";
        } catch (EncodingError const& error) {
            EXPECT_NE(std::string(error.what()).find(text), std::string::npos) << error.what();
        }
    }
    ByteVector bytes;
    PngEncoder encoder(bytes, 4, 2, 3);
    encoder.writeRow(pixels.data());
    EXPECT_THROW(encoder.finish(), EncodingError) << "a row is missing";
    encoder.writeRow(pixels.data());
    EXPECT_THROW(encoder.writeRow(pixels.data()), EncodingError) << "one too many";
}

}  // namespace

}  // namespace Quivo
