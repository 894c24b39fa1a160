#include <quivo/core/Buffer.h>
#include <quivo/core/Levels.h>
#include <quivo/core/Resolution.h>
#include <quivo/image/ImagePyramid.h>

#include "support/Probe.h"

#include <climits>
#include <limits>
#include <numeric>

namespace Quivo::Testing {

// What would lose a fraction or make an empty box does not compile; all else does.
template <typename A, typename B>
concept Multiply = requires(A a, B b) {
    a* b;
};
template <typename A, typename B>
concept Divide = requires(A a, B b) {
    a / b;
};
static_assert(!Multiply<Vector, double> && !Multiply<double, Vector> && !Multiply<float, Vector>);
static_assert(!Divide<Vector, double> && Divide<Vector, long long> && Divide<Vector, Vector>);
static_assert(Multiply<Vector, long long> && Multiply<long long, Vector> && Multiply<Vector, int>);
static_assert(Multiply<unsigned, Vector> && Multiply<Vector, Vector> && Multiply<Vector, long>);
static_assert(!std::is_constructible_v<Box, int, int> &&
              !std::is_constructible_v<Box, long long, unsigned> &&
              !std::is_constructible_v<Box, double, int>);
static_assert(2 * Vector(1, 2, 3) == Vector(2, 4, 6) && Vector(1, 2, 3) * 2LL == Vector(2, 4, 6));
static_assert(Box({1, 2, 3}, {4, 5, 6}).min == Vector(1, 2, 3) && Box({}, {}).getSize() == 1);
static_assert(Box({1}, {4}).getSize() == 64 && Box({4, 5, 6}).getSize() == 120);
static_assert(Box{Vector(4)} == Box(Vector(4)) && Box(4) == Box(Vector(4)));
static_assert(Box(Vector(0), 3) == Box{{}, {3, 3, 3}} && Box(Box(Vector(1))).getSize() == 1);

constexpr long long maxValue = std::numeric_limits<long long>::max();
constexpr long long minValue = std::numeric_limits<long long>::min();

TEST(Vector, DividesTowardZeroAndWrapsAround) {
    EXPECT_EQ(Vector(-3, 7, 0) / Vector(2, 2, 1), Vector(-1, 3, 0));
    EXPECT_EQ(Vector(4, 3, 2).dot(Vector(4, 3, 2).getStrides()), 4 + 12 + 24);
    EXPECT_EQ(Vector(5, 1, 10).getMaxComponent(), 10);
    EXPECT_EQ(Vector(1, minValue, 0).toString(), "1 -9223372036854775808 0");
    // Corners near the ends of the range are ordinary values, under the sanitizer as well.
    EXPECT_EQ(Vector(maxValue, minValue, 0) + Vector(1, -1, 0), Vector(minValue, maxValue, 0));
    EXPECT_EQ(-Vector(minValue),
              Vector(minValue) * Vector(1LL << 32, 1, 1) + Vector(minValue, 0, 0));
    Vector inside(-5, 3, 9), crossed = inside, noExtent(-1, 7, 3);
    inside.clip(Vector(0), Vector(4));
    crossed.clip(Vector(5), Vector(2));  // the upper bound has the last word
    noExtent.clip({4, 4, 0});
    EXPECT_EQ((std::vector{inside, crossed, noExtent}),
              (std::vector{Vector(0, 3, 4), Vector(2), Vector(0, 3, -1)}));
}

TEST(Box, BehavesLikeTheSetOfItsPositions) {
    RandomBoxes boxes(Box(Vector(-3), Vector(3)));
    Vector const step(2, -1, 1);
    for (int i = 0; i < 60; ++i) {
        Box const a = boxes.next(), b = boxes.next();
        Box shifted = a;
        shifted.shift(step);
        long long size = 0;
        pixelByPixel(1, Box(Vector(-5), Vector(5)), [&](long long, Vector const& p) {
            bool const inA = a.contains(p);
            size += inA;
            EXPECT_EQ(a.intersected(b).contains(p), inA && b.contains(p));
            EXPECT_EQ(shifted.contains(p + step), inA);
            EXPECT_TRUE(!inA || b.isEmpty() || a.merged(b).contains(p));
            EXPECT_TRUE(!inA || a.expanded(Vector(1)).contains(p + Vector(1, -1, 1)));
            return 0;
        });
        EXPECT_EQ(a.getSize(), size) << ::testing::PrintToString(a);
        EXPECT_EQ(a.isEmpty(), size == 0);
    }
    // Empty boxes keep their corners: they differ from one another, and merging counts them.
    EXPECT_EQ(Box(), Box(Vector(0)));
    EXPECT_EQ(Box(Vector(3)).intersected({Vector(5), Vector(9)}), Box(Vector(5), Vector(2)));
    EXPECT_EQ(Box().merged({{5, 5, 0}, {10, 10, 0}}), Box({0, 0, 0}, {10, 10, 0}));
}

TEST(Levels, APyramidEndsWithTheLastLevelThatHasAPixel) {
    for (long long n = -2; n < 2050; ++n) {
        long long count = 0;
        for (long long shorter = n; shorter >= 1; shorter /= 2) ++count;
        EXPECT_EQ(computeNumPyramidLevels(n, 5000), count);
        EXPECT_EQ(computeNumPyramidLevels(Vector(n + 7, n, -1)), count) << "z does not count";
    }
    for (int bit = 11; bit < 63; ++bit) {  // where a rounded logarithm goes wrong
        EXPECT_EQ(computeNumPyramidLevels(1LL << bit, maxValue), bit + 1);
        EXPECT_EQ(computeNumPyramidLevels(maxValue, (1LL << bit) - 1), bit);
    }
}

TEST(Levels, PositionsMoveLevelByLevelTowardZero) {
    for (long long value : {0LL, 1LL, 1023LL, -3LL, -1LL, 123456789LL}) {
        long long finer = value, coarser = value;
        for (long long steps = 0; steps < 30; ++steps, finer *= 2, coarser /= 2) {
            EXPECT_EQ(convertToLevel(value, steps + 2, 2), finer);
            EXPECT_EQ(convertToLevel(value, -1, steps - 1), coarser);
        }
    }
    EXPECT_EQ(convertToLevel(Vector(9, -9, 9), 0, 1), Vector(4, -4, 9));
    for (long long far : {63LL, 64LL, maxValue}) {  // nothing survives 63 levels
        EXPECT_EQ(convertToLevel(5, far, 0), 0);
        EXPECT_EQ(convertToLevel(minValue, minValue, far), 0);
        EXPECT_EQ(pow2(far) + pow2(-far), 0);
    }
    EXPECT_EQ(pow2(62) - 1 + pow2(62), maxValue);
    EXPECT_EQ(scalePosition({maxValue, minValue, 1}, 4.0), Vector(maxValue, minValue, 1));
    EXPECT_EQ(scalePosition({9, -9, 9}, 0.5), Vector(4, -4, 9));
}

TEST(Levels, RegionsMoveByCornerAndExtent) {
    auto const square = [](long long min, long long max) {
        return Box({min, min, -4}, {max, max, 6});
    };
    struct {
        Box region, expected;
        long long from, to;
        char const* why;
    } const cases[] = {
        {square(1, 2), square(0, 0), 0, 1, "two pixels are one, wherever they start"},
        {square(1, 4), square(0, 1), 0, 1, "max follows from the extent, not from max / 2"},
        {square(1, 1), square(0, -1), 0, 1, "shorter than one coarse pixel"},
        {square(1, 2), square(2, 5), 1, 0, "every pixel becomes four"},
        {square(6, 2), square(24, 23), 3, 1, "an empty box stays empty at its corner"},
        {square(6, 2), square(6, 2), 1, 1, "the same level changes nothing"},
    };
    for (auto const& c : cases)
        EXPECT_EQ(convertToLevel(c.region, c.from, c.to), c.expected) << c.why;
    for (long long min : {0, 1}) EXPECT_EQ(scaleRegion(square(min, 9), 0.5), square(0, 4));
}

TEST(Check, ThrowsItsMessage) {
    check(true, "unused");
    EXPECT_EQ(errorOf([] { check(false, "too small"); }), "too small");
    EXPECT_EQ(errorOf([] { check(false, ""); }), "runtime error");
}

TEST(Levels, TheThumbnailLevelIsTheFirstThatFits) {
    Vector const extents[] = {
        {100000, 80000, 1}, {4096, 2048, 1}, {1025, 10, 1}, {1024, 9, 1}, {512, 8, 1}};
    std::vector<long long> levels;
    for (Vector const& extent : extents) levels.push_back(getThumbnailLevel(extent, Vector(1024)));
    EXPECT_EQ(levels, (std::vector<long long>{7, 2, 1, 0, -1}));
}

TEST(Buffer, HoldsItsOwnCopyPlaneByPlane) {
    std::vector<long long> values(36), voxel(3);
    std::iota(values.begin(), values.end(), 100);
    Buffer<long long> buffer(std::as_const(values).data(), Box({4, 2, 1}, {7, 4, 1}), 2, 3);
    values.assign(36, -1);
    Buffer<long long> const copy = buffer;
    buffer.getPtrVector()[1][5] = 7;
    copy.readChannelValues(5, voxel);
    EXPECT_EQ(voxel, (std::vector<long long>{105, 117, 129}));
    Buffer<double> const zeros(copy.getBounds(), 0, 2);
    EXPECT_EQ(Values(zeros.getPtr(0), zeros.getPtr(0) + 24), Values(24));
    EXPECT_EQ(Buffer<double>(nullptr, Box(), 0, 3).getPtrVector().size(), 3U);
}

TEST(Buffer, LargeBlocksAreZeroHoweverOftenTheyCome) {
    for (int round = 0; round < 3; ++round) {  // 12 MB: huge pages, which come and go
        Buffer<double> buffer(Box(Vector(1000, 750, 1)), 0, 2);
        double* const first = buffer.getPtr(0);
        EXPECT_EQ(std::count(first, first + 1500000, 0.0), 1500000);
        std::fill_n(first, 1500000, 7.0);
        Buffer<double> const copy = buffer;
        EXPECT_EQ(copy.getPtr(1)[749999], 7.0);
    }
}

TEST(Buffer, SizesThatOverflowThrow) {
    long long const big = 1LL << 32, half = 1LL << 62;
    struct {
        Box bounds;
        long long numChannels;
        char const* why;
    } const cases[] = {
        {Vector(big, big, 1), 1, "x * y wraps to 0"},
        {Vector(big, 1 << 30, 1), 4, "only the channels overflow"},
        {Vector(1LL << 61, 1, 1), 1, "only the number of bytes wraps to 0"},
        {Vector(3, 2, 1), -1, "fewer than no channels"},
        {Box({-half, -half, 0}, {half + 5, half + 5, 0}), 1, "the extent wraps"},
    };
    for (auto const& c : cases) {
        EXPECT_THROW(Buffer<double>(c.bounds, 0, c.numChannels), std::bad_alloc) << c.why;
        EXPECT_THROW(Buffer<long long>(nullptr, c.bounds, 0, c.numChannels), std::bad_alloc)
            << c.why;
    }
    EXPECT_THROW(ImagePyramid<unsigned char>(Vector(big, big, 1), 1), std::bad_alloc);
    EXPECT_THROW(ImagePyramid<double>(Vector(big, 1LL << 29, 1), 1), std::bad_alloc);
    EXPECT_THROW(ImagePyramid<double>(Vector(4, 4, -5), -1), std::bad_alloc) << "5 planes of none";
    // Planes whose number wraps around, in levels without elements.
    ImagePyramid<double>(Vector(4, 4, LLONG_MIN), 2).computeLevelsUpwards(0);
}

TEST(Resolution, IsThatOfVoxelsInNanometres) {
    ProbeImage image;
    std::pair<double, long long> const cases[] = {
        {4000, 0},   {1500, 1},   {1000, 2}, {3000, 0},      {8000, 0},
        {12000, -1}, {40000, -1}, {0, 0},    {0.0 / 0.0, 0}, {1e-320, maxValue}};
    for (auto const& [resolution, level] : cases)
        EXPECT_EQ(getResolutionLevel(image, resolution), level) << resolution;
    EXPECT_EQ(computeAreaInMM2(1000, image, 0), 0.06) << "0.25 mm x 0.24 mm";
    EXPECT_EQ(computeAreaInMM2({8, 5, 3}, image, 1), 9.6e-6) << "4 um x 2.4 um";
    EXPECT_TRUE(isValidImagePos(image, {5, 3, 1}, 1) && !isValidImagePos(image, {5, 4, 1}, 1));
    EXPECT_EQ(getResolutionAtLevel(image, 2), 1000.0);
}

}  // namespace Quivo::Testing
