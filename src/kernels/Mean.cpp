#include "kernels/Mean.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

namespace Quivo::detail {

namespace {

QUIVO_KERNEL_BODY halveRowsRoundedBody(double const* rows, long long stride, double* dst,
                                       long long count) {
    double const* const lower = rows + stride;
    for (long long i = 0; i < count; ++i) {
        double const sum = rows[2 * i] + rows[2 * i + 1] + lower[2 * i] + lower[2 * i + 1];
        dst[i] = std::floor(sum * 0.25 + 0.5);
    }
}

QUIVO_KERNEL_BODY halveRowsRoundedBody(unsigned char const* rows, long long stride,
                                       unsigned char* dst, long long count) {
    // In integers: the same as the floor of sum / 4 + 1/2. Two neighbours are read as one number,
    // which turns the walk in steps of two into one without gaps; their order does not matter.
    auto const sumOfPair = [](unsigned char const* pair) {
        std::uint16_t both = 0;
        std::memcpy(&both, pair, 2);
        return static_cast<std::uint16_t>((both & 255) + (both >> 8));
    };
    constexpr long long run = 1024;
    for (long long first = 0; first < count; first += run) {
        unsigned char const* const upper = rows + 2 * first;
        unsigned char const* const lower = upper + stride;
        long long const runCount = std::min(run, count - first);
        // The next two rows: bytes are summed faster than memory finds out by itself.
        prefetch(upper + 2 * stride, 2 * runCount);
        prefetch(lower + 2 * stride, 2 * runCount);
        for (long long i = 0; i < runCount; ++i) {
            auto const sum =
                static_cast<std::uint16_t>(sumOfPair(upper + 2 * i) + sumOfPair(lower + 2 * i));
            dst[first + i] = static_cast<unsigned char>((sum + 2) >> 2);
        }
    }
}

/// The loop of `averageBlocks`, for an edge that is known when compiling if it can be: then the
/// compiler unrolls a block's row.
template <typename Edge>
QUIVO_KERNEL_BODY averageBlocksOf(double const* rows, long long stride, double* dst,
                                  long long count, Edge edge) {
    // A power of two, so that multiplying gives what dividing gives.
    double const share = 1.0 / (static_cast<double>(edge) * static_cast<double>(edge));
    // Row after row, with the sums so far in `dst`: memory delivers one run of values at full
    // speed, several at once more slowly.
    for (long long r = 0; r < edge; ++r) {
        double const* const row = rows + r * stride;
        double const factor = r == edge - 1 ? share : 1.0;
        for (long long i = 0; i < count; ++i) {
            double sum = r == 0 ? 0.0 : dst[i];
            for (long long s = 0; s < edge; ++s) sum += row[i * edge + s];
            dst[i] = sum * factor;
        }
    }
}

QUIVO_KERNEL_BODY averageBlocksBody(double const* rows, long long stride, double* dst,
                                    long long count, long long edge) {
    if (edge == 2) return averageBlocksOf(rows, stride, dst, count, Constant<2>{});
    if (edge == 4) return averageBlocksOf(rows, stride, dst, count, Constant<4>{});
    if (edge == 8) return averageBlocksOf(rows, stride, dst, count, Constant<8>{});
    averageBlocksOf(rows, stride, dst, count, edge);
}

}  // namespace

QUIVO_DEFINE_VARIANTS(halveRowsRounded,
                      (double const* rows, long long stride, double* dst, long long count),
                      (rows, stride, dst, count))
QUIVO_DEFINE_VARIANTS(halveRowsRounded,
                      (unsigned char const* rows, long long stride, unsigned char* dst,
                       long long count),
                      (rows, stride, dst, count))
QUIVO_DEFINE_VARIANTS(averageBlocks,
                      (double const* rows, long long stride, double* dst, long long count,
                       long long edge),
                      (rows, stride, dst, count, edge))

}  // namespace Quivo::detail
