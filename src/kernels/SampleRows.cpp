#include "kernels/SampleRows.h"

namespace Quivo::detail {

namespace {

/// One plane, or pixels whose channels are walked together.
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

template <typename T, typename Channels>
QUIVO_KERNEL_BODY joinPlanes(T const* __restrict rows, long long stride, T* __restrict dst,
                             long long count, Channels numChannels) {
    for (long long x = 0; x < count; ++x) {
        for (long long c = 0; c < numChannels; ++c) {
            dst[x * numChannels + c] = rows[c * stride + x];
        }
    }
}

template <typename T, typename Channels>
QUIVO_KERNEL_BODY splitPlanes(T const* __restrict pixels, T* __restrict rows, long long stride,
                              long long count, Channels numChannels) {
    for (long long x = 0; x < count; ++x) {
        for (long long c = 0; c < numChannels; ++c) {
            rows[c * stride + x] = pixels[x * numChannels + c];
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

/// Vectors do not like pairs of triples: as planes the means take a third of the time.
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
        for (int c = 0; c < 3; ++c) {
            halvePixels(rows[0][c], rows[1][c], means[c], now, Constant<1>{});
        }
        joinRgb(means[0], means[1], means[2], pixels + 3 * start, now);
    }
}

template <typename T>
inline constexpr bool isNarrow = sizeof(T) <= 2 && !isFloat<T>;

template <typename T>
QUIVO_KERNEL_BODY halveRowsBody(T const* upper, T const* lower, T* dst, long long count,
                                long long numChannels) {
    if (numChannels == 1) return halvePixels(upper, lower, dst, count, Constant<1>{});
    if constexpr (isNarrow<T>) {
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
    if (numChannels == 1) return joinPlanes(rows, stride, dst, count, Constant<1>{});
    if (numChannels == 3) return joinRgb(rows, rows + stride, rows + 2 * stride, dst, count);
    if (numChannels == 4) return joinPlanes(rows, stride, dst, count, Constant<4>{});
    joinPlanes(rows, stride, dst, count, numChannels);
}

template <typename T>
QUIVO_KERNEL_BODY separateRowBody(T const* pixels, T* rows, long long stride, long long count,
                                  long long numChannels) {
    if (numChannels == 1) return splitPlanes(pixels, rows, stride, count, Constant<1>{});
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

QUIVO_DEFINE_TYPED_VARIANTS(halveRows,
                            (T const* upper, T const* lower, T* dst, long long count,
                             long long numChannels),
                            (upper, lower, dst, count, numChannels), typename T)
QUIVO_DEFINE_TYPED_VARIANTS(interleaveRows,
                            (T const* rows, long long stride, T* dst, long long count,
                             long long numChannels),
                            (rows, stride, dst, count, numChannels), typename T)
QUIVO_DEFINE_TYPED_VARIANTS(separateRow,
                            (T const* pixels, T* rows, long long stride, long long count,
                             long long numChannels),
                            (pixels, rows, stride, count, numChannels), typename T)
QUIVO_DEFINE_TYPED_VARIANTS(convertDirectly, (From const* src, To* dst, long long count),
                            (src, dst, count), typename From, typename To)

#define QUIVO_INSTANTIATE_ROWS(T)                                                               \
    QUIVO_INSTANTIATE_VARIANTS(halveRows, (T const*, T const*, T*, long long, long long))       \
    QUIVO_INSTANTIATE_VARIANTS(interleaveRows, (T const*, long long, T*, long long, long long)) \
    QUIVO_INSTANTIATE_VARIANTS(separateRow, (T const*, T*, long long, long long, long long))
#define QUIVO_INSTANTIATE_CONVERSION(From, To) \
    QUIVO_INSTANTIATE_VARIANTS(convertDirectly, (From const*, To*, long long))

QUIVO_INSTANTIATE_ROWS(std::uint8_t)
QUIVO_INSTANTIATE_ROWS(std::int8_t)
QUIVO_INSTANTIATE_ROWS(std::uint16_t)
QUIVO_INSTANTIATE_ROWS(std::int16_t)
QUIVO_INSTANTIATE_ROWS(std::uint32_t)
QUIVO_INSTANTIATE_ROWS(std::int32_t)
QUIVO_INSTANTIATE_ROWS(std::uint64_t)
QUIVO_INSTANTIATE_ROWS(std::int64_t)
QUIVO_INSTANTIATE_ROWS(Half)
QUIVO_INSTANTIATE_ROWS(float)
QUIVO_INSTANTIATE_ROWS(double)

#define QUIVO_INSTANTIATE_FROM_AND_TO_DOUBLE(T) \
    QUIVO_INSTANTIATE_CONVERSION(T, double)     \
    QUIVO_INSTANTIATE_CONVERSION(double, T)
#define QUIVO_INSTANTIATE_BOTH(T, U)   \
    QUIVO_INSTANTIATE_CONVERSION(T, U) \
    QUIVO_INSTANTIATE_CONVERSION(U, T)

QUIVO_INSTANTIATE_FROM_AND_TO_DOUBLE(std::uint8_t)
QUIVO_INSTANTIATE_FROM_AND_TO_DOUBLE(std::int8_t)
QUIVO_INSTANTIATE_FROM_AND_TO_DOUBLE(std::uint16_t)
QUIVO_INSTANTIATE_FROM_AND_TO_DOUBLE(std::int16_t)
QUIVO_INSTANTIATE_FROM_AND_TO_DOUBLE(std::uint32_t)
QUIVO_INSTANTIATE_FROM_AND_TO_DOUBLE(std::int32_t)
QUIVO_INSTANTIATE_FROM_AND_TO_DOUBLE(std::uint64_t)
QUIVO_INSTANTIATE_FROM_AND_TO_DOUBLE(std::int64_t)
QUIVO_INSTANTIATE_FROM_AND_TO_DOUBLE(Half)
QUIVO_INSTANTIATE_FROM_AND_TO_DOUBLE(float)

QUIVO_INSTANTIATE_BOTH(std::uint8_t, std::int8_t)
QUIVO_INSTANTIATE_BOTH(std::uint8_t, std::uint16_t)
QUIVO_INSTANTIATE_BOTH(std::uint8_t, std::int16_t)
QUIVO_INSTANTIATE_BOTH(std::uint8_t, std::uint32_t)
QUIVO_INSTANTIATE_BOTH(std::uint8_t, std::int32_t)
QUIVO_INSTANTIATE_BOTH(std::uint8_t, std::uint64_t)
QUIVO_INSTANTIATE_BOTH(std::uint8_t, std::int64_t)
QUIVO_INSTANTIATE_BOTH(std::int8_t, std::uint16_t)
QUIVO_INSTANTIATE_BOTH(std::int8_t, std::int16_t)
QUIVO_INSTANTIATE_BOTH(std::int8_t, std::uint32_t)
QUIVO_INSTANTIATE_BOTH(std::int8_t, std::int32_t)
QUIVO_INSTANTIATE_BOTH(std::int8_t, std::uint64_t)
QUIVO_INSTANTIATE_BOTH(std::int8_t, std::int64_t)
QUIVO_INSTANTIATE_BOTH(std::uint16_t, std::int16_t)
QUIVO_INSTANTIATE_BOTH(std::uint16_t, std::uint32_t)
QUIVO_INSTANTIATE_BOTH(std::uint16_t, std::int32_t)
QUIVO_INSTANTIATE_BOTH(std::uint16_t, std::uint64_t)
QUIVO_INSTANTIATE_BOTH(std::uint16_t, std::int64_t)
QUIVO_INSTANTIATE_BOTH(std::int16_t, std::uint32_t)
QUIVO_INSTANTIATE_BOTH(std::int16_t, std::int32_t)
QUIVO_INSTANTIATE_BOTH(std::int16_t, std::uint64_t)
QUIVO_INSTANTIATE_BOTH(std::int16_t, std::int64_t)
QUIVO_INSTANTIATE_BOTH(std::uint32_t, std::int32_t)
QUIVO_INSTANTIATE_BOTH(std::uint32_t, std::uint64_t)
QUIVO_INSTANTIATE_BOTH(std::uint32_t, std::int64_t)
QUIVO_INSTANTIATE_BOTH(std::int32_t, std::uint64_t)
QUIVO_INSTANTIATE_BOTH(std::int32_t, std::int64_t)
QUIVO_INSTANTIATE_BOTH(std::uint64_t, std::int64_t)

}  // namespace Quivo::detail
