#include <quivo/filters/ScaleFilter.h>
#include <quivo/filters/SliceFilter.h>
#include <quivo/tiles/CachedImage.h>

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
    std::vector<std::function<void(ProbeImage*, bool)>> uses = {
        [](auto* image, bool owned) { Filter(image, owned).getViewableRepresentation(); },
        [](auto* image, bool owned) { ScaleFilter(image, 2.0, true, owned); },
        [](auto* image, bool owned) { ScaleFilter(image, ValueRange(0.0, 1.0), true, owned); },
        [](auto* image, bool owned) { Filter(new Filter(image, owned), true); },
        [](auto* image, bool owned) {
            image->answersBeforeFailure = 0;
            EXPECT_ANY_THROW(ScaleFilter(image, ValueRange(0.0, 1.0), true, owned));
        },
    };
    for (int answers : {0, 1, 2, 3, 4})  // stamp, tile extent, extent, channels, none
        uses.emplace_back([answers](auto* image, bool owned) {
            image->answersBeforeFailure = answers;
            EXPECT_EQ(errorOf([&] { CachedImage(image, 1, owned); }) == "", answers == 4);
        });
    for (Vector const bad : {Vector(0, 1, 1), Vector(1, -1, 1), Vector(1, 1, 0)})
        uses.emplace_back([bad](auto* image, bool owned) {
            EXPECT_EQ(errorOf([&] { CachedImage(image, 1, bad, owned); }),
                      "Tile extent must be at least 1 on every axis");
        });
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

TEST(SubImageFilter, ReadsAnyBoxOrSliceLikeAPixelByPixelReader) {
    ProbeImage source;
    source.extent = {40, 30, 4};
    SubImageFilter filter(&source, {}, 0, false);
    RandomBoxes bounds(Box({-9, -9, -2}, {45, 35, 5})), regions(Box({-5, -5, -2}, {25, 25, 4}));
    for (long long i = 0; i < 300; ++i) {
        Box const wanted = bounds.next(), region = regions.next();
        long long const base = std::min(i % 6 - 1, 2LL), level = i % 4;
        Vector const steps(1LL << level, 1LL << level, 1);
        Box const all(source.getExtent(base));
        Box box = wanted.isEmpty() ? all : wanted.intersected(all);
        if (box.isEmpty()) box = Box();
        filter.setSubImageBounds(wanted, i % 6 - 1);
        EXPECT_EQ(filter.getExtent(level), box.getExtent() / steps);
        EXPECT_EQ(filter.getVoxelSize(1), source.getVoxelSize(1 + base));
        auto const expected = [&](long long c, Vector const& p) {
            if (!Box(box.getExtent() / steps).contains(p)) return 0.0;
            return source.valueAt(level + base, c, p + box.min / steps);
        };
        ASSERT_EQ(read(filter, level, region), pixelByPixel(2, region, expected)) << i;
    }
    EXPECT_EQ(SubImageFilter(&source, {}, 0, false).getNumLevels(), 5) << "not the source's 3";

    SliceFilter slice(&source, 3, false), none(&source, 4, false);
    EXPECT_EQ(read(slice, 1, {{-1, 3, -1}, {0, 3, 0}})[3], source.valueAt(1, 0, {0, 3, 3}));
    EXPECT_EQ(slice.getURL() + slice.getId() + slice.getGroupId(), "3id");
    EXPECT_EQ(slice.getSliceName(0) + slice.getSliceName(1), "slice 3");
    EXPECT_EQ(slice.getExtent(0), Vector(40, 30, 1));
    EXPECT_EQ(none.getExtent(0), Vector());
}

}  // namespace Quivo::Testing
