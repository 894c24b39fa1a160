#include "kernels/WeightedSum.h"

#include <algorithm>
#include <cstring>

namespace Quivo::detail {

namespace {

/// Four neighbours at once. Wider than the registers of some CPUs, which take them in halves.
using Four = double __attribute__((vector_size(32)));
using FourFlags = long long __attribute__((vector_size(32)));

QUIVO_KERNEL_BODY load(double const* from, Four& values) {
    std::memcpy(&values, from, sizeof values);
}

/// What a step of four weights adds to the four partial sums of one pixel.
QUIVO_KERNEL_BODY addProducts(double const* line, double const* weights, Four& sums) {
    Four values;
    Four factors;
    load(line, values);
    load(weights, factors);
    // Where a weight is 0.0 nothing is added, not even the product with an infinity.
    FourFlags const counts = factors != Four{};
    FourFlags bits;
    std::memcpy(&bits, &values, sizeof bits);
    bits &= counts;
    std::memcpy(&values, &bits, sizeof bits);
    sums += values * factors;
}

/// line[i] = start(i) + the products of at most three rows.
template <typename Start>
QUIVO_KERNEL_BODY addRows(double const* rows, long long stride, double const* weights,
                          long long numRows, double* line, long long count, Start start) {
    double const w0 = weights[0];
    if (numRows == 1) {
        for (long long i = 0; i < count; ++i) line[i] = start(i) + w0 * rows[i];
        return;
    }
    double const w1 = weights[1];
    double const* const second = rows + stride;
    if (numRows == 2) {
        for (long long i = 0; i < count; ++i) line[i] = start(i) + w0 * rows[i] + w1 * second[i];
        return;
    }
    double const w2 = weights[2];
    double const* const third = second + stride;
    for (long long i = 0; i < count; ++i) {
        line[i] = start(i) + w0 * rows[i] + w1 * second[i] + w2 * third[i];
    }
}

QUIVO_KERNEL_BODY combineRowsBody(double const* rows, long long stride, double const* weights,
                                  long long numRows, double* line, long long count) {
    if (numRows < 1) {
        std::fill_n(line, count, 0.0);
        return;
    }
    addRows(rows, stride, weights, std::min(3LL, numRows), line, count,
            [](long long) { return 0.0; });
    for (long long row = 3; row < numRows; row += 3) {
        addRows(rows + row * stride, stride, weights + row, std::min(3LL, numRows - row), line,
                count, [line](long long i) { return line[i]; });
    }
}

QUIVO_KERNEL_BODY combineColumnsBody(double const* line, long long const* sources,
                                     double const* weights, long long numWeights, double* out,
                                     long long count, double const* ahead0, double const* ahead1) {
    auto const partialSums = [&](long long i, Four& sums) __attribute__((always_inline)) {
        for (long long t = 0; t < numWeights; t += weightsPerStep) {
            addProducts(line + sources[i] + t, weights + i * numWeights + t, sums);
        }
    };
    long long i = 0;
    // Four pixels at once: their partial sums are added crosswise.
    for (; i + 4 <= count; i += 4) {
        // Memory is idle while sums are added: let it fetch the rows that come next.
        __builtin_prefetch(ahead0 + sources[i]);
        __builtin_prefetch(ahead1 + sources[i]);
        Four a{};
        Four b{};
        Four c{};
        Four d{};
        partialSums(i, a);
        partialSums(i + 1, b);
        partialSums(i + 2, c);
        partialSums(i + 3, d);
        Four const ab =
            __builtin_shufflevector(a, b, 0, 4, 2, 6) + __builtin_shufflevector(a, b, 1, 5, 3, 7);
        Four const cd =
            __builtin_shufflevector(c, d, 0, 4, 2, 6) + __builtin_shufflevector(c, d, 1, 5, 3, 7);
        Four const all = __builtin_shufflevector(ab, cd, 0, 1, 4, 5) +
                         __builtin_shufflevector(ab, cd, 2, 3, 6, 7);
        std::memcpy(out + i, &all, sizeof all);
    }
    for (; i < count; ++i) {
        Four sums{};
        partialSums(i, sums);
        out[i] = (sums[0] + sums[1]) + (sums[2] + sums[3]);
    }
}

}  // namespace

QUIVO_DEFINE_VARIANTS(combineRows,
                      (double const* rows, long long stride, double const* weights,
                       long long numRows, double* line, long long count),
                      (rows, stride, weights, numRows, line, count))
QUIVO_DEFINE_VARIANTS(combineColumns,
                      (double const* line, long long const* sources, double const* weights,
                       long long numWeights, double* out, long long count, double const* ahead0,
                       double const* ahead1),
                      (line, sources, weights, numWeights, out, count, ahead0, ahead1))

}  // namespace Quivo::detail
