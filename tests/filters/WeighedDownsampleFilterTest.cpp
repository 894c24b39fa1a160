#include <quivo/filters/WeighedDownsampleFilter.h>

#include "support/Probe.h"

#include <cmath>
#include <cstring>
#include <map>
#include <optional>

namespace Quivo::Testing {

namespace {

/// A few values, in patches of five pixels, with holes and opacities in some of them.
class Patches : public ProbeImage, public MetadataSource {
public:
    Metadata metadata;

    Patches(Metadata const& known) : metadata(known) {
        numChannels = std::ssize(metadata.channels);
        extent = {90, 70, 2};
        valueOf = [this](long long, long long c, Vector const& p) {
            auto const pick = [&](long long salt) {
                return static_cast<long long>(500.5 + 500 * noiseAt(salt, p));
            };
            auto const patch = (p.x / 15 + p.y / 15 + p.z + 1000) % 3;
            if (metadata.channels[static_cast<std::size_t>(c)].alpha != AlphaKind::None) {
                double const some[] = {0, 40, 100, 255, -3, std::nan("")};
                return patch == 1 ? 100 : patch == 0 ? 255 : some[pick(9) % 6];
            }
            bool const isHole = metadata.noData && pick(7) % 4 == 0 && p.x > 20;
            if (isHole) return *metadata.noData;
            return static_cast<double>(pick(c) % 7);
        };
    }
    Metadata getMetadata() override { return metadata; }
};

/// One pixel by the rules, from squares of edge `factor`. An empty result: the plain mean counts.
std::optional<double> slowPixel(Patches& source, long long c, Vector const& pixel, double factor) {
    Metadata const& known = source.metadata;
    long long alpha = -1;
    for (long long i = 0; i < std::ssize(known.channels); ++i) {
        if (known.channels[static_cast<std::size_t>(i)].alpha == AlphaKind::Unassociated) alpha = i;
    }
    if (c == alpha) return std::nullopt;
    struct Part {
        double value, area, opacity;
    };
    std::vector<Part> parts;
    bool isWhole = true, isUniform = true;
    std::optional<double> first;
    auto const start = [&](long long at) { return static_cast<double>(at) * factor; };
    auto const under = [&](long long position, long long at) {
        auto const low = std::max(start(position), static_cast<double>(at));
        return std::min(start(position + 1), static_cast<double>(at + 1)) - low;
    };
    auto const from = [&](long long at) {
        return static_cast<long long>(static_cast<double>(at) / factor) - 1;
    };
    for (long long y = from(pixel.y); y <= from(pixel.y + 1) + 2; ++y) {
        for (long long x = from(pixel.x); x <= from(pixel.x + 1) + 2; ++x) {
            double const width = under(x, pixel.x), height = under(y, pixel.y);
            if (width < 1e-12 || height < 1e-12) continue;
            Vector const at(x, y, pixel.z);
            double opacity = alpha < 0 ? 1 : source.valueOf(0, alpha, at);
            if (!(opacity > 0)) opacity = 0;
            if (!first) first = opacity;
            isUniform = isUniform && opacity == *first;
            double const value = source.valueOf(0, c, at);
            bool const isMissing =
                known.noData &&
                (std::isnan(*known.noData) ? std::isnan(value) : value == *known.noData);
            isWhole = isWhole && !isMissing;
            if (!isMissing) parts.push_back({value, width * height, opacity});
        }
    }
    bool const areClasses = known.colourModel == ColourModel::Classes;
    if (isWhole && isUniform && !areClasses) return std::nullopt;
    if (parts.empty()) return known.noData;
    double total = 0, sum = 0, most = 0, chosen = 0;
    for (Part const& part : parts) total += isUniform ? 0 : part.opacity * part.area;
    bool const counts = total > 0;
    std::map<double, double> votes;
    if (!counts) total = 0;
    for (Part const& part : parts) {
        double const weight = part.area * (counts ? part.opacity : 1);
        if (!counts) total += weight;
        sum += part.value * weight;
        votes[part.value] += weight;
    }
    for (Part const& part : parts) {
        if (votes[part.value] > most + 1e-9) chosen = part.value;
        most = std::max(most, votes[part.value]);
    }
    return areClasses ? chosen : sum / total;
}

Metadata makeMetadata(std::vector<AlphaKind> const& kinds, std::optional<double> noData,
                      ColourModel model = ColourModel::None) {
    Metadata result;
    result.colourModel = model;
    result.noData = noData;
    for (AlphaKind const kind : kinds) result.channels.push_back({"", kind, {}, {}});
    return result;
}

}  // namespace

TEST(WeighedDownsampleFilter, IsTheWeighedMeanUnderEachPixelAndElseTheFilterItIsMadeOf) {
    constexpr auto none = AlphaKind::None;
    constexpr auto apart = AlphaKind::Unassociated;
    constexpr auto within = AlphaKind::Associated;
    struct Case {
        Metadata metadata;
        char const* why;
        bool isPlain;
    };
    Case const cases[] = {
        {makeMetadata({none, none}, {}), "nothing to weigh", true},
        {makeMetadata({none, none, within}, {}), "weighed by whoever made it", true},
        {makeMetadata({none, none}, 3.0), "a value that is none", false},
        {makeMetadata({none}, std::nan("")), "not a number is none", false},
        {makeMetadata({none, apart}, {}), "opacity", false},
        {makeMetadata({apart, none, none}, 7.0), "both, opacity in front", false},
        {makeMetadata({none}, {}, ColourModel::Classes), "classes", false},
        {makeMetadata({none, apart}, 2.0, ColourModel::Classes), "classes with both", false},
    };
    for (Case const& tested : cases) {
        for (double const factor : {0.5, 0.3, 0.71, 0.09}) {
            SCOPED_TRACE(std::string(tested.why) + ", " + std::to_string(factor));
            Patches source(tested.metadata);
            WeighedDownsampleFilter filter(&source, factor, false);
            ArbitraryDownsampleFilter plain(&source, factor, false);
            Box const whole(filter.getExtent(0));
            Values const all = read(filter, 0, whole), means = read(plain, 0, whole);
            long long numPlain = 0;
            std::size_t i = 0;
            pixelByPixel(source.numChannels, whole, [&](long long c, Vector const& p) {
                auto const expected = slowPixel(source, c, p, factor);
                numPlain += !expected;
                bool const isSame = all[i] == expected.value_or(means[i]) ||
                                    (std::isnan(all[i]) && std::isnan(expected.value_or(means[i])));
                EXPECT_TRUE(isSame || (expected && std::abs(all[i] - *expected) < 1e-9))
                    << all[i] << " in " << c << " at " << ::testing::PrintToString(p);
                return static_cast<double>(++i);
            });
            EXPECT_EQ(numPlain == std::ssize(all), tested.isPlain);
            RandomBoxes boxes(whole.expanded({3, 3, 1}));
            Box const around = whole.expanded({3, 3, 1});
            Values const wide = read(filter, 0, around);
            for (int n = 0; n < 15; ++n) {
                Box const piece = boxes.next();
                Values const got = read(filter, 0, piece), part = pieceOf(wide, around, piece);
                ASSERT_EQ(got.size(), part.size());
                ASSERT_TRUE(got.empty() ||
                            std::memcmp(got.data(), part.data(), got.size() * sizeof(double)) == 0);
            }
        }
    }
    Patches source(makeMetadata({none, apart}, {}));
    source.metadata.pixelSize = {300, 300, 0};
    WeighedDownsampleFilter filter(&source, 0.3, false);
    EXPECT_EQ(getMetadata(filter).channels, source.metadata.channels);
    EXPECT_DOUBLE_EQ(getMetadata(filter).pixelSize[0], 1000);
}

}  // namespace Quivo::Testing
