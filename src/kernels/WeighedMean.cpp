#include "kernels/WeighedMean.h"

#include <bit>

namespace Quivo::detail {

namespace {

template <std::size_t bytes>
using Bits = std::conditional_t<
    bytes == 1, std::uint8_t,
    std::conditional_t<bytes == 2, std::uint16_t,
                       std::conditional_t<bytes == 4, std::uint32_t, std::uint64_t>>>;

/// Whole pixels compared as one number each, of which `channel` is a part: rows without gaps.
template <typename Word, typename T>
QUIVO_KERNEL_BODY findOther(T const* upper, T const* lower, long long channel, long long count,
                            T value, bool* result) {
    constexpr std::size_t numSamples = sizeof(Word) / sizeof(T);
    T samples[numSamples] = {};
    Bits<sizeof(T)> masks[numSamples] = {};
    samples[channel] = value;
    masks[channel] = static_cast<Bits<sizeof(T)>>(~Bits<sizeof(T)>{});
    auto const wanted = std::bit_cast<Word>(samples);
    auto const mask = std::bit_cast<Word>(masks);
    Word different = 0;
    for (long long i = 0; i < count; ++i) {
        Word above, below;
        std::memcpy(&above, upper + i * static_cast<long long>(numSamples), sizeof above);
        std::memcpy(&below, lower + i * static_cast<long long>(numSamples), sizeof below);
        different = static_cast<Word>(different | (above ^ wanted) | (below ^ wanted));
    }
    *result = (different & mask) != 0;
}

template <typename T>
QUIVO_KERNEL_BODY differsFromBody(T const* upper, T const* lower, long long channel,
                                  long long count, long long numChannels, T value, bool* result) {
    using Word = Bits<sizeof(T)>;
    if (numChannels == 1) return findOther<Word>(upper, lower, 0, count, value, result);
    if constexpr (sizeof(T) <= 4) {
        using Pair = Bits<2 * sizeof(T)>;
        if (numChannels == 2) return findOther<Pair>(upper, lower, channel, count, value, result);
    }
    if constexpr (sizeof(T) <= 2) {
        using Four = Bits<4 * sizeof(T)>;
        if (numChannels == 4) return findOther<Four>(upper, lower, channel, count, value, result);
    }
    auto const wanted = std::bit_cast<Word>(value);
    Word different = 0;
    for (long long i = channel; i < count * numChannels; i += numChannels) {
        different = static_cast<Word>(different | (std::bit_cast<Word>(upper[i]) ^ wanted) |
                                      (std::bit_cast<Word>(lower[i]) ^ wanted));
    }
    *result = different != 0;
}

template <typename T>
QUIVO_KERNEL_BODY containsValueBody(T const* upper, T const* lower, long long count, T value,
                                    bool* result) {
    using Flag = Bits<sizeof(T)>;
    Flag found = 0;
    if (isFloat<T> && value != value) {
        for (long long i = 0; i < count; ++i) {
            auto const above = static_cast<Flag>(upper[i] != upper[i]);
            auto const below = static_cast<Flag>(lower[i] != lower[i]);
            found = static_cast<Flag>(found | above | below);
        }
    } else {
        for (long long i = 0; i < count; ++i) {
            auto const above = static_cast<Flag>(upper[i] == value);
            auto const below = static_cast<Flag>(lower[i] == value);
            found = static_cast<Flag>(found | above | below);
        }
    }
    *result = found != 0;
}

}  // namespace

#define QUIVO_DEFINE_SEARCHES(T)                                                                 \
    QUIVO_DEFINE_VARIANTS(differsFrom,                                                           \
                          (T const* upper, T const* lower, long long channel, long long count,   \
                           long long numChannels, T value, bool* result),                        \
                          (upper, lower, channel, count, numChannels, value, result))            \
    QUIVO_DEFINE_VARIANTS(                                                                       \
        containsValue, (T const* upper, T const* lower, long long count, T value, bool* result), \
        (upper, lower, count, value, result))

QUIVO_FOR_SAMPLE_TYPES(QUIVO_DEFINE_SEARCHES)

}  // namespace Quivo::detail
