#include "kernels/SampleRows.h"

namespace Quivo::detail {

namespace {

template <typename T>
inline constexpr bool isNarrow = sizeof(T) <= 2 && !isFloat<T>;

/// Two neighbours read as one number turn the walk in steps of two into one without gaps; which of
/// them is first does not matter for their sum.
template <typename T>
[[gnu::always_inline]] inline int sumOfPair(T const* pair) {
    using Both = std::conditional_t<sizeof(T) == 1, std::uint16_t, std::uint32_t>;
    Both both = 0;
    std::memcpy(&both, pair, sizeof both);
    return static_cast<T>(both) + static_cast<T>(both >> 8 * sizeof(T));
}

template <typename T>
QUIVO_KERNEL_BODY halvePlane(T const* __restrict upper, T const* __restrict lower,
                             T* __restrict dst, long long count) {
    if constexpr (isNarrow<T>) {
        // Four bytes are summed in 16 bits, of which a vector holds twice as many.
        using Sum = std::conditional_t<sizeof(T) == 1, std::int16_t, std::int32_t>;
        for (long long x = 0; x < count; ++x) {
            auto const sum =
                static_cast<Sum>(sumOfPair(upper + 2 * x) + sumOfPair(lower + 2 * x) + 2);
            dst[x] = static_cast<T>(sum >> 2);
        }
    } else {
        for (long long x = 0; x < count; ++x) {
            dst[x] = meanOfFour(upper[2 * x], upper[2 * x + 1], lower[2 * x], lower[2 * x + 1]);
        }
    }
}

template <typename T, typename Channels>
QUIVO_KERNEL_BODY halvePixels(T const* __restrict upper, T const* __restrict lower,
                              T* __restrict dst, long long count, Channels numChannels) {
    for (long long x = 0; x < count; ++x) {
        for (long long c = 0; c < numChannels; ++c) {
            long long const left = 2 * x * numChannels + c;
            long long const right = left + numChannels;
            dst[x * numChannels + c] =
                meanOfFour(upper[left], upper[right], lower[left], lower[right]);
        }
    }
}

template <typename T>
QUIVO_KERNEL_BODY copyPlane(T const* src, T* dst, long long count) {
    if (count > 0) std::memcpy(dst, src, static_cast<std::size_t>(count) * sizeof(T));
}

template <typename T, typename Channels>
QUIVO_KERNEL_BODY joinPlanes(T const* __restrict rows, long long stride, T* __restrict dst,
                             long long count, Channels numChannels) {
    for (long long x = 0; x < count; ++x) {
        for (long long c = 0; c < numChannels; ++c) {
            dst[x * numChannels + c] = rows[c * stride + x];
        }
    }
}

/// RGB of three planes at once: a compiler makes shuffles of whole vectors of this, and of nothing
/// more general.
template <typename T>
QUIVO_KERNEL_BODY joinRgb(T const* __restrict red, T const* __restrict green,
                          T const* __restrict blue, T* __restrict pixels, long long count) {
    for (long long i = 0; i < count; ++i) {
        pixels[3 * i] = red[i];
        pixels[3 * i + 1] = green[i];
        pixels[3 * i + 2] = blue[i];
    }
}

template <typename T>
QUIVO_KERNEL_BODY splitRgb(T const* __restrict pixels, T* __restrict red, T* __restrict green,
                           T* __restrict blue, long long count) {
    for (long long i = 0; i < count; ++i) {
        red[i] = pixels[3 * i];
        green[i] = pixels[3 * i + 1];
        blue[i] = pixels[3 * i + 2];
    }
}

/// Vectors do not like pairs of triples of bytes: as planes the means take a third of the time.
template <typename T>
QUIVO_KERNEL_BODY halveRgb(T const* __restrict upper, T const* __restrict lower,
                           T* __restrict pixels, long long count) {
    constexpr long long part = 256;
    T rows[2][3][2 * part];
    T means[3][part];
    for (long long start = 0; start < count; start += part) {
        auto const now = std::min(part, count - start);
        splitRgb(upper + 6 * start, rows[0][0], rows[0][1], rows[0][2], 2 * now);
        splitRgb(lower + 6 * start, rows[1][0], rows[1][1], rows[1][2], 2 * now);
        for (int c = 0; c < 3; ++c) halvePlane(rows[0][c], rows[1][c], means[c], now);
        joinRgb(means[0], means[1], means[2], pixels + 3 * start, now);
    }
}

template <typename T>
QUIVO_KERNEL_BODY halveRowsBody(T const* upper, T const* lower, T* dst, long long count,
                                long long numChannels) {
    if (numChannels == 1) return halvePlane(upper, lower, dst, count);
    if constexpr (sizeof(T) == 1) {
        if (numChannels == 3) return halveRgb(upper, lower, dst, count);
    } else {
        if (numChannels == 3) return halvePixels(upper, lower, dst, count, Constant<3>{});
    }
    if (numChannels == 4) return halvePixels(upper, lower, dst, count, Constant<4>{});
    halvePixels(upper, lower, dst, count, numChannels);
}

template <typename T>
QUIVO_KERNEL_BODY interleaveRowsBody(T const* rows, long long stride, T* dst, long long count,
                                     long long numChannels) {
    if (numChannels == 1) return copyPlane(rows, dst, count);
    if (numChannels == 3) return joinRgb(rows, rows + stride, rows + 2 * stride, dst, count);
    if (numChannels == 4) return joinPlanes(rows, stride, dst, count, Constant<4>{});
    joinPlanes(rows, stride, dst, count, numChannels);
}

template <typename T>
QUIVO_KERNEL_BODY separateRowBody(T const* pixels, T* rows, long long stride, long long count,
                                  long long numChannels) {
    if (numChannels == 1) return copyPlane(pixels, rows, count);
    if (numChannels == 3) return splitRgb(pixels, rows, rows + stride, rows + 2 * stride, count);
    // Plane after plane: few writes at a time, however many channels there are.
    for (long long c = 0; c < numChannels; ++c) {
        for (long long x = 0; x < count; ++x) rows[c * stride + x] = pixels[x * numChannels + c];
    }
}

template <typename From, typename To>
QUIVO_KERNEL_BODY convertDirectlyBody(From const* __restrict src, To* __restrict dst,
                                      long long count) {
    for (long long i = 0; i < count; ++i) dst[i] = convertSample<To>(src[i]);
}

}  // namespace

#define QUIVO_DEFINE_ROWS(T)                                                                  \
    QUIVO_DEFINE_VARIANTS(                                                                    \
        halveRows,                                                                            \
        (T const* upper, T const* lower, T* dst, long long count, long long numChannels),     \
        (upper, lower, dst, count, numChannels))                                              \
    QUIVO_DEFINE_VARIANTS(                                                                    \
        interleaveRows,                                                                       \
        (T const* rows, long long stride, T* dst, long long count, long long numChannels),    \
        (rows, stride, dst, count, numChannels))                                              \
    QUIVO_DEFINE_VARIANTS(                                                                    \
        separateRow,                                                                          \
        (T const* pixels, T* rows, long long stride, long long count, long long numChannels), \
        (pixels, rows, stride, count, numChannels))
#define QUIVO_DEFINE_CONVERSION(From, To)                                               \
    QUIVO_DEFINE_VARIANTS(convertDirectly, (From const* src, To* dst, long long count), \
                          (src, dst, count))

QUIVO_FOR_SAMPLE_TYPES(QUIVO_DEFINE_ROWS)
QUIVO_FOR_DIRECT_CONVERSIONS(QUIVO_DEFINE_CONVERSION)

}  // namespace Quivo::detail
