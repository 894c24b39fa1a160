#include "kernels/Copy.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace Quivo::detail {

namespace {

/// Calls `copyRun(from, to, count)` for runs that together are all rows, having asked memory for
/// the run below: left alone, memory stands still at the begin of every row.
template <typename T, typename CopyRun>
QUIVO_KERNEL_BODY walkRows(T const* src, long long srcStride, double* dst, long long dstStride,
                           long long width, long long height, CopyRun copyRun) {
    if (width == srcStride && width == dstStride) {
        copyRun(src, dst, width * height);
        return;
    }
    constexpr long long run = 128;
    for (long long y = 0; y < height; ++y) {
        T const* const row = src + y * srcStride;
        T const* const below = y + 1 < height ? row + srcStride : row;
        for (long long x = 0; x < width; x += run) {
            long long const count = std::min(run, width - x);
            prefetch(below + x, count * static_cast<long long>(sizeof(T)));
            copyRun(row + x, dst + y * dstStride + x, count);
        }
    }
}

QUIVO_KERNEL_BODY copyRowsBody(unsigned char const* src, long long srcStride, double* dst,
                               long long dstStride, long long width, long long height) {
    walkRows(src, srcStride, dst, dstStride, width, height,
             [](unsigned char const* from, double* to, long long count) {
                 for (long long i = 0; i < count; ++i) to[i] = from[i];
             });
}

void copyRun(double const* from, double* to, long long count) noexcept {
    if (count > 0) std::memcpy(to, from, static_cast<std::size_t>(count) * sizeof(double));
}

void streamRun(double const* from, double* to, long long count) noexcept {
    long long i = 0;
#ifdef __SSE2__
    // Such stores go to addresses of whole pairs.
    if (reinterpret_cast<std::uintptr_t>(to) % (2 * sizeof(double)) != 0 && count > 0) {
        to[0] = from[0];
        i = 1;
    }
    for (; i + 2 <= count; i += 2) _mm_stream_pd(to + i, _mm_loadu_pd(from + i));
#endif
    copyRun(from + i, to + i, count - i);
}

}  // namespace

QUIVO_DEFINE_VARIANTS(copyRows,
                      (unsigned char const* src, long long srcStride, double* dst,
                       long long dstStride, long long width, long long height),
                      (src, srcStride, dst, dstStride, width, height))

void copyRows(double const* src, long long srcStride, double* dst, long long dstStride,
              long long width, long long height) noexcept {
    walkRows(src, srcStride, dst, dstStride, width, height, copyRun);
}

void streamRows(double const* src, long long srcStride, double* dst, long long dstStride,
                long long width, long long height) noexcept {
    walkRows(src, srcStride, dst, dstStride, width, height, streamRun);
#ifdef __SSE2__
    _mm_sfence();  // other threads see these stores in order, like all others
#endif
}

}  // namespace Quivo::detail
