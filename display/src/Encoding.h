#pragma once

#include <quivo/display/ByteSink.h>

#include <cstddef>
#include <span>
#include <string>
#include <vector>

// What the encoders share. The C libraries under them report a failure by a jump out of the failing
// call, over their own frames, which a C++ exception must not cross. So what a sink throws is kept
// in their callbacks and thrown again when the jump has ended; between the jump and its end there
// is no object with a destructor.

namespace Quivo::detail {

/// The picture that an encoder was told to expect, and how much of it has come.
struct PictureFormat {
    long long width = 0;
    long long height = 0;
    int numChannels = 0;
    long long numRows = 0;  ///< that have come

    /// error: EncodingError when a side is not in 1 ... `maxSide`.
    void checkSides(char const* kind, long long maxSide) const {
        if (width >= 1 && height >= 1 && width <= maxSide && height <= maxSide) return;
        throw EncodingError(std::string("a ") + kind + " has 1 to " + std::to_string(maxSide) +
                            " pixels on a side, not " + std::to_string(width) + " x " +
                            std::to_string(height));
    }

    /// error: EncodingError when all rows have come.
    void countRow() {
        if (numRows == height) throw EncodingError("there are more rows than the picture has");
        ++numRows;
    }

    /// error: EncodingError when rows are missing.
    void checkComplete() const {
        if (numRows != height) throw EncodingError("rows of the picture are missing");
    }
};

/// All rows of `pixels` through an encoder of the given picture.
template <typename Encoder, typename... Options>
std::vector<std::byte> encodeAll(std::span<unsigned char const> pixels, long long width,
                                 long long height, int numChannels, Options... options) {
    ByteVector bytes;
    Encoder encoder(bytes, width, height, numChannels, options...);
    // The encoder has checked the sides: no product below overflows.
    std::size_t const rowSize =
        static_cast<std::size_t>(width) * static_cast<unsigned>(numChannels);
    if (pixels.size() / rowSize != static_cast<std::size_t>(height) ||
        pixels.size() % rowSize != 0) {
        throw EncodingError("the pixels are not as many as the picture has");
    }
    for (auto rest = pixels; !rest.empty(); rest = rest.subspan(rowSize)) {
        encoder.writeRow(rest.data());
    }
    encoder.finish();
    return bytes.take();
}

}  // namespace Quivo::detail
