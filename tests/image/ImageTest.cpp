#include <quivo/core/Levels.h>
#include <quivo/image/BufferImage.h>

#include "support/Probe.h"

#include <cmath>
#include <limits>

namespace Quivo::Testing {

/// Bytes, or doubles among which some are so large that the order of additions shows.
template <typename T>
T pixelAt(long long c, Vector const& p) {
    double const noise = noiseAt(c, p);
    if constexpr (std::is_same_v<T, unsigned char>) return static_cast<T>(noise * 128.0 + 128.0);
    return static_cast<T>(std::abs(noise) > 0.8 ? std::copysign(1e16, noise) : noise * 40.0);
}

/// Works every coarser voxel out anew from the four below it.
template <typename T>
double slowPixelAt(Vector const& extent, long long level, long long c, Vector const& p) {
    bool const exists = level >= 0 && level < computeNumPyramidLevels(extent);
    if (!exists || !Box(convertToLevel(extent, 0, level)).contains(p)) return 0.0;
    if (level == 0) return static_cast<double>(pixelAt<T>(c, p));
    auto const below = [&](long long dx, long long dy) {
        return slowPixelAt<T>(extent, level - 1, c, {2 * p.x + dx, 2 * p.y + dy, p.z});
    };
    return std::floor((below(0, 0) + below(1, 0) + below(0, 1) + below(1, 1)) * 0.25 + 0.5);
}

template <typename T>
void compareWithPixelByPixelReader(Vector const& extent, long long numChannels) {
    auto data = pixelByPixel(numChannels, Box(extent), pixelAt<T>);
    BufferImage<T> image(data.data(), extent, numChannels, {}, {});
    std::fill(data.begin(), data.end(), T(77));  // the image has its own copy
    for (long long level = -1; level <= image.getNumLevels(); ++level) {
        RandomBoxes boxes(Box(image.getExtent(level)).expanded({4, 4, 2}));
        for (int i = 0; i < 12; ++i) {
            Box const region = boxes.next();
            auto const slow = [&](auto... at) { return slowPixelAt<T>(extent, level, at...); };
            ASSERT_EQ(read(image, level, region), pixelByPixel(numChannels, region, slow))
                << "level " << level << ' ' << ::testing::PrintToString(region);
        }
        Box const all(image.getExtent(level));
        bool const isThere = level >= 0 && level < image.getNumLevels();
        T const* const inMemory = image.getLevelBuffer(level);
        ASSERT_TRUE(isThere ? std::equal(inMemory, inMemory + all.getSize() * numChannels,
                                         read(image, level, all).begin())
                            : inMemory == nullptr);
    }
}

TEST(BufferImage, ReadsAnyBoxLikeAPixelByPixelReader) {
    // Odd on the way up; down to one pixel; a longer y; one level; no levels; levels without
    // voxels.
    for (Vector const extent : {Vector(37, 22, 3), Vector(16, 16, 1), Vector(3, 40, 2),
                                Vector(7, 1, 2), Vector(0, 4, 1), Vector(4, 4, 0)}) {
        for (long long numChannels = 0; numChannels <= 5; ++numChannels) {
            compareWithPixelByPixelReader<double>(extent, numChannels);
            compareWithPixelByPixelReader<unsigned char>(extent, numChannels);
        }
    }
}

TEST(ImagePyramid, RebuildsOnlyWhatLiesAboveALevel) {
    ImagePyramid<double> pyramid({8, 8, 1}, 1);
    std::fill_n(pyramid.getLevelBuffer(1), 16, 3.0);
    auto const levels = [&](long long from) {
        pyramid.computeLevelsUpwards(from);
        return Values{*pyramid.getLevelBuffer(0), *pyramid.getLevelBuffer(1),
                      *pyramid.getLevelBuffer(2), *pyramid.getLevelBuffer(3)};
    };
    EXPECT_EQ(levels(3), (Values{0, 3, 0, 0})) << "the last level";
    EXPECT_EQ(levels(1), (Values{0, 3, 3, 3}));
    EXPECT_EQ(levels(-5), Values(4)) << "as from 0";
    EXPECT_EQ(pyramid.getLevelBuffer(-1), pyramid.getLevelBuffer(4)) << "null";
}

BufferImage<double> blank(long long numChannels, ValueRange<double> const& range) {
    Values const zeros(static_cast<std::size_t>(12 * numChannels));
    return {zeros.data(), {4, 3, 1}, numChannels, range, {250, 240, 1000}};
}

TEST(InvariableImage, NamesChannelsByTheirCount) {
    std::string const names[] = {"",     "Gray,", ",,", "Red,Green,Blue,", "Red,Green,Blue,Alpha,",
                                 ",,,,,"};
    for (long long n = 0; n <= 5; ++n) {
        auto image = blank(n, {});
        std::string joined;
        for (long long c = 0; c < n; ++c) joined += image.getChannelName(c) + ",";
        EXPECT_EQ(joined, names[n]);
        for (long long bad : {-1LL, n})
            EXPECT_EQ(errorOf([&] { (void)image.getChannelName(bad); }),
                      "Invalid channel index. Cannot determine its name.");
        EXPECT_EQ(image.getVoxelSize(1), Vector(500, 480, 1000));
    }
}

TEST(DisplayView, MapsAnyOtherRangeOntoBytes) {
    double const nan = std::numeric_limits<double>::quiet_NaN();
    auto exact = blank(1, {0.0, 255.0}), shifted = blank(1, {255.0, 510.0}),
         undefined = blank(1, {0.0, nan}), wider = blank(1, {-1.0, 255.0});
    EXPECT_EQ(exact.getViewableRepresentation(), &exact);
    EXPECT_NE(wider.getViewableRepresentation(), &wider);
    EXPECT_NE(undefined.getViewableRepresentation(), &undefined);
    Image* const view = shifted.getViewableRepresentation();
    EXPECT_EQ(view, shifted.getViewableRepresentation());
    EXPECT_EQ(view->getViewableRepresentation(), view);
    EXPECT_EQ(read(*view, 0, {{-1, 0, 0}, {0, 0, 0}}), Values(2, -255.0)) << "nothing is clamped";
    for (int readsBeforeFailure : {0, 1}) {  // asked by the rule, then by the view in the making
        ProbeImage probe;
        DisplayView retried;
        probe.answersBeforeFailure = readsBeforeFailure;
        EXPECT_EQ(errorOf([&] { (void)retried.get(probe); }), "no answer");
        probe.range = {0.0, 255.0};
        EXPECT_EQ(retried.get(probe), &probe) << "no view was kept";
    }
}

}  // namespace Quivo::Testing
