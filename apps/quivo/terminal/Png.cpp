#include "terminal/Png.h"

#include <csetjmp>
#include <new>
#include <stdexcept>

#include <png.h>

// libpng reports a failure by a jump out of the failing call, over its own frames, which a C++
// exception must not cross. The jump ends in runStep(); between it and libpng there is no object
// with a destructor. Only then do exceptions begin again.

namespace Quivo::tool {

/// What libpng calls.
struct PngCallbacks {
    static void fail(png_structp png, png_const_charp message) {
        static_cast<PngWriter*>(png_get_error_ptr(png))->message_ = message;
        png_longjmp(png, 1);
    }
    static void warn(png_structp, png_const_charp) {}
    static void write(png_structp png, png_bytep data, std::size_t size) {
        // The arguments are all that is alive when png_error jumps.
        if (!static_cast<PngWriter*>(png_get_io_ptr(png))->tryWrite(data, size)) {
            png_error(png, "the file does not take the bytes");
        }
    }
    static void flush(png_structp) {}
};

namespace {

template <typename Step>
bool runStep(png_structp png, Step step) {
    // NOLINTNEXTLINE(cert-err52-cpp): how libpng leaves a call that failed
    if (setjmp(png_jmpbuf(png)) != 0) return false;
    step();
    return true;
}

int getColourType(int numChannels) {
    return numChannels == 1   ? PNG_COLOR_TYPE_GRAY
           : numChannels == 3 ? PNG_COLOR_TYPE_RGB
                              : PNG_COLOR_TYPE_RGB_ALPHA;
}

}  // namespace

PngWriter::PngWriter(OutputFile& file, long long width, long long height, int numChannels)
    : file_(file) {
    png_ = png_create_write_struct(PNG_LIBPNG_VER_STRING, this, &PngCallbacks::fail,
                                   &PngCallbacks::warn);
    if (!png_) throw std::bad_alloc();
    info_ = png_create_info_struct(png_);
    if (!info_) {
        png_destroy_write_struct(&png_, nullptr);
        throw std::bad_alloc();
    }
    png_set_write_fn(png_, this, &PngCallbacks::write, &PngCallbacks::flush);
    png_set_user_limits(png_, maxPngSide, maxPngSide);  // libpng's own limit is a million
    try {
        run([png = png_, info = info_, width, height, numChannels] {
            png_set_IHDR(png, info, static_cast<png_uint_32>(width),
                         static_cast<png_uint_32>(height), 8, getColourType(numChannels),
                         PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
            png_write_info(png, info);
        });
    } catch (...) {
        png_destroy_write_struct(&png_, &info_);
        throw;
    }
}

PngWriter::~PngWriter() { png_destroy_write_struct(&png_, &info_); }

void PngWriter::writeRow(unsigned char const* row) {
    run([png = png_, row] { png_write_row(png, row); });
}

void PngWriter::finish() {
    run([png = png_, info = info_] { png_write_end(png, info); });
}

template <typename Step>
void PngWriter::run(Step step) {
    if (runStep(png_, step)) return;
    if (failure_) std::rethrow_exception(failure_);
    throw std::runtime_error(file_.getPath() + ": cannot be written as PNG: " + message_);
}

bool PngWriter::tryWrite(unsigned char const* data, std::size_t size) noexcept {
    try {
        file_.write(data, size);
        return true;
    } catch (...) {
        failure_ = std::current_exception();
        return false;
    }
}

}  // namespace Quivo::tool
