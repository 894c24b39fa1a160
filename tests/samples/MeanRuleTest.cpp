// Means of blocks in which not every sample counts alike, against a reference that takes them one
// by one in numbers wide enough for any type.

#include "samples/MeanRule.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

namespace Quivo::Testing {

using namespace detail;

namespace {

using AllTypes = std::tuple<std::uint8_t, std::int8_t, std::uint16_t, std::int16_t, std::uint32_t,
                            std::int32_t, std::uint64_t, std::int64_t, Half, float, double>;
__extension__ using Wide = __int128;
template <typename T>
using Exact = std::conditional_t<isFloat<T>, double, Wide>;

/// The quotient, for integers rounded half up.
template <typename T>
T divide(Exact<T> sum, Exact<T> by) {
    if constexpr (isFloat<T>) {
        return static_cast<T>(sum / by);
    } else {
        Wide const above = 2 * sum + by, below = 2 * by;
        return static_cast<T>((above - (above % below + below) % below) / below);
    }
}

template <typename T>
T slowMean(std::vector<T> values, std::vector<T> alphas, MeanRule const& rule) {
    auto const toExact = [](T value) { return static_cast<Exact<T>>(value); };
    auto const isMissing = [&](T value) {
        auto const v = static_cast<double>(value);
        return rule.noData && (v == *rule.noData || (std::isnan(v) && std::isnan(*rule.noData)));
    };
    for (std::size_t i = values.size(); i-- > 0;) {
        if (!isMissing(values[i])) continue;
        values.erase(values.begin() + static_cast<std::ptrdiff_t>(i));
        alphas.erase(alphas.begin() + static_cast<std::ptrdiff_t>(i));
    }
    if (values.empty()) return static_cast<T>(*rule.noData);
    Exact<T> total = 0;
    bool areEqual = true;
    for (T& alpha : alphas) {
        if (!(alpha > T{})) alpha = T{};
        total += toExact(alpha);
        areEqual = areEqual && toExact(alpha) == toExact(alphas[0]);
    }
    std::vector<Exact<T>> weights;
    for (T alpha : alphas) weights.push_back(areEqual ? Exact<T>{1} : toExact(alpha));
    if (areEqual) total = static_cast<Exact<T>>(values.size());
    if (rule.areClasses) {
        std::size_t best = 0;
        Exact<T> most = 0;
        for (std::size_t i = 0; i < values.size(); ++i) {
            Exact<T> votes = 0;
            for (std::size_t k = 0; k < values.size(); ++k) {
                if (toExact(values[k]) == toExact(values[i])) votes += weights[k];
            }
            if (votes > most) best = i;
            most = std::max(most, votes);
        }
        return values[best];
    }
    Exact<T> sum = 0;
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (weights[i] > 0) sum += toExact(values[i]) * weights[i];
    }
    return divide<T>(sum, total);
}

}  // namespace

TEST(MeanRule, AgreesWithMeansOfBlocksTakenOneByOne) {
    struct Case {
        MeanRule rule;
        std::string why;
    };
    std::vector<Case> const cases{
        {{{}, -1, {0, 1, 2}, false}, "nothing set"},
        {{7.0, -1, {0, 1, 2}, false}, "no data"},
        {{0.0, -1, {0}, false}, "no data in a single channel"},
        {{}, "no data that no integer can be"},
        {{{}, 1, {0}, false}, "grey with opacity: two samples as one word"},
        {{{}, 3, {0, 1, 2}, false}, "opacity behind colours: four samples as one word"},
        {{{}, 0, {1, 2}, false}, "opacity in front"},
        {{7.0, 3, {0, 1, 2, 4}, false}, "both, with a channel behind"},
        {{{}, 1, {0, 2}, false}, "a second opacity is no colour"},
        {{{}, -1, {0}, true}, "classes"},
        {{7.0, 1, {0}, true}, "classes with no data and opacity"},
    };
    std::mt19937_64 random(3);
    auto const test = [&](auto sample, Case const& tested) {
        using T = decltype(sample);
        MeanRule rule = tested.rule;
        long long numChannels = std::max<long long>(std::ssize(rule.colours), 1);
        if (rule.alphaChannel >= 0) numChannels = rule.noData ? 5 : rule.alphaChannel + 1;
        if (rule.alphaChannel == 0 || tested.why.starts_with("a second")) numChannels = 4;
        if (rule.colours.empty()) rule = {isFloat<T> ? NAN : 0.5, -1, {0}, false};
        if (rule.noData && isFloat<T> && !std::isnan(*rule.noData)) *rule.noData = 0.5;
        long long const count = 700;
        std::vector<T> in(static_cast<std::size_t>(4 * count * numChannels));
        long long const lower = 2 * count * numChannels;
        for (long long i = 0; i < std::ssize(in); ++i) {
            // Stretches where everything counts, and others; in integers, what 128 bits can sum.
            long long const x = i % lower / numChannels;
            bool const isMixed = x / 600 % 2 != 0;
            T value;
            if constexpr (isFloat<T>) {
                auto const choice = random() % 8;
                value = static_cast<T>(static_cast<double>(random() % 1000) / 256);
                if (isMixed && choice == 0) value = static_cast<T>(rule.noData.value_or(0.5));
                if (isMixed && choice == 1) value = static_cast<T>(0.0);
            } else {
                value = static_cast<T>(random());
                if constexpr (sizeof(T) == 8) value /= 64;
                if (random() % 4 == 0 || rule.areClasses) value = static_cast<T>(random() % 3 + 6);
            }
            if (i % numChannels == rule.alphaChannel) {
                bool const isFull = !isMixed || random() % 2 == 0;
                T const full = isFloat<T> ? static_cast<T>(1.0) : std::numeric_limits<T>::max();
                value = isFull ? full : random() % 3 == 0 ? T{} : value;
            }
            in[static_cast<std::size_t>(i)] = value;
        }
        auto const block = [&](long long x, long long channel) {
            std::vector<T> result;
            for (long long row : {0LL, lower}) {
                for (long long p : {2 * x, 2 * x + 1}) {
                    result.push_back(in[static_cast<std::size_t>(row + p * numChannels + channel)]);
                }
            }
            return result;
        };
        RowHalver<T> const halver(rule);
        std::vector<T> pixels(static_cast<std::size_t>(count * numChannels));
        halver.halvePixels(in.data(), in.data() + lower, pixels.data(), count, numChannels);
        std::vector<T> planes(in.size());
        separateRow(in.data(), planes.data(), 4 * count, 4 * count, numChannels);
        for (long long c = 0; c < numChannels; ++c) {
            T const* const plane = planes.data() + c * 4 * count;
            T const* const alpha = planes.data() + std::max(rule.alphaChannel, 0LL) * 4 * count;
            std::vector<T> means(static_cast<std::size_t>(count));
            halver.halvePlane(c, plane, plane + 2 * count, {alpha, alpha + 2 * count, 1},
                              means.data(), count);
            for (long long x = 0; x < count; ++x) {
                bool const isWeighed = rule.isWeighed(c);
                auto const values = block(x, c);
                T const expected =
                    slowMean(values, isWeighed ? block(x, rule.alphaChannel) : std::vector<T>(4),
                             rule.isColour(c) ? rule : MeanRule());
                T const& interleaved = pixels[static_cast<std::size_t>(x * numChannels + c)];
                T const& planar = means[static_cast<std::size_t>(x)];
                ASSERT_TRUE(isSameValue(interleaved, expected))
                    << +interleaved << " for " << +expected << " in " << c << ", " << x;
                ASSERT_EQ(std::memcmp(&interleaved, &planar, sizeof(T)), 0) << c << ", " << x;
            }
        }
    };
    for (Case const& tested : cases) {
        std::apply(
            [&](auto... samples) {
                auto const testNamed = [&](auto sample) {
                    SCOPED_TRACE(tested.why + ", " + std::to_string(sizeof(sample)) +
                                 (isFloat<decltype(sample)> ? " bytes of a float" : " bytes"));
                    test(sample, tested);
                };
                (testNamed(samples), ...);
            },
            AllTypes());
    }
}

TEST(MeanRule, SumsTheLargestValuesAndComparesAsTheTypeDoes) {
    auto const mean = [](auto value, auto weight, auto other, auto otherWeight) {
        WeighedBlock<decltype(value)> block;
        block.add(value, weight);
        block.add(value, weight);
        block.add(other, otherWeight);
        block.add(other, otherWeight);
        return block.getMean();
    };
    constexpr auto most = std::numeric_limits<std::uint64_t>::max();
    EXPECT_EQ(mean(most, most, most, most - 1), most);
    EXPECT_EQ(mean(most, most, most - 1, most - 1), most) << "just over the half";
    EXPECT_EQ(mean(most, most - 1, most - 1, most), most - 1) << "just under it";
    constexpr auto high = std::numeric_limits<std::int64_t>::max();
    constexpr auto low = std::numeric_limits<std::int64_t>::min();
    EXPECT_EQ(mean(low, high, high, high - 1), -1);
    EXPECT_EQ(mean(low, low, high, std::int64_t{1}), high) << "negative opacity is none";
    EXPECT_EQ(toComparable<std::uint64_t>(0x1p64), std::nullopt) << "clamped it would be";
    EXPECT_EQ(toComparable<std::uint8_t>(-9999.0), std::nullopt);
    EXPECT_EQ(toComparable<std::uint8_t>(NAN), std::nullopt);
    EXPECT_EQ(toComparable<float>(0.1), 0.1f);
    EXPECT_EQ(toComparable<float>(-3.40282346638529e+38), std::numeric_limits<float>::lowest());
    EXPECT_EQ(toComparable<float>(1e300), std::nullopt);
}

}  // namespace Quivo::Testing
