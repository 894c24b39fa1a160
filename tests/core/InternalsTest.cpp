// What the shared library does not show.

#include "core/PositionIterator.h"
#include "core/Storage.h"
#include "kernels/AreaMean.h"
#include "kernels/Copy.h"
#include "kernels/Mean.h"
#include "kernels/Scale.h"
#include "support/Voxels.h"

#include <cstring>
#include <limits>

namespace Quivo::Testing {

TEST(PositionIterator, VisitsTheClippedBoxInMemoryOrder) {
    Vector const extent(5, 4, 3);
    RandomBoxes boxes(Box(Vector(-2), Vector(6)));
    for (int i = 0; i < 200; ++i) {
        Box const region = boxes.next();
        PositionIterator walk(extent, region);
        pixelByPixel(1, Box(extent).intersected(region), [&](long long, Vector const& p) {
            EXPECT_TRUE(walk.next());
            EXPECT_EQ(walk.getPosition(), p);
            EXPECT_EQ(walk.getIndex(), p.x + 5 * p.y + 20 * p.z);
            return 0;
        });
        EXPECT_FALSE(walk.next()) << ::testing::PrintToString(region);

        PositionIterator rows(extent, region);
        Box starts = Box(extent).intersected(region);
        if (!starts.isEmpty()) starts.max.x = starts.min.x;
        bool const entersRows = i % 2 == 0;  // a row that was begun is left all the same
        pixelByPixel(1, starts, [&](long long, Vector const& p) {
            EXPECT_TRUE(rows.nextRow());
            EXPECT_EQ(rows.getPosition(), p);
            EXPECT_EQ(rows.getIndex(), p.x + 5 * p.y + 20 * p.z);
            if (entersRows && Box(extent).intersected(region).getExtent().x > 1) (void)rows.next();
            return 0;
        });
        EXPECT_FALSE(rows.nextRow()) << ::testing::PrintToString(region);
    }
}

TEST(Scratch, HoldsWhatIsAskedForAndRefusesWhatNobodyHas) {
    for (std::size_t count : {0U, 1U, 4U << 20, (4U << 20) + 1, 5U << 20}) {  // kept up to 32 MiB
        auto const scratch = detail::allocateScratch(count);
        std::fill_n(scratch.get(), count, 7.0);
    }
    for (unsigned const shift : {60U, 61U, 63U})
        EXPECT_THROW((void)detail::allocateScratch((std::size_t{1} << shift) - 1), std::bad_alloc);
}

TEST(BlockMean, SumsEveryBlockRowByRowAlsoInPlace) {
    // Values of such different size that any other order of additions shows.
    auto const wild = [](long long c, Vector const& p) {
        return noiseAt(c, p) > 0.5 ? noiseAt(c, p) * 1e17 : noiseAt(c, p);
    };
    for (Vector const extent :
         {Vector(9, 7, 2), Vector(8, 8, 1), Vector(3, 20, 1), Vector(1, 5, 3)}) {
        for (long long i = 0; i < 12; ++i) {
            long long const numHalvings = i % 4, numChannels = i / 4, edge = 1LL << numHalvings;
            auto const mean = [&](long long c, Vector const& p) {
                double sum = 0.0;
                for (long long y = p.y * edge; y < (p.y + 1) * edge; ++y)
                    for (long long x = p.x * edge; x < (p.x + 1) * edge; ++x)
                        sum += wild(c, {x, y, p.z});
                return sum / static_cast<double>(edge * edge);
            };
            Values const source = pixelByPixel(numChannels, Box(extent), wild);
            Values const expected = pixelByPixel(numChannels, extent / Vector(edge, edge, 1), mean);
            GuardedBlock src(source), dst(std::ssize(expected));
            for (double* out : {dst.data(), src.data()}) {
                downsampleBufferFullLevel<double, double>(src.data(), out, extent, numChannels,
                                                          numHalvings);
                EXPECT_EQ(Values(out, out + expected.size()), expected) << (out == src.data());
            }
            (void)src.take(), (void)dst.take();
        }
    }
}

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

#if QUIVO_CPU_VARIANTS && defined(__x86_64__)
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
