#pragma once

// Means of 2 x 2 blocks in which not every sample counts alike: some stand for no value, and
// colours count as much as they are opaque. One block at a time, for the few where that matters;
// the loops that find out where are kernels.

#include "kernels/SampleRows.h"

#include <array>
#include <cmath>
#include <optional>

namespace Quivo::detail {

/// differsFrom tells whether a sample of channel `channel`, in two rows of `count` pixels of
/// `numChannels` samples each, has other bits than `value`.
///
/// containsValue tells whether `value` is among the samples of two rows of `count`; NaN is equal to
/// NaN.
#define QUIVO_DECLARE_SEARCHES(T)                                                               \
    QUIVO_DECLARE_VARIANTS(differsFrom,                                                         \
                           (T const* upper, T const* lower, long long channel, long long count, \
                            long long numChannels, T value, bool* result));                     \
    QUIVO_DECLARE_VARIANTS(                                                                     \
        containsValue, (T const* upper, T const* lower, long long count, T value, bool* result));

QUIVO_FOR_SAMPLE_TYPES(QUIVO_DECLARE_SEARCHES)
#undef QUIVO_DECLARE_SEARCHES

/// `value` as a sample that others may be equal to: nothing where no sample of the type can be.
/// Floats are compared as the type has them: 0.1 is found among floats too.
template <typename T>
[[nodiscard]] std::optional<T> toComparable(std::optional<double> value) noexcept {
    if (!value) return std::nullopt;
    if constexpr (isFloat<T>) {
        auto const sample = static_cast<T>(*value);
        bool const isLost = std::isinf(static_cast<double>(sample)) && !std::isinf(*value);
        return isLost ? std::nullopt : std::optional(sample);
    } else {
        auto const sample = toSample<T>(*value);
        // The ends of 64 bits are no doubles: what was clamped to them looks equal.
        constexpr double end = std::is_signed_v<T> ? 0x1p63 : 0x1p64;
        bool const isHeld = static_cast<double>(sample) == *value && *value < end;
        return isHeld ? std::optional(sample) : std::nullopt;
    }
}

/// Whether two samples are the same value; NaN is equal to NaN.
template <typename T>
[[nodiscard]] bool isSameValue(T a, T b) noexcept {
    if constexpr (isFloat<T>) {
        auto const x = static_cast<double>(a);
        auto const y = static_cast<double>(b);
        return x == y || (x != x && y != y);
    } else {
        return a == b;
    }
}

/// Samples that a mean is made of, in the order of their rows, and how much each counts: opacities,
/// of which those that are negative or not a number count as none.
template <typename T>
class WeighedBlock {
public:
    void add(T value, T weight) noexcept {
        values_[size_] = value;
        // As what the sums below are made in.
        weights_[size_++] = weight > T{} ? static_cast<Weight>(weight) : Weight{};
    }

    [[nodiscard]] bool isEmpty() const noexcept { return size_ == 0; }

    /// The mean: the plain one where all weights are equal, also if all are 0. As `meanOfFour` it
    /// is rounded half up for integers, for which it is exact, and plain for floats.
    [[nodiscard]] T getMean() const noexcept {
        if (!areEqual()) return getWeighedMean();
        if (size_ == 4) return meanOfFour(values_[0], values_[1], values_[2], values_[3]);
        if constexpr (isFloat<T>) {
            auto sum = static_cast<double>(values_[0]);
            for (std::size_t i = 1; i < size_; ++i) sum += static_cast<double>(values_[i]);
            return static_cast<T>(sum / static_cast<double>(size_));
        } else {
            Sum sum = 0;
            for (std::size_t i = 0; i < size_; ++i) sum += raise(values_[i]);
            return lower((2 * sum + size_) / (2 * size_));
        }
    }

    /// The value that counts most, in all its samples together; of several the first.
    [[nodiscard]] T getMostFrequent() const noexcept {
        bool const counts = !areEqual();
        std::size_t best = 0;
        Total most = 0;
        for (std::size_t i = 0; i < size_; ++i) {
            Total total = 0;
            for (std::size_t k = 0; k < size_; ++k) {
                if (!isSameValue(values_[k], values_[i])) continue;
                total += counts ? static_cast<Total>(weights_[k]) : Total{1};
            }
            if (!(total > most)) continue;
            most = total;
            best = i;
        }
        return values_[best];
    }

private:
    __extension__ using Widest = unsigned __int128;
    /// Integers are raised to begin at 0: what is exact and rounded half up stays so.
    using Raised = typename std::conditional_t<
        isFloat<T>, std::type_identity<double>,
        std::make_unsigned<std::conditional_t<isFloat<T>, int, T>>>::type;
    using Weight = Raised;
    /// Holds four values times their weights, but for integers of 64 bits.
    using Sum = std::conditional_t<isFloat<T>, double,
                                   std::conditional_t<(sizeof(T) <= 2), std::uint64_t, Widest>>;
    using Total = Sum;

    [[nodiscard]] static Raised raise(T value) noexcept {
        constexpr auto lowest = static_cast<Raised>(std::numeric_limits<T>::lowest());
        return static_cast<Raised>(static_cast<Raised>(value) - lowest);
    }
    [[nodiscard]] static T lower(Sum value) noexcept {
        constexpr auto lowest = static_cast<Raised>(std::numeric_limits<T>::lowest());
        return static_cast<T>(static_cast<Raised>(static_cast<Raised>(value) + lowest));
    }

    [[nodiscard]] bool areEqual() const noexcept {
        for (std::size_t i = 1; i < size_; ++i) {
            if (weights_[i] != weights_[0]) return false;
        }
        return true;
    }

    [[nodiscard]] T getWeighedMean() const noexcept {
        Sum weight = 0;
        for (std::size_t i = 0; i < size_; ++i) weight += weights_[i];
        Sum sum = 0;
        if constexpr (isFloat<T>) {
            for (std::size_t i = 0; i < size_; ++i) {
                // What counts as none leaves no trace, whatever it is.
                if (weights_[i] > 0.0) sum += static_cast<double>(values_[i]) * weights_[i];
            }
            return static_cast<T>(sum / weight);
        } else if constexpr (sizeof(T) < 8) {
            for (std::size_t i = 0; i < size_; ++i) sum += Sum{raise(values_[i])} * weights_[i];
            return lower((2 * sum + weight) / (2 * weight));
        } else {
            // Four products have more than 128 bits: their whole parts and what is left of each.
            Sum rest = 0;
            for (std::size_t i = 0; i < size_; ++i) {
                Sum const product = Sum{raise(values_[i])} * weights_[i];
                sum += product / weight;
                rest += product % weight;
            }
            return lower(sum + (2 * rest + weight) / (2 * weight));
        }
    }

    std::array<T, 4> values_;
    std::array<Weight, 4> weights_;
    std::size_t size_ = 0;
};

/// The samples of one channel in two rows, `step` samples apart.
template <typename T>
struct RowPair {
    T const* upper;
    T const* lower;
    long long step;
};

/// How the samples of a channel are averaged.
template <typename T>
struct SampleMeans {
    std::optional<T> noData;  ///< counts as none; what a block of nothing else becomes
    bool areClasses = false;  ///< then it is no mean but the value that counts most
};

/// dst[i * values.step]: the means of the blocks of `values`, weighed by `opacity` where it is not
/// null.
template <typename T>
void halveByMeans(SampleMeans<T> const& means, RowPair<T> const& values, RowPair<T> const* opacity,
                  T* dst, long long count) noexcept {
    for (long long x = 0; x < count; ++x) {
        WeighedBlock<T> block;
        auto const add = [&](T value, T weight) {
            if (!means.noData || !isSameValue(value, *means.noData)) block.add(value, weight);
        };
        long long const left = 2 * x * values.step;
        long long const right = left + values.step;
        if (opacity) {
            long long const first = 2 * x * opacity->step;
            long long const second = first + opacity->step;
            add(values.upper[left], opacity->upper[first]);
            add(values.upper[right], opacity->upper[second]);
            add(values.lower[left], opacity->lower[first]);
            add(values.lower[right], opacity->lower[second]);
        } else {
            for (T const value : {values.upper[left], values.upper[right], values.lower[left],
                                  values.lower[right]}) {
                add(value, T{});
            }
        }
        dst[x * values.step] = block.isEmpty()    ? *means.noData
                               : means.areClasses ? block.getMostFrequent()
                                                  : block.getMean();
    }
}

}  // namespace Quivo::detail
