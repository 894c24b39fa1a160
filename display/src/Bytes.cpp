#include <quivo/display/Bytes.h>

namespace Quivo {

unsigned char toByte(double value) noexcept {
    if (!(value > 0.0)) return 0;
    return value >= 255.0 ? 255 : static_cast<unsigned char>(value + 0.5);
}

void interleaveBytes(double const* planes, long long width, long long height, long long numChannels,
                     unsigned char* dst, long long rowLength) noexcept {
    for (long long c = 0; c < numChannels; ++c) {
        for (long long y = 0; y < height; ++y) {
            double const* const row = planes + (c * height + y) * width;
            unsigned char* const out = dst + y * rowLength * numChannels + c;
            for (long long x = 0; x < width; ++x) out[x * numChannels] = toByte(row[x]);
        }
    }
}

}  // namespace Quivo
