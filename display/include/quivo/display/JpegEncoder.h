#pragma once

#include <quivo/core/Export.h>
#include <quivo/display/ByteSink.h>

#include <cstddef>
#include <memory>
#include <span>
#include <vector>

namespace Quivo {

/// Encodes a baseline JPEG row by row, in memory for a few rows; colour as YCbCr, subsampled
/// (4:2:0) below quality 90, as a TIFF's tiles are.
///
/// The same rows always give the same bytes with one libjpeg. Every error leaves an encoder that
/// can only be destroyed. One thread at a time.
class QUIVO_API JpegEncoder {
public:
    /// The longest side: that of libjpeg, a little less than the format's.
    static constexpr long long maxSide = 65500;

    /// Writes the header. `numChannels` is 1 (grey) or 3 (RGB), `quality` in 1 ... 100. `sink` gets
    /// the bytes and outlives the encoder.
    /// error: EncodingError when a side is not in 1 ... maxSide, for another number of channels or
    /// another quality.
    /// error: std::bad_alloc, and what the sink throws.
    JpegEncoder(ByteSink& sink, long long width, long long height, int numChannels, int quality);
    JpegEncoder(JpegEncoder const&) = delete;
    JpegEncoder& operator=(JpegEncoder const&) = delete;
    ~JpegEncoder();

    /// Encodes the next row, of `width * numChannels` bytes, interleaved; called `height` times
    /// from top to bottom.
    /// error: EncodingError when there are more rows than the height, and when libjpeg fails.
    /// error: what the sink throws.
    void writeRow(unsigned char const* row);

    /// Writes what is left. After the last row; the last call.
    /// error: EncodingError when rows are missing, and when libjpeg fails.
    /// error: what the sink throws.
    void finish();

private:
    class Codec;
    std::unique_ptr<Codec> codec_;
};

/// A whole picture, of `width * height * numChannels` bytes, as JPEG. Any thread.
/// error: EncodingError when the pixels are fewer or more, and as the encoder; std::bad_alloc.
[[nodiscard]] QUIVO_API std::vector<std::byte> encodeJpeg(std::span<unsigned char const> pixels,
                                                          long long width, long long height,
                                                          int numChannels, int quality);

}  // namespace Quivo
