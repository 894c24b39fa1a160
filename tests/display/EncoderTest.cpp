#include <quivo/display/JpegEncoder.h>
#include <quivo/display/PngEncoder.h>

#include "support/Voxels.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <functional>

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
    EXPECT_TRUE(image.width == unsigned(width) && image.height == unsigned(height));
    EXPECT_EQ(static_cast<int>(PNG_IMAGE_SAMPLE_CHANNELS(image.format)), numChannels);
    Pixels pixels(PNG_IMAGE_SIZE(image));
    EXPECT_NE(png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr), 0);
    return pixels;
}

/// Expects `factor` times as many samples of the first plane as of others, across and down.
Pixels decodeJpeg(std::vector<std::byte> const& bytes, int factor) {
    jpeg_decompress_struct jpeg{};
    jpeg_error_mgr errors{};
    jpeg.err = jpeg_std_error(&errors);  // ends the process: a failure is one
    jpeg_create_decompress(&jpeg);
    jpeg_mem_src(&jpeg, reinterpret_cast<unsigned char const*>(bytes.data()), bytes.size());
    jpeg_read_header(&jpeg, TRUE);
    jpeg_start_decompress(&jpeg);
    EXPECT_EQ(jpeg.comp_info[0].h_samp_factor, factor);
    EXPECT_EQ(jpeg.comp_info[0].v_samp_factor, factor);
    std::size_t const rowSize = jpeg.output_width * static_cast<unsigned>(jpeg.output_components);
    Pixels pixels(rowSize * jpeg.output_height);
    while (jpeg.output_scanline < jpeg.output_height) {
        unsigned char* row = pixels.data() + jpeg.output_scanline * rowSize;
        jpeg_read_scanlines(&jpeg, &row, 1);
    }
    EXPECT_EQ(errors.num_warnings, 0);
    jpeg_finish_decompress(&jpeg);
    jpeg_destroy_decompress(&jpeg);
    return pixels;
}

TEST(PngEncoder, GivesEveryPixelBack) {
    for (auto const [w, h, n] : {std::array{1, 1, 1}, {37, 5, 1}, {300, 200, 3}, {64, 3, 4}}) {
        Pixels const pixels = makePixels(w, h, n);
        EXPECT_EQ(decodePng(encodePng(pixels, w, h, n), w, h, n), pixels) << n;
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
        auto const decoded = decodeJpeg(encodeJpeg(pixels, 203, 101, numChannels, quality), factor);
        ASSERT_EQ(decoded.size(), pixels.size());
        double sum = 0.0;
        for (std::size_t i = 0; i < pixels.size(); ++i)
            sum += std::pow(double{1} * decoded[i] - pixels[i], 2);
        double const mean = sum / static_cast<double>(pixels.size());
        EXPECT_GT(10.0 * std::log10(255.0 * 255.0 / mean), psnr);
    }
}

/// Full after so many bytes.
struct FullSink final : ByteSink {
    std::size_t room;
    explicit FullSink(std::size_t bytes) : room(bytes) {}
    void write(std::span<std::byte const> bytes) override {
        if (bytes.size() > room) throw std::string("full");
        room -= bytes.size();
    }
};

TEST(Encoders, PassOnWhatTheSinkThrows) {
    Pixels noise;  // which no encoder makes small
    for (unsigned i = 0, state = 1; i < 400 * 3000; ++i)
        noise.push_back(static_cast<unsigned char>((state = state * 1664525U + 1013904223U) >> 24));
    auto const countRows = [&](std::size_t room, auto makeEncoder) {
        FullSink sink(room);
        int numRows = 0;
        EXPECT_THROW(
            {
                auto encoder = makeEncoder(sink);
                for (; numRows < 400; ++numRows) encoder.writeRow(noise.data() + numRows * 3000);
                encoder.finish();
            },
            std::string);
        return numRows;
    };
    auto const png = [](ByteSink& sink) { return PngEncoder(sink, 1000, 400, 3); };
    auto const jpeg = [](ByteSink& sink) { return JpegEncoder(sink, 1000, 400, 3, 95); };
    EXPECT_EQ(countRows(0, png), 0) << "at the header";
    for (int const middle : {countRows(20000, png), countRows(80000, jpeg)})
        EXPECT_TRUE(middle > 0 && middle < 400) << middle;
    auto const size = encodeJpeg(noise, 1000, 400, 3, 95).size();
    EXPECT_EQ(countRows(size - 1, jpeg), 400) << "with the last byte";
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
        auto const message = Testing::errorOf(encode);
        EXPECT_NE(message.find(text), std::string::npos) << reason << ": " << message;
    }
    EXPECT_THROW(png(0, 1, 1)(), EncodingError);
    ByteVector bytes;
    PngEncoder encoder(bytes, 4, 2, 3);
    encoder.writeRow(pixels.data());
    EXPECT_THROW(encoder.finish(), EncodingError) << "a row is missing";
    encoder.writeRow(pixels.data());
    EXPECT_THROW(encoder.writeRow(pixels.data()), EncodingError) << "one too many";
}

}  // namespace

}  // namespace Quivo
