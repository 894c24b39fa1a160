// Single samples against slow references, and rows of them against single samples: whichever
// variant and whatever type, the bits are the same.

#include "kernels/SampleRows.h"

#include <gtest/gtest.h>

#include <array>
#include <random>
#include <tuple>
#include <vector>

namespace Quivo::Testing {

using namespace detail;

namespace {

using AllTypes = std::tuple<std::uint8_t, std::int8_t, std::uint16_t, std::int16_t, std::uint32_t,
                            std::int32_t, std::uint64_t, std::int64_t, Half, float, double>;
__extension__ using Wide = __int128;

/// Calls `test` with a value of every sample type.
template <typename Test>
void forAllTypes(Test test) {
    std::apply([&](auto... samples) { (test(samples), ...); }, AllTypes());
}

/// What is hard for some type: the ends of all, one and a half beside them, no numbers, and much in
/// between.
std::vector<double> const& hardDoubles() {
    static std::vector<double> const values = [] {
        constexpr auto infinity = std::numeric_limits<double>::infinity();
        std::vector<double> result{std::numeric_limits<double>::quiet_NaN(),
                                   infinity,
                                   1e300,
                                   1e-300,
                                   3.4e38,
                                   3.5e38,
                                   65504,
                                   65519,
                                   65520,
                                   0x1p-149,
                                   0x1p-25,
                                   0.1};
        for (int bits : {0, 1, 7, 8, 11, 15, 16, 23, 24, 31, 32, 52, 53, 62, 63, 64}) {
            for (double offset : {-1.5, -1.0, -0.5, 0.0, 0.5, 1.0, 1.5}) {
                double const value = std::ldexp(1.0, bits) + offset;
                result.insert(result.end(), {value, std::nextafter(value, infinity),
                                             std::nextafter(value, -infinity)});
            }
        }
        std::mt19937_64 random(5);
        for (int i = 0; i < 900; ++i) {
            auto const mantissa = static_cast<double>(random() % 100000) / 100000;
            result.push_back(std::ldexp(mantissa, static_cast<int>(random() % 80) - 8));
        }
        for (std::size_t i = result.size(); i > 0; --i) result.push_back(-result[i - 1]);
        return result;
    }();
    return values;
}

/// Samples of every size, among them all ends.
template <typename T>
std::vector<T> hardSamples() {
    std::vector<T> result;
    for (double value : hardDoubles()) result.push_back(toSample<T>(value));
    if constexpr (!isFloat<T>) {
        std::mt19937_64 random(7);  // also those that are no doubles
        for (int i = 0; i < 900; ++i) result.push_back(static_cast<T>(random() >> random() % 64));
    }
    return result;
}

template <typename T>
void expectSameBits(std::vector<T> const& actual, std::vector<T> const& expected,
                    std::string const& what) {
    ASSERT_EQ(actual.size(), expected.size()) << what;
    for (std::size_t i = 0; i < actual.size(); ++i) {
        ASSERT_EQ(std::memcmp(&actual[i], &expected[i], sizeof(T)), 0)
            << what << " at " << i << ": " << +actual[i] << " for " << +expected[i];
    }
}

/// Runs `call(variant, out)` for each variant by number, 0 being the one that is taken, and
/// compares `expected`, and what stands behind it.
template <typename T, typename Call>
void expectOfAllVariants(std::vector<T> const& expected, std::string const& what, Call call) {
    int const numVariants = !QUIVO_HAS_AVX2_VARIANTS ? 2 : __builtin_cpu_supports("avx2") ? 3 : 2;
    std::vector<T> wanted = expected;
    wanted.resize(expected.size() + 40, toSample<T>(77));  // stays as it is
    for (int variant = 0; variant < numVariants; ++variant) {
        std::vector<T> out(wanted.size(), toSample<T>(77));
        call(variant, out.data());
        expectSameBits(out, wanted, what + ", variant " + std::to_string(variant));
    }
}

#if QUIVO_HAS_AVX2_VARIANTS
#define CALL_VARIANT(variant, name, ...)       \
    (variant == 0   ? name(__VA_ARGS__)        \
     : variant == 1 ? name##Plain(__VA_ARGS__) \
                    : name##Avx2(__VA_ARGS__))
#else
#define CALL_VARIANT(variant, name, ...) \
    (variant == 0 ? name(__VA_ARGS__) : name##Plain(__VA_ARGS__))
#endif

double exactValue(std::uint16_t bits) {
    int const exponent = bits >> 10 & 31, fraction = bits & 1023;
    double const size = exponent == 31  ? (fraction == 0 ? HUGE_VAL : std::nan(""))
                        : exponent == 0 ? std::ldexp(fraction, -24)
                                        : std::ldexp(1024 + fraction, exponent - 25);
    return (bits & 0x8000) != 0 ? -size : size;
}

}  // namespace

TEST(Half, IsEveryOneOfItsValues) {
    for (unsigned pattern = 0; pattern < 65536; ++pattern) {
        auto const bits = static_cast<std::uint16_t>(pattern);
        Half half;
        half.bits = bits;
        float const value = half;
        double const exact = exactValue(bits);
        if (std::isnan(exact)) {
            ASSERT_TRUE(std::isnan(value)) << pattern;
            ASSERT_TRUE(std::isnan(static_cast<float>(Half(static_cast<double>(value)))))
                << pattern;
        } else {
            ASSERT_EQ(double{value}, exact) << pattern;
            ASSERT_EQ(std::signbit(value), std::signbit(exact)) << pattern;
            ASSERT_EQ(Half(exact).bits, bits) << pattern;
        }
    }
}

TEST(Half, IsTheNearestToADoubleAndTheEvenOneOfTwo) {
    for (std::uint16_t lower = 0; lower < 0x7c00; ++lower) {  // what follows the last is infinite
        auto const upper = static_cast<std::uint16_t>(lower + 1);
        double const low = exactValue(lower), high = upper == 0x7c00 ? 0x1p16 : exactValue(upper);
        double const middle = (low + high) / 2;
        for (int sign : {0, 0x8000}) {
            double const unit = sign != 0 ? -1.0 : 1.0;
            auto const bitsOf = [&](double value) { return Half(unit * value).bits; };
            ASSERT_EQ(bitsOf(middle), sign | (lower % 2 == 0 ? lower : upper)) << lower;
            ASSERT_EQ(bitsOf(std::nextafter(middle, low)), sign | lower) << lower;
            ASSERT_EQ(bitsOf(std::nextafter(middle, high)), sign | upper) << lower;
            ASSERT_EQ(bitsOf(std::nextafter(high, low)), sign | upper) << lower;
        }
    }
}

TEST(Sample, OfADoubleIsRoundedHalfUpAndClamped) {
    forAllTypes([](auto sample) {
        using T = decltype(sample);
        for (double value : hardDoubles()) {
            T const actual = toSample<T>(value);
            SCOPED_TRACE(value);
            if constexpr (isFloat<T>) {
                auto const largest = static_cast<double>(
                    sizeof(T) == 2 ? 65504.0F : std::numeric_limits<float>::max());
                bool const isOut = sizeof(T) < 8 && std::abs(value) > largest && !std::isinf(value);
                auto const clamped = isOut ? std::copysign(largest, value) : value;
                T const expected = static_cast<T>(clamped);
                EXPECT_EQ(std::memcmp(&actual, &expected, sizeof(T)), 0) << +actual;
            } else {
                // long double has all integers of 64 bits; doubles from 2^52 on are whole.
                long double number = std::abs(value) < 0x1p52 ? std::floor(value + 0.5) : value;
                if (std::isnan(value)) number = 0;
                using Limits = std::numeric_limits<T>;
                T const expected =
                    number <= static_cast<long double>(Limits::lowest()) ? Limits::lowest()
                    : number >= static_cast<long double>(Limits::max())  ? Limits::max()
                                                                         : static_cast<T>(number);
                EXPECT_EQ(actual, expected) << +actual;
            }
        }
    });
}

TEST(Sample, MeansAndConversionsOfIntegersAreExact) {
    forAllTypes([](auto sample) {
        using From = decltype(sample);
        if constexpr (!isFloat<From>) {
            auto const samples = hardSamples<From>();
            for (std::size_t i = 3; i < samples.size(); ++i) {
                Wide sum = 2;
                for (std::size_t j = 0; j < 4; ++j) sum += samples[i - j];
                Wide const floored = (sum - (sum % 4 + 4) % 4) / 4;
                EXPECT_TRUE(Wide{meanOfFour(samples[i], samples[i - 1], samples[i - 2],
                                            samples[i - 3])} == floored)
                    << i;
            }
            forAllTypes([&](auto other) {
                using To = decltype(other);
                if constexpr (!isFloat<To>) {
                    using Limits = std::numeric_limits<To>;
                    for (From value : samples) {
                        Wide const clamped =
                            std::clamp(Wide{value}, Wide{Limits::lowest()}, Wide{Limits::max()});
                        EXPECT_TRUE(Wide{convertSample<To>(value)} == clamped) << +value;
                    }
                }
            });
        }
    });
}

TEST(SampleRows, ConvertEveryTypeToEveryOther) {
    forAllTypes([](auto sample) {
        using From = decltype(sample);
        auto const samples = hardSamples<From>();
        forAllTypes([&](auto other) {
            using To = decltype(other);
            for (std::size_t count :
                 {samples.size(), std::size_t{0}, std::size_t{1}, std::size_t{37}}) {
                std::vector<To> expected;
                for (std::size_t i = 0; i < count; ++i)
                    expected.push_back(convertSample<To>(samples[i]));
                auto const what =
                    std::to_string(sizeof(From)) + " to " + std::to_string(sizeof(To));
                auto const size = static_cast<long long>(count);
                expectOfAllVariants(expected, what, [&](int variant, To* out) {
                    if constexpr (!std::is_same_v<From, To> &&
                                  (std::is_same_v<From, double> || std::is_same_v<To, double> ||
                                   (!isFloat<From> && !isFloat<To>))) {
                        CALL_VARIANT(variant, convertDirectly, samples.data(), out, size);
                        if (variant != 0) return;
                    }
                    convertRow(samples.data(), out, size);
                });
            }
        });
    });
}

TEST(SampleRows, AreHalvedSeparatedAndInterleavedInEveryType) {
    forAllTypes([](auto sample) {
        using T = decltype(sample);
        auto const hard = hardSamples<T>();
        std::vector<T> in;
        for (std::size_t i = 0; i < 7000; ++i) in.push_back(hard[i % hard.size()]);
        auto const at = [&](long long i) { return in[static_cast<std::size_t>(i)]; };
        for (long long const channels : {1, 2, 3, 4, 5}) {
            for (long long const count : {0, 1, 7, 33, 300}) {  // ends of all loops and parts
                auto const what = std::to_string(sizeof(T)) + " bytes, " +
                                  std::to_string(channels) + " x " + std::to_string(count) + ", ";
                long long const lower = 3001, stride = count + 3;
                std::vector<T> means, pixels, rows;
                for (long long i = 0; i < count * channels; ++i) {
                    long long const x = i / channels, c = i % channels;
                    long long const left = 2 * x * channels + c, right = left + channels;
                    means.push_back(
                        meanOfFour(at(left), at(right), at(lower + left), at(lower + right)));
                    pixels.push_back(at(c * stride + x));
                }
                for (long long i = 0; i < channels * stride - (stride - count); ++i) {
                    bool const isGap = i % stride >= count;
                    rows.push_back(isGap ? toSample<T>(77)
                                         : at(i % stride * channels + i / stride));
                }
                expectOfAllVariants(means, what + "halved", [&](int variant, T* out) {
                    CALL_VARIANT(variant, halveRows, in.data(), in.data() + lower, out, count,
                                 channels);
                });
                expectOfAllVariants(pixels, what + "interleaved", [&](int variant, T* out) {
                    CALL_VARIANT(variant, interleaveRows, in.data(), stride, out, count, channels);
                });
                expectOfAllVariants(rows, what + "separated", [&](int variant, T* out) {
                    CALL_VARIANT(variant, separateRow, in.data(), out, stride, count, channels);
                });
            }
        }
    });
}

}  // namespace Quivo::Testing
