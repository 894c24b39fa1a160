#include <quivo/display/Bytes.h>
#include <quivo/display/ColourConversion.h>
#include <quivo/display/Histogram.h>
#include <quivo/display/MixedImage.h>
#include <quivo/image/BufferImage.h>
#include <quivo/samples/ReadSamples.h>

#include <gtest/gtest.h>

#include "support/Probe.h"
#include "support/Voxels.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

namespace Quivo::Testing {

namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

TEST(MixedImage, AddsLightAsAMicroscopeDoes) {
    ProbeImage source;
    source.extent = {5000, 300, 2};  // several pieces across and down
    source.numChannels = 5;
    source.valueOf = [](long long, long long c, Vector const& p) {
        return (p.x + p.y) % 97 == 0 ? nan : 100.0 * noiseAt(c, p);
    };
    std::vector<ShownChannel> const shown{{3, {1.0, 0.25, 0.0}, {-20.0, 60.0}},
                                          {0, {0.0, 0.5, 1.0}, {90.0, 10.0}},
                                          {3, {0.0, 0.0, 0.75}, {30.0, 30.0}}};
    auto const getLight = [](double v, ValueRange<double> window) {
        if (std::isnan(v)) return 0.0;
        if (window.min == window.max) return v >= window.min ? 1.0 : 0.0;
        return std::clamp((v - window.min) / (window.max - window.min), 0.0, 1.0);
    };
    MixedImage mixed(&source, shown, false);
    EXPECT_EQ(mixed.getViewableRepresentation(), &mixed);
    for (Box const& region : {Box({-3, -2, 0}, {4999, 150, 0}), Box({4, 250, 0}, {60, 310, 1})}) {
        Values const expected = pixelByPixel(3, region, [&](long long light, Vector const& p) {
            double sum = 0.0;
            for (auto const& [channel, colour, window] : shown) {
                double const part = light == 0   ? colour.red
                                    : light == 1 ? colour.green
                                                 : colour.blue;
                sum += part * getLight(source.valueOf(0, channel, p), window);
            }
            return std::min(sum, 1.0) * 255.0;
        });
        expectNear(read(mixed, 0, region), expected);
    }
    EXPECT_EQ(errorOf([&] { MixedImage(&source, {{5}}, false); }),
              "There is no channel 5 to be shown.");
    MixedImage none(&source, {}, false);
    EXPECT_EQ(read(none, 0, Box(Vector(2))), Values(24, 0.0));
}

/// The probe's values as samples that say their type.
class SampledImage : public ProbeImage, public SampleSource {
public:
    std::optional<SampleType> type = SampleType::I16;

    std::optional<SampleType> getStoredType() const override { return type; }
    void openSamples(void* dst, long long level, Box const& region,
                     std::span<long long const> channels) override {
        auto* next = static_cast<std::int16_t*>(dst);
        for (long long const channel : channels) {
            pixelByPixel(1, region, [&](long long, Vector const& p) {
                return *next++ = static_cast<std::int16_t>(valueOf(level, channel, p));
            });
        }
    }
};

/// The values of a channel in order, without those that do not count.
Values sortedValues(ProbeImage& image, long long level, Box const& region, double noData) {
    Values values = pixelByPixel(
        1, region, [&](long long, Vector const& p) { return image.valueOf(level, 1, p); });
    std::erase_if(values, [&](double v) { return std::isnan(v) || v == noData; });
    std::sort(values.begin(), values.end());
    return values;
}

double percentileOf(Values const& sorted, double fraction) {
    auto const rank =
        static_cast<std::size_t>(std::ceil(fraction * static_cast<double>(sorted.size())));
    return sorted[std::max<std::size_t>(rank, 1) - 1];
}

TEST(Histogram, CountsWhatASortedListHas) {
    constexpr double noData = -7.0;
    constexpr double fractions[] = {0.0, 0.001, 0.01, 0.25, 0.5, 0.75, 0.999, 1.0};
    SampledImage image;
    image.extent = {900, 700, 2};
    image.valueOf = [](long long level, long long c, Vector const& p) {
        double const noise = noiseAt(c, p + Vector(level));
        return std::floor(300.0 * noise * noise * noise);
    };
    struct {
        std::optional<SampleType> type;
        std::optional<long long> level, slice;
        long long expectedLevel;
        bool isExact;
        char const* reason;
    } const cases[] = {
        {SampleType::I16, {}, {}, 1, true, "the coarsest level that is large enough"},
        {SampleType::I16, 0, 1, 0, true, "small integers, however many"},
        {{}, {}, 0, 1, true, "few values"},
        {{}, 0, {}, 0, false, "more values than are kept"}};
    for (auto const& [type, level, slice, expectedLevel, isExact, reason] : cases) {
        SCOPED_TRACE(reason);
        image.type = type;
        Histogram const histogram = computeHistogram(image, {1, level, slice, noData});
        Box region(image.getExtent(expectedLevel));
        if (slice) region.min.z = region.max.z = *slice;
        Values const sorted = sortedValues(image, expectedLevel, region, noData);
        EXPECT_EQ(histogram.getCount(), std::ssize(sorted));
        double const error = histogram.getRankError();
        EXPECT_EQ(error == 0.0, isExact);
        EXPECT_LT(error, 1e-4);
        for (double const fraction : fractions) {
            double const found = histogram.getPercentile(fraction);
            EXPECT_GE(found, percentileOf(sorted, std::max(fraction - error, 0.0))) << fraction;
            EXPECT_LE(found, percentileOf(sorted, std::min(fraction + error, 1.0))) << fraction;
        }
    }
    EXPECT_NE(errorOf([&] { (void)computeHistogram(image, {2, 0, {}, {}}); }), "");
    EXPECT_NE(errorOf([&] { (void)computeHistogram(image, {0, 3, {}, {}}); }), "");
    EXPECT_NE(errorOf([&] { (void)computeHistogram(image, {0, 0, 2, {}}); }), "");
}

TEST(Histogram, HasBinsAndNoNumbersThatAreNone) {
    double const values[] = {nan, 3.0, 1.0, 2.0, 1.0, nan, 4.0, 9.0};
    BufferImage<double> image(values, {8, 1, 1}, 1, {0, 9}, {});
    Histogram const histogram = computeHistogram(image);
    EXPECT_EQ(histogram.getCount(), 6);
    EXPECT_EQ(histogram.countBins({1.0, 4.0}, 3), (std::vector<long long>{2, 1, 2}));
    EXPECT_TRUE(std::isnan(Histogram().getPercentile(0.5)));
}

TEST(ColourConversion, AgreesWithKnownColours) {
    struct {
        Colour actual, expected;  // of 255
        char const* reason;
    } const cases[] = {
        {convertCmykToRgb(0, 0, 0, 0), {255, 255, 255}, "paper"},
        {convertCmykToRgb(0.2, 2.0, -1.0, 0.5), {102, 0, 127.5}, "clamped"},
        {convertLabToRgb(100, 0, 0), {255, 255, 255}, "white of any light"},
        {convertLabToRgb(0, 0, 0, whiteD65), {0, 0, 0}, "black"},
        {convertLabToRgb(53.585, 0, 0, whiteD65), {128, 128, 128}, "middle grey"},
        {convertLabToRgb(53.24, 80.09, 67.20, whiteD65), {255, 0, 0}, "red of the screen"},
        {convertLabToRgb(54.29, 80.81, 69.89), {255, 0, 0}, "the same in the light of print"},
        {convertLabToRgb(nan, 0, 0), {0, 0, 0}, "no number"}};
    for (auto const& [actual, expected, reason] : cases) {
        EXPECT_NEAR(actual.red * 255.0, expected.red, 1.0) << reason;
        EXPECT_NEAR(actual.green * 255.0, expected.green, 1.0) << reason;
        EXPECT_NEAR(actual.blue * 255.0, expected.blue, 1.0) << reason;
    }
}

TEST(Bytes, AreRoundedClampedAndPutInTheirPlaces) {
    double const planes[] = {0.4999, 0.5, nan, 254.4999, 254.5, 1e300, -1.0, 7.0,
                             1.0,    2.0, 3.0, 4.0,      5.0,   6.0,   7.0,  8.0};
    GuardedBlock<unsigned char> dst(2 * 2 * 5 - 2);
    interleaveBytes(planes, 4, 2, 2, dst.data(), 5);
    unsigned char const u = GuardedBlock<unsigned char>::untouched;
    EXPECT_EQ(dst.take(), (std::vector<unsigned char>{0, 1, 1, 2, 0, 3, 254, 4, u, u, 255, 5, 255,
                                                      6, 0, 7, 7, 8}));
}

}  // namespace

}  // namespace Quivo::Testing
