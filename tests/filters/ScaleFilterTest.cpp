#include <quivo/filters/ScaleFilter.h>

#include "support/Probe.h"

#include <cmath>
#include <functional>

namespace Quivo::Testing {

// A scale, an offset and one flag would silently take the offset for a flag.
static_assert(!std::is_constructible_v<ScaleFilter, Image*, double, double, bool>);
static_assert(std::is_constructible_v<ScaleFilter, Image*, double, bool, bool>);

TEST(Filter, PassesEveryQuestionOn) {
    ProbeImage probe;
    Filter plain(&probe, false);
    ScaleFilter chain(&plain, 1.0, false, false);
    EXPECT_EQ(chain.getURL() + chain.getId() + chain.getGroupId(), "probe:idgroup");
    EXPECT_EQ(chain.getSliceName(3) + chain.getChannelName(-1), "slice 3channel -1");
    EXPECT_EQ((std::vector{chain.getExtent(1), chain.getVoxelSize(1), chain.getTileExtent()}),
              (std::vector{Vector(6, 4, 2), Vector(500, 480, 9), Vector(4, 3, 1)}));
    EXPECT_EQ(chain.getHash(), 0xFEDCBA9876543210U) << "all 64 bits";
    EXPECT_EQ(chain.getNumLevels(), 3);
}

TEST(Filter, DeletesItsSourceExactlyWhenItOwnsIt) {
    // One filter with a view; the constructors of a scale; a chain; a constructor that fails when
    // it had taken the source already.
    std::vector<std::function<void(ProbeImage*, bool)>> const uses = {
        [](auto* image, bool owned) { Filter(image, owned).getViewableRepresentation(); },
        [](auto* image, bool owned) { ScaleFilter(image, 2.0, true, owned); },
        [](auto* image, bool owned) { ScaleFilter(image, ValueRange(0.0, 1.0), true, owned); },
        [](auto* image, bool owned) { Filter(new Filter(image, owned), true); },
        [](auto* image, bool owned) {
            image->rangeReadsBeforeFailure = 0;
            EXPECT_ANY_THROW(ScaleFilter(image, ValueRange(0.0, 1.0), true, owned));
        },
    };
    for (std::size_t i = 0; i < uses.size(); ++i) {
        int deletions = 0;
        uses[i](new ProbeImage(&deletions), true);
        EXPECT_EQ(deletions, 1) << "owned in use " << i;
        ProbeImage kept(&deletions);
        uses[i](&kept, false);
        EXPECT_EQ(deletions, 1) << "not owned in use " << i;
    }
}

TEST(ScaleFilter, MapsAnyBoxLikeAPixelByPixelReader) {
    ProbeImage probe;
    RandomBoxes boxes(Box(Vector(-4, -4, -2), Vector(17, 13, 4)));
    for (int i = 0; i < 200; ++i) {  // the last offset makes every value a half, of both signs
        long long const level = i % 5 - 1;
        double const scale = i % 3 == 0 ? 0.1 : 1.0, offset = i % 3 == 0 ? -2.7 : -500.75;
        bool const rounds = i % 2 == 0;
        Box const region = boxes.next();
        ScaleFilter filter(&probe, scale, offset, rounds, false);
        auto const expected = [&](long long c, Vector const& p) {
            double const value = probe.valueAt(level, c, p) * scale + offset;
            return rounds ? std::floor(value + 0.5) : value;
        };
        ASSERT_EQ(read(filter, level, region), pixelByPixel(2, region, expected)) << i;
        EXPECT_EQ(probe.reads.back(), std::pair(level, region)) << "asked for just that";
    }
}

TEST(ScaleFilter, TakesItsMapFromTheRangeAtConstruction) {
    ProbeImage probe;
    probe.range = {1000.0, 5000.0};
    ScaleFilter mapped(&probe, ValueRange(10.0, 210.0), true, false);
    EXPECT_EQ(mapped.getValueRange(), ValueRange(10.0, 210.0));
    probe.range = {10.0, 0.0};
    EXPECT_EQ(mapped.getValueRange(), ValueRange(-39.5, -40.0))
        << "neither followed, put in order nor rounded";
}

}  // namespace Quivo::Testing
