#include <quivo/display/JpegEncoder.h>

#include "Encoding.h"

#include <array>
#include <csetjmp>
#include <cstdio>
#include <exception>
#include <new>

#include <jpeglib.h>

#include <jerror.h>

namespace Quivo {

namespace {

constexpr int subsampledBelowQuality = 90;  // as TiffWriter does

static_assert(JpegEncoder::maxSide == JPEG_MAX_DIMENSION);

}  // namespace

/// libjpeg's objects, and what its callbacks met.
class JpegEncoder::Codec {
public:
    Codec(ByteSink& sink, detail::PictureFormat const& picture) : picture_(picture), sink_(sink) {
        jpeg_.err = jpeg_std_error(&errors_);
        errors_.error_exit = &Codec::fail;
        errors_.emit_message = [](j_common_ptr, int) {};
        jpeg_.client_data = this;
        run([jpeg = &jpeg_] { jpeg_create_compress(jpeg); });
        destination_.init_destination = &Codec::restart;
        destination_.empty_output_buffer = &Codec::passOn;
        destination_.term_destination = &Codec::passOnRest;
        jpeg_.dest = &destination_;
    }
    Codec(Codec const&) = delete;
    Codec& operator=(Codec const&) = delete;
    ~Codec() { jpeg_destroy_compress(&jpeg_); }

    void writeHeader(int quality) {
        run([jpeg = &jpeg_, p = picture_, quality] {
            jpeg->image_width = static_cast<JDIMENSION>(p.width);
            jpeg->image_height = static_cast<JDIMENSION>(p.height);
            jpeg->input_components = p.numChannels;
            jpeg->in_color_space = p.numChannels == 1 ? JCS_GRAYSCALE : JCS_RGB;
            jpeg_set_defaults(jpeg);
            jpeg_set_quality(jpeg, quality, TRUE);
            int const step = p.numChannels == 3 && quality < subsampledBelowQuality ? 2 : 1;
            jpeg->comp_info[0].h_samp_factor = step;
            jpeg->comp_info[0].v_samp_factor = step;
            jpeg_start_compress(jpeg, TRUE);
        });
    }

    void writeRow(unsigned char const* row) {
        picture_.countRow();
        run([jpeg = &jpeg_, row] {
            auto* rows = const_cast<JSAMPROW>(row);  // which are only read
            jpeg_write_scanlines(jpeg, &rows, 1);
        });
    }

    void finish() {
        picture_.checkComplete();
        run([jpeg = &jpeg_] { jpeg_finish_compress(jpeg); });
    }

private:
    template <typename Part>
    static Codec& of(Part* jpeg) noexcept {
        return *static_cast<Codec*>(jpeg->client_data);
    }
    static void fail(j_common_ptr jpeg) {
        Codec& codec = of(jpeg);
        jpeg->err->format_message(jpeg, codec.message_.data());
        // NOLINTNEXTLINE(cert-err52-cpp): how libjpeg leaves a call that failed
        std::longjmp(codec.end_, 1);
    }
    static void restart(j_compress_ptr jpeg) {
        Codec& codec = of(jpeg);
        codec.destination_.next_output_byte = codec.buffer_.data();
        codec.destination_.free_in_buffer = codec.buffer_.size();
    }
    static boolean passOn(j_compress_ptr jpeg) {
        flush(jpeg, of(jpeg).buffer_.size());
        restart(jpeg);
        return TRUE;
    }
    static void passOnRest(j_compress_ptr jpeg) {
        flush(jpeg, of(jpeg).buffer_.size() - of(jpeg).destination_.free_in_buffer);
    }
    static void flush(j_compress_ptr jpeg, std::size_t size) {
        // The arguments are all that is alive when ERREXIT jumps.
        if (!of(jpeg).tryWrite(size)) ERREXIT(jpeg, JERR_FILE_WRITE);
    }

    bool tryWrite(std::size_t size) noexcept {
        try {
            if (size > 0) sink_.write(std::as_bytes(std::span(buffer_).first(size)));
            return true;
        } catch (...) {
            failure_ = std::current_exception();
            return false;
        }
    }

    /// Runs a few calls of libjpeg and nothing with a destructor; whether they ended well.
    template <typename Step>
    static bool runStep(std::jmp_buf& end, Step step) {
        // NOLINTNEXTLINE(cert-err52-cpp): how libjpeg leaves a call that failed
        if (setjmp(end) != 0) return false;
        step();
        return true;
    }

    /// The same, and throws what it met.
    template <typename Step>
    void run(Step step) {
        if (runStep(end_, step)) return;
        if (failure_) std::rethrow_exception(failure_);
        if (errors_.msg_code == JERR_OUT_OF_MEMORY) throw std::bad_alloc();
        throw EncodingError("cannot be written as JPEG: " + std::string(message_.data()));
    }

    detail::PictureFormat picture_;
    ByteSink& sink_;
    jpeg_compress_struct jpeg_{};
    jpeg_error_mgr errors_{};
    jpeg_destination_mgr destination_{};
    std::jmp_buf end_{};
    std::array<JOCTET, 1 << 16> buffer_{};
    std::array<char, JMSG_LENGTH_MAX> message_{};  ///< libjpeg's complaint
    std::exception_ptr failure_;                   ///< what the sink threw
};

JpegEncoder::JpegEncoder(ByteSink& sink, long long width, long long height, int numChannels,
                         int quality) {
    detail::PictureFormat const picture{width, height, numChannels};
    picture.checkSides("JPEG", maxSide);
    if (numChannels != 1 && numChannels != 3) {
        throw EncodingError("a JPEG has 1 or 3 channels, not " + std::to_string(numChannels));
    }
    if (quality < 1 || quality > 100) {
        throw EncodingError("the JPEG quality must be 1 to 100, not " + std::to_string(quality));
    }
    codec_ = std::make_unique<Codec>(sink, picture);
    codec_->writeHeader(quality);
}

JpegEncoder::~JpegEncoder() = default;

void JpegEncoder::writeRow(unsigned char const* row) { codec_->writeRow(row); }

void JpegEncoder::finish() { codec_->finish(); }

std::vector<std::byte> encodeJpeg(std::span<unsigned char const> pixels, long long width,
                                  long long height, int numChannels, int quality) {
    return detail::encodeAll<JpegEncoder>(pixels, width, height, numChannels, quality);
}

}  // namespace Quivo
