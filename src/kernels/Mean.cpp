#include "kernels/Mean.h"

#include <algorithm>
#include <cmath>

namespace Quivo::detail {

void halveRowsRounded(double const* upper, double const* lower, double* dst,
                      long long count) noexcept {
    for (long long i = 0; i < count; ++i) {
        double const sum = upper[2 * i] + upper[2 * i + 1] + lower[2 * i] + lower[2 * i + 1];
        dst[i] = std::floor(sum * 0.25 + 0.5);
    }
}

void halveRowsRounded(unsigned char const* upper, unsigned char const* lower, unsigned char* dst,
                      long long count) noexcept {
    for (long long i = 0; i < count; ++i) {
        // In integers: the same as the floor of sum / 4 + 1/2.
        int const sum = upper[2 * i] + upper[2 * i + 1] + lower[2 * i] + lower[2 * i + 1];
        dst[i] = static_cast<unsigned char>((sum + 2) >> 2);
    }
}

}  // namespace Quivo::detail

namespace Quivo {

template <typename T, typename U>
void downsampleBufferFullLevel(T* src, U* dst, Vector srcExtent, long long numChannels,
                               long long numHalvings) noexcept {
    if (srcExtent.x < 1 || srcExtent.y < 1 || srcExtent.z < 1 || numHalvings > 62) return;
    long long const edge = 1LL << numHalvings;
    Vector const dstExtent = srcExtent / Vector(edge, edge, 1);
    auto const numValues = static_cast<double>(edge) * static_cast<double>(edge);
    // Destinations are written in ascending order, none past the first source value that a later
    // block reads: that is what makes src == dst work.
    for (long long plane = 0; plane < numChannels * srcExtent.z; ++plane) {
        for (long long y = 0; y < dstExtent.y; ++y) {
            T const* const rows = src + (plane * srcExtent.y + y * edge) * srcExtent.x;
            U* const out = dst + (plane * dstExtent.y + y) * dstExtent.x;
            if (numHalvings == 0) {
                std::copy_n(rows, dstExtent.x, out);
                continue;
            }
            for (long long x = 0; x < dstExtent.x; ++x) {
                double sum = 0.0;
                for (long long r = 0; r < edge; ++r) {
                    T const* const block = rows + r * srcExtent.x + x * edge;
                    for (long long s = 0; s < edge; ++s) sum += static_cast<double>(block[s]);
                }
                out[x] = static_cast<U>(sum / numValues);
            }
        }
    }
}

template void downsampleBufferFullLevel<double, double>(double*, double*, Vector, long long,
                                                        long long) noexcept;

}  // namespace Quivo
