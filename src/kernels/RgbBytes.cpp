#include "kernels/RgbBytes.h"

#include <algorithm>

namespace Quivo::detail {

namespace {

using Sample = std::uint8_t;

QUIVO_KERNEL_BODY splitRgbBody(Sample const* __restrict pixels, Sample* __restrict red,
                               Sample* __restrict green, Sample* __restrict blue, long long count) {
    for (long long i = 0; i < count; ++i) {
        red[i] = pixels[3 * i];
        green[i] = pixels[3 * i + 1];
        blue[i] = pixels[3 * i + 2];
    }
}

QUIVO_KERNEL_BODY joinRgbBody(Sample const* __restrict red, Sample const* __restrict green,
                              Sample const* __restrict blue, Sample* __restrict pixels,
                              long long count) {
    for (long long i = 0; i < count; ++i) {
        pixels[3 * i] = red[i];
        pixels[3 * i + 1] = green[i];
        pixels[3 * i + 2] = blue[i];
    }
}

/// Stores the 2 x 2 means, rounded half up, of two rows of 2 * `count` samples.
QUIVO_KERNEL_BODY halvePlaneBody(Sample const* __restrict upper, Sample const* __restrict lower,
                                 Sample* __restrict means, long long count) {
    for (long long i = 0; i < count; ++i) {
        int const sum = upper[2 * i] + upper[2 * i + 1] + lower[2 * i] + lower[2 * i + 1];
        means[i] = static_cast<Sample>((sum + 2) >> 2);
    }
}

}  // namespace

QUIVO_DEFINE_VARIANTS(splitRgb,
                      (Sample const* pixels, Sample* red, Sample* green, Sample* blue,
                       long long count),
                      (pixels, red, green, blue, count))
QUIVO_DEFINE_VARIANTS(joinRgb,
                      (Sample const* red, Sample const* green, Sample const* blue, Sample* pixels,
                       long long count),
                      (red, green, blue, pixels, count))
QUIVO_DEFINE_VARIANTS(halvePlane,
                      (Sample const* upper, Sample const* lower, Sample* means, long long count),
                      (upper, lower, means, count))

// Vectors do not like pairs of triples: as planes the means take a third of the time.
void halveRgb(Sample const* upper, Sample const* lower, Sample* pixels, long long count) noexcept {
    constexpr long long part = 256;
    Sample rows[2][3][2 * part];
    Sample means[3][part];
    for (long long start = 0; start < count; start += part) {
        auto const now = std::min(part, count - start);
        splitRgb(upper + 6 * start, rows[0][0], rows[0][1], rows[0][2], 2 * now);
        splitRgb(lower + 6 * start, rows[1][0], rows[1][1], rows[1][2], 2 * now);
        for (int c = 0; c < 3; ++c) halvePlane(rows[0][c], rows[1][c], means[c], now);
        joinRgb(means[0], means[1], means[2], pixels + 3 * start, now);
    }
}

}  // namespace Quivo::detail
