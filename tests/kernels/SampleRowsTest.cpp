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
        std::vector<double> result{NAN,   HUGE_VAL, 1e300, 1e-300,   3.4e38,  3.5e38,
                                   65504, 65519,    65520, 0x1p-149, 0x1p-25, 0.1};
        for (int bits : {0, 1, 7, 8, 11, 15, 16, 23, 24, 31, 32, 52, 53, 62, 63, 64}) {
            for (double offset : {-1.5, -1.0, -0.5, 0.0, 0.5, 1.0, 1.5}) {
                double const value = std::ldexp(1.0, bits) + offset;
                result.insert(result.end(), {value, std::nextafter(value, HUGE_VAL),
                                             std::nextafter(value, -HUGE_VAL)});
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

template <typename To, typename From>
To slowSample(From value) {
    auto const number = static_cast<double>(value);
    if constexpr (std::is_same_v<To, From>) {
        return value;
    } else if constexpr (isFloat<To>) {
        double const largest = sizeof(To) == 2   ? 65504.0
                               : sizeof(To) == 4 ? double{std::numeric_limits<float>::max()}
                                                 : HUGE_VAL;
        bool const isOut = std::abs(number) > largest && !std::isinf(number);
        return static_cast<To>(isOut ? std::copysign(largest, number) : number);
    } else {  // long double has all integers of 64 bits; doubles from 2^52 on are whole
        auto exact = static_cast<long double>(number);
        if constexpr (!isFloat<From>) exact = static_cast<long double>(value);
        if (isFloat<From> && std::abs(number) < 0x1p52) exact = std::floor(number + 0.5);
        using Limits = std::numeric_limits<To>;
        if (std::isnan(number)) return 0;
        if (exact >= static_cast<long double>(Limits::max())) return Limits::max();
        return exact <= Limits::lowest() ? Limits::lowest() : static_cast<To>(exact);
    }
}

template <typename T>
T slowMean(T a, T b, T c, T d) {
    if constexpr (isFloat<T>) {
        return static_cast<T>((double{a} + double{b} + double{c} + double{d}) / 4);
    } else {
        Wide const sum = Wide{a} + b + c + d + 2;
        return static_cast<T>((sum - (sum % 4 + 4) % 4) / 4);
    }
}

}  // namespace

TEST(Half, IsTheNearestToADoubleAndTheEvenOneOfTwo) {
    for (unsigned pattern = 0; pattern < 65536; ++pattern) {
        Half half;
        auto const bits = half.bits = static_cast<std::uint16_t>(pattern);
        double const exact = exactValue(bits), value = double{static_cast<float>(half)};
        if (std::isnan(exact)) {
            ASSERT_TRUE(std::isnan(value) && std::isnan(static_cast<float>(Half(value)))) << bits;
            continue;
        }
        ASSERT_TRUE(value == exact && std::signbit(value) == std::signbit(exact)) << bits;
        ASSERT_EQ(Half(exact).bits, bits);
        if (std::isinf(exact)) continue;
        auto const next = static_cast<std::uint16_t>(bits + 1);  // away from 0, up to infinity
        double const far =
            (next & 0x7fff) == 0x7c00 ? std::copysign(0x1p16, exact) : exactValue(next);
        double const middle = (exact + far) / 2;
        ASSERT_EQ(Half(middle).bits, bits % 2 == 0 ? bits : next);
        ASSERT_EQ(Half(std::nextafter(middle, exact)).bits, bits);
        ASSERT_EQ(Half(std::nextafter(middle, far)).bits, next);
        ASSERT_EQ(Half(std::nextafter(far, exact)).bits, next);
    }
}

TEST(SampleRows, ConvertEveryTypeToEveryOther) {
    forAllTypes([](auto sample) {
        using From = decltype(sample);
        auto const samples = hardSamples<From>();
        forAllTypes([&](auto other) {
            using To = decltype(other);
            auto const what = std::to_string(sizeof(From)) + " to " + std::to_string(sizeof(To));
            for (std::size_t count :
                 {samples.size(), std::size_t{0}, std::size_t{1}, std::size_t{37}}) {
                std::vector<To> expected, single;
                for (std::size_t i = 0; i < count; ++i) {
                    expected.push_back(slowSample<To>(samples[i]));
                    single.push_back(convertSample<To>(samples[i]));
                }
                expectSameBits(single, expected, what);
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
                        slowMean(at(left), at(right), at(lower + left), at(lower + right)));
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
