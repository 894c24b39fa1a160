#pragma once

#include <quivo/core/Export.h>
#include <quivo/display/ByteSink.h>

#include <cstddef>
#include <memory>
#include <span>
#include <vector>

namespace Quivo {

/// Encodes a PNG of 8 bits per sample row by row, in memory for a few rows.
///
/// The same rows always give the same bytes with one libpng and zlib. Every error leaves an encoder
/// that can only be destroyed. One thread at a time.
class QUIVO_API PngEncoder {
public:
    /// The longest side of a PNG.
    static constexpr long long maxSide = 0x7fffffff;

    /// Writes the header. `numChannels` is 1 (grey), 3 (RGB) or 4 (RGB and alpha that is not
    /// multiplied in). `sink` gets the bytes and outlives the encoder.
    /// error: EncodingError when a side is not in 1 ... maxSide, or for another number of channels.
    /// error: std::bad_alloc, and what the sink throws.
    PngEncoder(ByteSink& sink, long long width, long long height, int numChannels);
    PngEncoder(PngEncoder const&) = delete;
    PngEncoder& operator=(PngEncoder const&) = delete;
    ~PngEncoder();

    /// Encodes the next row, of `width * numChannels` bytes, interleaved; called `height` times
    /// from top to bottom.
    /// error: EncodingError when there are more rows than the height, and when libpng fails.
    /// error: what the sink throws.
    void writeRow(unsigned char const* row);

    /// Writes what is left. After the last row; the last call.
    /// error: EncodingError when rows are missing, and when libpng fails.
    /// error: what the sink throws.
    void finish();

private:
    class Codec;
    std::unique_ptr<Codec> codec_;
};

/// A whole picture, of `width * height * numChannels` bytes, as PNG. Any thread.
/// error: EncodingError when the pixels are fewer or more, and as the encoder; std::bad_alloc.
[[nodiscard]] QUIVO_API std::vector<std::byte> encodePng(std::span<unsigned char const> pixels,
                                                         long long width, long long height,
                                                         int numChannels);

}  // namespace Quivo
