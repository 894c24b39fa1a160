#pragma once

#include "terminal/OutputFile.h"

#include <exception>
#include <string>

// libpng's own names of these types: png_struct and png_info.
struct png_struct_def;
struct png_info_def;

namespace Quivo::tool {

/// The longest side of a PNG.
inline constexpr long long maxPngSide = 0x7fffffff;

/// Writes a PNG of 8 bits per sample row by row, in memory for a few rows. One thread at a time.
class PngWriter {
public:
    /// `width` and `height` are in 1 ... maxPngSide; `numChannels` is 1 (grey), 3 (RGB) or 4
    /// (RGBA). `file` gets the bytes and outlives the writer.
    /// error: std::runtime_error, as of every call.
    PngWriter(OutputFile& file, long long width, long long height, int numChannels);
    PngWriter(PngWriter const&) = delete;
    PngWriter& operator=(PngWriter const&) = delete;
    ~PngWriter();

    /// `width * numChannels` bytes, interleaved; called `height` times from top to bottom.
    void writeRow(unsigned char const* row);

    /// After the last row.
    void finish();

private:
    /// Runs `step`, a few calls of libpng and nothing with a destructor, and throws what it met.
    template <typename Step>
    void run(Step step);
    bool tryWrite(unsigned char const* data, std::size_t size) noexcept;
    friend struct PngCallbacks;

    OutputFile& file_;
    png_struct_def* png_ = nullptr;
    png_info_def* info_ = nullptr;
    std::string message_;         ///< libpng's complaint
    std::exception_ptr failure_;  ///< what the file threw
};

}  // namespace Quivo::tool
