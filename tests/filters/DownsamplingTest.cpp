#include <quivo/filters/ArbitraryDownsampleFilter.h>
#include <quivo/filters/Downsampling.h>
#include <quivo/filters/SubImageFilter.h>
#include <quivo/image/BufferImage.h>

#include "support/Probe.h"

#include <cmath>
#include <limits>

namespace Quivo::Testing {

using Kernel = void(double*, double*, Vector const&, Vector const&, double, long long,
                    Vector const&);

Values shrink(Kernel* kernel, Values const& source, Vector const& srcExtent, Box const& dstRegion,
              double factor, long long numChannels) {
    GuardedBlock src(source), dst(dstRegion.getSize() * numChannels);
    kernel(src.data(), dst.data(), srcExtent, dstRegion.getExtent(), factor, numChannels,
           dstRegion.min);
    (void)src.take();  // for its guards
    return dst.take();
}

/// Every source pixel is a square of edge `factor` in the destination grid; every destination value
/// is the sum of the pieces that cover it.
Values coverByCover(Values const& source, Vector const& srcMin, Vector const& srcExtent,
                    Box const& dstRegion, double factor) {
    auto const overlap = [factor](long long position, long long pixel) {
        double const from = static_cast<double>(position) * factor, at = static_cast<double>(pixel);
        return std::max(0.0, std::min(from + factor, at + 1.0) - std::max(from, at));
    };
    return pixelByPixel(2, dstRegion, [&](long long c, Vector const& p) {
        Vector q(0, 0, c * srcExtent.z + p.z - dstRegion.min.z);
        double sum = 0.0;
        for (q.y = 0; q.y < srcExtent.y; ++q.y)
            for (q.x = 0; q.x < srcExtent.x; ++q.x)
                sum += overlap(srcMin.x + q.x, p.x) * overlap(srcMin.y + q.y, p.y) *
                       source[static_cast<std::size_t>(q.dot(srcExtent.getStrides()))];
        return sum;
    });
}

TEST(Downsampling, TheSourceRegionCoversTheDestination) {
    struct {
        long long min, max;
        double factor;
        long long srcMin, srcMax;
    } const cases[] = {{0, 9, 0.5, 0, 19},    {5, 9, 0.7, 7, 14},  {5, 9, 0.3, 16, 33},
                       {3, 7, 0.2, 12, 39},   {0, 0, 0.75, 0, 1},  {4, 4, 1.0, 4, 4},
                       {-3, -1, 0.7, -5, -1}, {1, 9, 0.503, 0, 19}};
    for (auto const& c : cases)
        EXPECT_EQ(getDownsamplingSrcRegionFromDstRegion({{c.min, c.min, -1}, {c.max, c.max, 5}},
                                                        c.factor),
                  Box({c.srcMin, c.srcMin, -1}, {c.srcMax, c.srcMax, 5}))
            << c.factor;
}

TEST(Downsampling, TheResidualStepIsTheMeanUnderEachPixel) {
    for (double factor : {0.7, 0.55, 0.9, 0.75, 0.8, 0.501, 0.5031, 0.999, 1.0}) {
        for (Vector const position : {Vector(0, 4, 0), Vector(9, 1, 2), Vector(4, -7, 0)}) {
            Box const region(position, position + Vector(11, 6, 1));
            Box const src = getDownsamplingSrcRegionFromDstRegion(region, factor);
            Values const source = pixelByPixel(2, src, noiseAt);
            SCOPED_TRACE(::testing::PrintToString(region) + " by " + std::to_string(factor));
            // A source that ends early leaves less in the last pixels: nothing is renormalised.
            for (Vector const& e : {src.getExtent(), Vector(src.getExtent().x / 2, 1, 2)})
                expectNear(shrink(downsampleBufferIntermediateLevel, source, e, region, factor, 2),
                           coverByCover(source, src.min, e, region, factor));
        }
    }
}

TEST(Downsampling, PiecesEqualTheWholeAndConstantsStay) {
    for (double factor : {0.7, 0.55, 0.9, 0.3, 0.8, 0.504, 0.126, 0.2, 0.5, 1.0, 0.25}) {
        for (Vector const position : {Vector(0), Vector(4, 4, 0), Vector(9, -6, 1)}) {
            SCOPED_TRACE(::testing::PrintToString(position) + " by " + std::to_string(factor));
            auto const compute = [factor](Box const& region, auto valueOf) {
                Box const src = getDownsamplingSrcRegionFromDstRegion(region, factor);
                return shrink(downsampleBuffer, pixelByPixel(2, src, valueOf), src.getExtent(),
                              region, factor, 2);
            };
            Box const whole(position, position + Vector(11, 7, 1));
            Values const all = compute(whole, noiseAt);
            RandomBoxes boxes(whole);
            for (int i = 0; i < 12; ++i) {
                Box const piece = boxes.next();
                if (!piece.isEmpty())
                    expectNear(compute(piece, noiseAt), pieceOf(all, whole, piece));
            }
            expectNear(compute(whole, [](auto...) { return 3.0; }), Values(all.size(), 3.0));
        }
    }
}

TEST(Downsampling, ExactlyRepresentableValuesComeOutExactly) {
    Values const source = pixelByPixel(1, Box(Vector(8, 8, 1)), [](long long, Vector const& p) {
        return static_cast<double>(p.x + 8 * p.y);
    });
    auto const corner = [&](double factor, Vector const& srcExtent, Vector const& dstExtent) {
        return shrink(downsampleBuffer, source, srcExtent, dstExtent, factor, 1);
    };
    EXPECT_EQ(corner(0.5, {8, 2, 1}, {4, 1, 1}), (Values{4.5, 6.5, 8.5, 10.5}));
    EXPECT_EQ(corner(0.75, {4, 1, 1}, {3, 1, 1}), (Values{0.1875, 1.125, 2.0625}))
        << "three quarters of a row";
    EXPECT_EQ(corner(0.995, {8, 8, 1}, {8, 8, 1}), source) << "within 1 % of a halving it copies";
    expectNear(corner(0.3, {8, 8, 1}, {2, 2, 1}), {11.7, 14.9, 37.3, 40.5});
}

TEST(Downsampling, RefusesBeforeItWrites) {
    Values const source(32, 1.0);
    auto const refusal = [&](Kernel* kernel, double factor, long long dstZ) {
        GuardedBlock src(source), dst(0);
        std::string const error = errorOf([&] {
            kernel(src.data(), dst.data(), {4, 4, 2}, {4, 4, dstZ}, factor, 1, {});
        });
        EXPECT_EQ(src.take().size() + dst.take().size(), source.size());
        return error;
    };
    for (double bad : {0.0, -0.5, 1.5, std::numeric_limits<double>::quiet_NaN()}) {
        EXPECT_EQ(refusal(downsampleBuffer, bad, 2),
                  "Sampling factor must be in interval [(0.0, 1.0]");
        for (double factor : {bad, 0.5}) {
            EXPECT_EQ(refusal(downsampleBufferIntermediateLevel, factor, 2),
                      "Sampling factor must be in interval [(0.5, 1.0]");
            EXPECT_EQ(refusal(downsampleBufferIntermediateLevel, factor, 1),
                      "Z-Dimensions of source and destination must match");
        }
    }
    for (double factor : {0.3, 0.7})
        EXPECT_EQ(refusal(downsampleBuffer, factor, 1),
                  "Z-Dimensions of source and destination must match");
    EXPECT_EQ(refusal(downsampleBuffer, 5e-324, 2), "") << "above 0, though 1 / it is not finite";
    for (double factor : {0.3, 0.5, 0.7})  // no channels, nothing to write
        shrink(downsampleBuffer, source, {4, 4, 2}, Box(Vector(4, 4, 2)), factor, 0);
}

TEST(ArbitraryDownsampleFilter, PiecesEqualTheWholeToTheBitAndIsTheMeanUnderEachPixel) {
    for (double factor : {0.75, 0.5, 0.3, 0.7, 1.0 / 3, 0.999, 0.01, 0.8, 0.3183098861837907}) {
        for (Vector const at : {Vector(0), Vector(-8, -5, -1), Vector(97, 41, 3)}) {
            auto const under = [factor](long long x) {
                return static_cast<long long>(static_cast<double>(x) / factor);
            };
            Box const whole(at, at + Vector(factor < 0.1 ? 2 : 14, 3, 1)),
                src({under(at.x), under(at.y), at.z},
                    {under(whole.max.x + 1), under(whole.max.y + 1), whole.max.z});
            ProbeImage source;  // noise everywhere, also at negative positions
            source.valueOf = [](long long, auto... position) { return noiseAt(position...); };
            ArbitraryDownsampleFilter filter(&source, factor, false);
            Values const all = read(filter, 1, whole), noise = read(source, 1, src);
            EXPECT_EQ(source.reads[0], source.reads[1]);
            Values const mean = coverByCover(noise, src.min, src.getExtent(), whole, factor);
            if (at.x >= 0 || factor == 0.5) expectNear(all, mean);
            EXPECT_TRUE((factor != 0.5 && (factor != 0.75 || at.x < 0)) || all == mean);
            RandomBoxes boxes(whole);
            for (int i = 0; i < 12; ++i) {
                Box const piece = boxes.next();
                ASSERT_EQ(read(filter, 1, piece), pieceOf(all, whole, piece)) << factor;
            }
        }
    }
}

TEST(ArbitraryDownsampleFilter, GivesTheSameBitsOfWhatIsInMemory) {
    for (long long const numChannels : {1, 3}) {
        Box const whole(Vector(41, 29, 3));
        Values const noise = pixelByPixel(numChannels, whole, noiseAt);
        BufferImage<double> buffer(noise.data(), whole.getExtent(), numChannels, {-1, 1}, {});
        SubImageFilter wrapped(&buffer, whole, 0, false);  // the same pixels, never seen in memory
        for (double const factor : {0.5, 0.7, 0.31, 0.04}) {
            ArbitraryDownsampleFilter direct(&buffer, factor, false);
            ArbitraryDownsampleFilter copied(&wrapped, factor, false);
            RandomBoxes boxes(Box(direct.getExtent(0)).expanded({1, 1, 1}));
            for (int i = 0; i < 60; ++i) {
                Box const region = boxes.next();
                ASSERT_EQ(read(direct, i % 3, region), read(copied, i % 3, region)) << factor;
            }
        }
    }
}

TEST(ArbitraryDownsampleFilter, ScalesWhatItSaysOfItself) {
    int deletions = 0;
    for (double bad : {0.0, 1.0, -0.5, 2.0, 0.0 / 0.0}) {
        auto const make = [&] { ArbitraryDownsampleFilter(new ProbeImage(&deletions), bad, true); };
        EXPECT_EQ(errorOf(make), "Scale Factor is not between 0 and 1");
    }
    EXPECT_EQ(deletions, 5);
    ProbeImage source;
    source.extent = source.tileExtent = {1000, 600, 3};
    ArbitraryDownsampleFilter filter(&source, 0.3, false);
    EXPECT_EQ((std::vector{filter.getExtent(1), filter.getVoxelSize(1), filter.getTileExtent()}),
              (std::vector{Vector(150, 90, 3), Vector(1666, 1600, 9), Vector(300, 180, 3)}));
    EXPECT_EQ(filter.getNumLevels(), 8) << "its own, not the source's 3";
    double none = 0;
    EXPECT_THROW(filter.openRegion(&none, 0, Box(Vector(3LL << 31, 3LL << 31, 1))), std::bad_alloc);
}

}  // namespace Quivo::Testing
