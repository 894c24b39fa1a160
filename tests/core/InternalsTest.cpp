// What the shared library does not show.

#include "core/PositionIterator.h"
#include "core/Storage.h"
#include "filters/BlockMean.h"
#include "support/Voxels.h"

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

}  // namespace Quivo::Testing
