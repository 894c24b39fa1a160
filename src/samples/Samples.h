#pragma once

// What reader and writer do with single samples: one place for every rule that depends on the
// sample type, so that a level computed on reading holds what the writer would have stored.

#include <quivo/samples/SampleType.h>

#include "kernels/RgbBytes.h"
#include "samples/Half.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

namespace Quivo::detail {

/// Leaves new elements as they are: what is written at once need not be zeroed first.
template <typename T>
struct UninitializedAllocator : std::allocator<T> {
    template <typename U>
    struct rebind {
        using other = UninitializedAllocator<U>;
    };
    template <typename U, typename... Arguments>
    void construct(U* place, Arguments&&... arguments) {
        if constexpr (sizeof...(arguments) == 0) {
            ::new (static_cast<void*>(place)) U;
        } else {
            ::new (static_cast<void*>(place)) U(std::forward<Arguments>(arguments)...);
        }
    }
};

/// A block of samples of any type; the type stands beside it. A new one holds anything.
using Bytes = std::vector<std::byte, UninitializedAllocator<std::byte>>;

/// Calls `function` with a zero of the type that `type` names.
template <typename Function>
auto visitSampleType(SampleType type, Function&& function) {
    switch (type) {
        case SampleType::I8:
            return function(std::int8_t{});
        case SampleType::U16:
            return function(std::uint16_t{});
        case SampleType::I16:
            return function(std::int16_t{});
        case SampleType::U32:
            return function(std::uint32_t{});
        case SampleType::I32:
            return function(std::int32_t{});
        case SampleType::U64:
            return function(std::uint64_t{});
        case SampleType::I64:
            return function(std::int64_t{});
        case SampleType::F16:
            return function(Half{});
        case SampleType::F32:
            return function(float{});
        case SampleType::F64:
            return function(double{});
        case SampleType::U8:
            break;
    }
    return function(std::uint8_t{});
}

template <typename T>
inline constexpr bool isFloat = std::is_floating_point_v<T> || std::is_same_v<T, Half>;

/// `value` as a stored sample: integers rounded half up and clamped (NaN becomes 0), floats clamped
/// to the finite range of the type unless infinite.
template <typename T>
[[nodiscard]] T toSample(double value) noexcept {
    if constexpr (std::is_same_v<T, double>) {
        return value;
    } else if constexpr (isFloat<T>) {
        constexpr double highest =
            std::is_same_v<T, Half> ? 65504.0 : double{std::numeric_limits<float>::max()};
        if (!std::isfinite(value)) return static_cast<T>(value);
        return static_cast<T>(value < -highest ? -highest : value > highest ? highest : value);
    } else if constexpr (sizeof(T) == 8) {
        // The ends of these types are no doubles, and large doubles are whole numbers already:
        // adding a half would round them to their neighbours.
        constexpr double end = std::is_signed_v<T> ? 0x1p63 : 0x1p64;
        if (!(value == value)) return 0;
        double const rounded = value < 0x1p52 && value > -0x1p52 ? std::floor(value + 0.5) : value;
        if (rounded >= end) return std::numeric_limits<T>::max();
        if (rounded <= (std::is_signed_v<T> ? -end : 0.0)) return std::numeric_limits<T>::lowest();
        return static_cast<T>(rounded);
    } else {
        using Limits = std::numeric_limits<T>;
        constexpr auto lowest = static_cast<double>(Limits::lowest());
        constexpr auto highest = static_cast<double>(Limits::max());
        // Compared so that NaN fails the first test; a narrow integer lets the loop vectorise.
        using Wide = std::conditional_t<(sizeof(T) < 4), std::int32_t, std::int64_t>;
        double const raised = value > lowest ? value : lowest;
        double const clamped = raised < highest ? raised : highest;
        // Where nothing is below 0, cutting off the digits is the floor, and NaN became 0.
        if constexpr (std::is_unsigned_v<T>)
            return static_cast<T>(static_cast<Wide>(clamped + 0.5));
        double const number = value == value ? clamped : 0.0;
        return static_cast<T>(static_cast<Wide>(std::floor(number + 0.5)));
    }
}

/// The mean of a 2 x 2 block of samples: rounded half up for integers, plain for floats.
template <typename T>
[[nodiscard]] T meanOfFour(T a, T b, T p, T q) noexcept {
    if constexpr (isFloat<T>) {
        double const sum = static_cast<double>(a) + static_cast<double>(b) +
                           static_cast<double>(p) + static_cast<double>(q);
        return static_cast<T>(sum * 0.25);
    } else if constexpr (sizeof(T) == 8) {
        __extension__ using Wide = __int128;
        return static_cast<T>((Wide{a} + Wide{b} + Wide{p} + Wide{q} + 2) >> 2);
    } else {
        using Wide = std::conditional_t<(sizeof(T) < 4), std::int32_t, std::int64_t>;
        return static_cast<T>((Wide{a} + Wide{b} + Wide{p} + Wide{q} + 2) >> 2);
    }
}

/// A sample as one of another type: between integers directly and clamped, so that all of their
/// digits count; otherwise by way of a double.
template <typename Out, typename In>
[[nodiscard]] Out convertSample(In value) noexcept {
    if constexpr (std::is_same_v<In, Out>) {
        return value;
    } else if constexpr (isFloat<In> || isFloat<Out>) {
        return toSample<Out>(static_cast<double>(value));
    } else {
        using Limits = std::numeric_limits<Out>;
        if (std::cmp_less(value, Limits::lowest())) return Limits::lowest();
        return std::cmp_greater(value, Limits::max()) ? Limits::max() : static_cast<Out>(value);
    }
}

/// The same for `count` samples.
template <typename In, typename Out>
void convertSamples(In const* in, Out* out, long long count) noexcept {
    for (long long i = 0; i < count; ++i) out[i] = convertSample<Out>(in[i]);
}

/// Calls `function` with the number of channels, for the usual ones as a constant, so that loops
/// over the channels of a pixel unroll.
template <typename Function>
void withNumChannels(long long numChannels, Function&& function) {
    if (numChannels == 1) return function(std::integral_constant<long long, 1>{});
    if (numChannels == 3) return function(std::integral_constant<long long, 3>{});
    if (numChannels == 4) return function(std::integral_constant<long long, 4>{});
    function(numChannels);
}

/// Stores the 2 x 2 means of two rows of interleaved pixels with `numChannels` samples each:
/// `count` pixels of `dst` out of 2 * count of `upper` and of `lower`.
template <typename T>
void halveRows(T const* upper, T const* lower, T* dst, long long count, long long numChannels) {
    if constexpr (std::is_same_v<T, std::uint8_t>) {
        if (numChannels == 3) return halveRgb(upper, lower, dst, count);
    }
    withNumChannels(numChannels, [=](auto channels) {
        for (long long x = 0; x < count; ++x) {
            for (long long c = 0; c < channels; ++c) {
                long long const left = 2 * x * channels + c;
                long long const right = left + channels;
                dst[x * channels + c] =
                    meanOfFour(upper[left], upper[right], lower[left], lower[right]);
            }
        }
    });
}

/// Makes pixels of `numChannels` planar rows, `stride` samples apart.
template <typename T>
void interleaveRows(T const* rows, long long stride, T* dst, long long count,
                    long long numChannels) {
    if constexpr (std::is_same_v<T, std::uint8_t>) {
        if (numChannels == 3) return joinRgb(rows, rows + stride, rows + 2 * stride, dst, count);
    }
    withNumChannels(numChannels, [=](auto channels) {
        for (long long x = 0; x < count; ++x) {
            for (long long c = 0; c < channels; ++c) dst[x * channels + c] = rows[c * stride + x];
        }
    });
}

/// Makes planar rows, `stride` samples apart, of pixels of `numChannels` samples.
template <typename T>
void separateRow(T const* pixels, T* rows, long long stride, long long count,
                 long long numChannels) {
    if constexpr (std::is_same_v<T, std::uint8_t>) {
        if (numChannels == 3) {
            return splitRgb(pixels, rows, rows + stride, rows + 2 * stride, count);
        }
    }
    for (long long c = 0; c < numChannels; ++c) {
        for (long long x = 0; x < count; ++x) rows[c * stride + x] = pixels[x * numChannels + c];
    }
}

}  // namespace Quivo::detail
