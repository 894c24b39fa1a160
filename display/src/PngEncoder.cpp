#include <quivo/display/PngEncoder.h>

#include "Encoding.h"

#include <array>
#include <csetjmp>
#include <exception>
#include <new>
#include <string_view>

#include <png.h>

namespace Quivo {

/// libpng's objects, and what its callbacks met.
class PngEncoder::Codec {
public:
    Codec(ByteSink& sink, detail::PictureFormat const& picture) : picture_(picture), sink_(sink) {
        png_ = png_create_write_struct(PNG_LIBPNG_VER_STRING, this, &Codec::fail, &Codec::warn);
        if (!png_) throw std::bad_alloc();
        info_ = png_create_info_struct(png_);
        if (!info_) {
            png_destroy_write_struct(&png_, nullptr);
            throw std::bad_alloc();
        }
        png_set_write_fn(png_, this, &Codec::write, &Codec::flush);
        png_set_user_limits(png_, maxSide, maxSide);  // libpng's own limit is a million
    }
    Codec(Codec const&) = delete;
    Codec& operator=(Codec const&) = delete;
    ~Codec() { png_destroy_write_struct(&png_, &info_); }

    void writeHeader() {
        run([png = png_, info = info_, p = picture_] {
            int const colours = p.numChannels == 1   ? PNG_COLOR_TYPE_GRAY
                                : p.numChannels == 3 ? PNG_COLOR_TYPE_RGB
                                                     : PNG_COLOR_TYPE_RGB_ALPHA;
            png_set_IHDR(png, info, static_cast<png_uint_32>(p.width),
                         static_cast<png_uint_32>(p.height), 8, colours, PNG_INTERLACE_NONE,
                         PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
            png_write_info(png, info);
        });
    }

    void writeRow(unsigned char const* row) {
        picture_.countRow();
        run([png = png_, row] { png_write_row(png, row); });
    }

    void finish() {
        picture_.checkComplete();
        run([png = png_, info = info_] { png_write_end(png, info); });
    }

private:
    static void fail(png_structp png, png_const_charp message) {
        auto& text = static_cast<Codec*>(png_get_error_ptr(png))->message_;
        text[std::string_view(message).copy(text.data(), text.size() - 1)] = 0;
        png_longjmp(png, 1);
    }
    static void warn(png_structp, png_const_charp) {}
    static void flush(png_structp) {}
    static void write(png_structp png, png_bytep data, std::size_t size) {
        // The arguments are all that is alive when png_error jumps.
        if (!static_cast<Codec*>(png_get_io_ptr(png))->tryWrite(data, size)) {
            png_error(png, "the bytes are not taken");
        }
    }

    bool tryWrite(unsigned char const* data, std::size_t size) noexcept {
        try {
            sink_.write(std::as_bytes(std::span(data, size)));
            return true;
        } catch (...) {
            failure_ = std::current_exception();
            return false;
        }
    }

    /// Runs a few calls of libpng and nothing with a destructor; whether they ended well.
    template <typename Step>
    static bool runStep(png_structp png, Step step) {
        // NOLINTNEXTLINE(cert-err52-cpp): how libpng leaves a call that failed
        if (setjmp(png_jmpbuf(png)) != 0) return false;
        step();
        return true;
    }

    /// The same, and throws what it met.
    template <typename Step>
    void run(Step step) {
        if (runStep(png_, step)) return;
        if (failure_) std::rethrow_exception(failure_);
        throw EncodingError("cannot be written as PNG: " + std::string(message_.data()));
    }

    detail::PictureFormat picture_;
    ByteSink& sink_;
    png_structp png_ = nullptr;
    png_infop info_ = nullptr;
    std::array<char, 256> message_{};  ///< libpng's complaint, kept without taking memory
    std::exception_ptr failure_;       ///< what the sink threw
};

PngEncoder::PngEncoder(ByteSink& sink, long long width, long long height, int numChannels) {
    detail::PictureFormat const picture{width, height, numChannels};
    picture.checkSides("PNG", maxSide);
    if (numChannels != 1 && numChannels != 3 && numChannels != 4) {
        throw EncodingError("a PNG has 1, 3 or 4 channels, not " + std::to_string(numChannels));
    }
    codec_ = std::make_unique<Codec>(sink, picture);
    codec_->writeHeader();
}

PngEncoder::~PngEncoder() = default;

void PngEncoder::writeRow(unsigned char const* row) { codec_->writeRow(row); }

void PngEncoder::finish() { codec_->finish(); }

std::vector<std::byte> encodePng(std::span<unsigned char const> pixels, long long width,
                                 long long height, int numChannels) {
    return detail::encodeAll<PngEncoder>(pixels, width, height, numChannels);
}

}  // namespace Quivo
