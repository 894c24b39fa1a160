// Every kernel by the names of its variants, bit for bit, and what it must not touch. Rows of
// samples have their own file.

#include "filters/AreaMean.h"
#include "kernels/Copy.h"
#include "kernels/Mean.h"
#include "kernels/Scale.h"
#include "kernels/WeightedSum.h"
#include "support/Voxels.h"

#include <cstring>
#include <limits>
#include <string_view>

namespace Quivo::Testing {

TEST(CopyRows, TouchesTheRowsAlone) {
    Values const source = pixelByPixel(1, Box(Vector(40, 9, 1)), noiseAt);
    std::vector<unsigned char> const bytes(source.size(), 7);
    // Widths around a pair, a vector and a run; strides that leave gaps and none.
    for (auto const& [width, srcStride, dstStride] :
         {std::tuple(0, 40, 40), {1, 40, 3}, {16, 40, 17}, {33, 35, 38}, {40, 40, 40}}) {
        for (long long start : {0, 1}) {  // streaming stores go to even places
            Values expected(400, -1.0), expectedBytes = expected;
            for (long long y = 0; y < 9; ++y) {
                double* const out = expected.data() + start + y * dstStride;
                std::copy_n(source.data() + y * srcStride, width, out);
                std::fill_n(expectedBytes.data() + start + y * dstStride, width, 7.0);
            }
            Values copied(400, -1.0), streamed = copied, converted = copied;
            detail::copyRows(source.data(), srcStride, copied.data() + start, dstStride, width, 9);
            detail::streamRows(source.data(), srcStride, streamed.data() + start, dstStride, width,
                               9);
            detail::copyRows(bytes.data(), srcStride, converted.data() + start, dstStride, width,
                             9);
            EXPECT_EQ(copied, expected) << width;
            EXPECT_EQ(streamed, expected) << width;
            EXPECT_EQ(converted, expectedBytes) << width;
        }
    }
}

#if QUIVO_HAS_AVX2_VARIANTS
TEST(CpuVariants, AreTakenAsTheBuildSays) {
    std::string_view const forced = QUIVO_FORCED_VARIANT;
    bool const isBest = __builtin_cpu_supports("avx2") != 0;
    EXPECT_EQ(detail::takesAvx2(), forced.empty() ? isBest : forced == "avx2");
}

TEST(CpuVariants, GiveTheBitsOfThePlainLoops) {
    if (!__builtin_cpu_supports("avx2")) GTEST_SKIP() << "this CPU has none";
    using namespace detail;
    constexpr long long room = 20000;
    Values in = pixelByPixel(1, Box(Vector(room, 1, 1)), [](long long c, Vector const& p) {
        // Sizes that show any other order of additions, and what is no number.
        if (p.x % 97 == 5) return std::numeric_limits<double>::infinity();
        return noiseAt(c, p) > 0.5 ? noiseAt(c, p) * 1e17 : noiseAt(c, p) - 0.2;
    });
    std::vector<unsigned char> bytes;
    for (long long i = 0; i < room; ++i) {
        bytes.push_back(static_cast<unsigned char>(127.5 * (noiseAt(1, Vector(i, 0, 0)) + 1.0)));
    }
    auto const weights = AreaWeights::ofPixels(3, 1500, 0.3);
    std::vector<long long> sources;
    for (long long i = 0; i < weights.getSize(); ++i) sources.push_back(weights.getSource(i));
    double const *const w = weights.getWeights(0), *const values = in.data();
    long long const each = weights.getNumWeights();

    for (long long count : {0, 1, 2, 3, 5, 8, 31, 64, 255, 1030, 1400}) {  // ends of all loops
        auto const expectSame = [count](char const* name, auto plain, auto variant) {
            Values a(room, 1.5), b = a;
            plain(a.data()), variant(b.data());
            EXPECT_EQ(std::memcmp(a.data(), b.data(), room * sizeof(double)), 0) << name << count;
        };
#define EXPECT_VARIANT(name, ...)                                             \
    expectSame(                                                               \
        #name " ", [&](double* out) { (void)out, name##Plain(__VA_ARGS__); }, \
        [&](double* out) { (void)out, name##Avx2(__VA_ARGS__); })
        EXPECT_VARIANT(scaleValues, (std::copy_n(values, count, out), out), count, 0.37, 1.6);
        EXPECT_VARIANT(scaleAndRoundValues, (std::copy_n(values, count, out), out), count, 3.7, .1);
        EXPECT_VARIANT(halveRowsRounded, values, room / 2 - 1, out, count);
        EXPECT_VARIANT(halveRowsRounded, bytes.data(), room / 2 - 1,
                       reinterpret_cast<unsigned char*>(out), count);
        for (long long edge : {2, 4, 8, 16})
            EXPECT_VARIANT(averageBlocks, values, 1000, out, count % 60, edge);
        EXPECT_VARIANT(copyRows, bytes.data(), 1500, out, 1450, count, 9);
        for (long long rows : {0, 1, 2, 3, 7})
            EXPECT_VARIANT(combineRows, values + 5, 1500, w, rows, out, count);
        EXPECT_VARIANT(combineColumns, values, sources.data(), w, each, out, count, values, values);
#undef EXPECT_VARIANT
    }
}
#endif

}  // namespace Quivo::Testing
