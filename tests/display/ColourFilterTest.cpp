// Colours of inks, of the eye and of profiles on a screen, against what is known of them; profiles
// are made here.

#include <quivo/display/ColourFilter.h>

#include "support/Probe.h"

#include <lcms2.h>

#include <cmath>

namespace Quivo::Testing {

namespace {

using Bytes = std::vector<std::byte>;

Bytes toBytes(cmsHPROFILE profile) {
    cmsUInt32Number size = 0;
    cmsSaveProfileToMem(profile, nullptr, &size);
    Bytes bytes(size);
    cmsSaveProfileToMem(profile, bytes.data(), &size);
    cmsCloseProfile(profile);
    return bytes;
}

/// Any ink takes as much lightness away: half of it leaves 119 of 255, not 128.
cmsInt32Number inkToLab(cmsUInt16Number const in[], cmsUInt16Number out[], void*) {
    double const ink = std::max({in[0], in[1], in[2], in[3]}) / 65535.0;
    cmsCIELab const lab{100 * (1 - ink), 0, 0};
    cmsFloat2LabEncodedV2(out, &lab);
    return 1;
}

Bytes makeInkProfile() {
    cmsHPROFILE const profile = cmsCreateProfilePlaceholder(nullptr);
    cmsSetProfileVersion(profile, 2.1);
    cmsSetDeviceClass(profile, cmsSigOutputClass);
    cmsSetColorSpace(profile, cmsSigCmykData);
    cmsSetPCS(profile, cmsSigLabData);
    cmsPipeline* const lut = cmsPipelineAlloc(nullptr, 4, 3);
    cmsStage* const table = cmsStageAllocCLut16bit(nullptr, 3, 4, 3, nullptr);
    cmsStageSampleCLut16bit(table, inkToLab, nullptr, 0);
    cmsPipelineInsertStage(lut, cmsAT_BEGIN, table);
    cmsWriteTag(profile, cmsSigAToB1Tag, lut);
    cmsWriteTag(profile, cmsSigAToB0Tag, lut);
    cmsPipelineFree(lut);
    return toBytes(profile);
}

Bytes makeGreyProfile(double gamma) {
    cmsToneCurve* const curve = cmsBuildGamma(nullptr, gamma);
    auto bytes = toBytes(cmsCreateGrayProfile(cmsD50_xyY(), curve));
    cmsFreeToneCurve(curve);
    return bytes;
}

/// Pixels side by side, told what they mean.
class Told : public ProbeImage, public MetadataSource {
public:
    Metadata metadata;

    Told(ColourModel model, std::vector<AlphaKind> const& kinds, ValueRange<double> const& all,
         std::vector<Values> const& pixels) {
        metadata.colourModel = model;
        for (AlphaKind const kind : kinds) metadata.channels.push_back({"", kind, {}, {}});
        numChannels = std::ssize(kinds);
        range = all;
        extent = {std::ssize(pixels), 1, 1};
        valueOf = [pixels](long long, long long c, Vector const& p) {
            bool const exists = p.y == 0 && p.x >= 0 && p.x < std::ssize(pixels);
            auto const at = static_cast<std::size_t>(p.x);
            return exists ? pixels[at][static_cast<std::size_t>(c)] : 0.0;
        };
    }
    Metadata getMetadata() override { return metadata; }
};

}  // namespace

TEST(ColourFilter, ShowsColoursAsTheyLook) {
    constexpr auto none = AlphaKind::None;
    constexpr auto apart = AlphaKind::Unassociated;
    constexpr auto within = AlphaKind::Associated;
    using enum ColourModel;
    Bytes const screen = toBytes(cmsCreate_sRGBProfile()), ink = makeInkProfile();
    Bytes const linear = makeGreyProfile(1.0);
    Bytes broken(screen.begin(), screen.begin() + 200);
    ValueRange<double> const byte{0, 255}, word{0, 65535}, signedByte{-128, 127}, unit{0, 1};
    struct Case {
        char const* why;
        ColourModel model;
        std::vector<AlphaKind> kinds;
        ValueRange<double> range;
        Bytes profile;
        std::optional<double> noData;
        bool isNeeded;
        std::vector<Values> pixels, shown;
    };
    std::vector<AlphaKind> const three{none, none, none};
    std::vector<AlphaKind> const four{none, none, none, none};
    Case const cases[] = {
        {"the screen's own profile",
         Rgb,
         three,
         byte,
         screen,
         {},
         true,
         {{255, 0, 0}, {0, 255, 0}, {0, 0, 255}, {12, 130, 250}, {255, 255, 255}, {0, 0, 0}},
         {{255, 0, 0}, {0, 255, 0}, {0, 0, 255}, {12, 130, 250}, {255, 255, 255}, {0, 0, 0}}},
        {"no profile: as it is",
         Rgb,
         three,
         word,
         {},
         {},
         false,
         {{65535, 0, 32896}},
         {{255, 0, 128}}},
        {"a broken profile is none",
         Cmyk,
         four,
         byte,
         broken,
         {},
         true,
         {{0, 0, 0, 127.5}},
         {{128, 128, 128}}},
        {"a profile of other colours is none",
         Cmyk,
         four,
         byte,
         screen,
         {},
         true,
         {{255, 0, 0, 0}, {0, 255, 255, 0}},
         {{0, 255, 255}, {255, 0, 0}}},
        {"inks by their profile: L* 50",
         Cmyk,
         four,
         word,
         ink,
         {},
         true,
         {{0, 0, 0, 32768}, {0, 0, 0, 0}, {0, 0, 0, 65535}},
         {{119, 119, 119}, {255, 255, 255}, {0, 0, 0}}},
        {"grey of linear light",
         Grey,
         {none},
         byte,
         linear,
         {},
         true,
         {{55}, {255}},
         {{128}, {255}}},
        {"grey of linear light, transparent",
         Grey,
         {none, apart},
         byte,
         linear,
         {},
         true,
         {{55, 51}},
         {{128, 128, 128, 51}}},
        {"a* and b* of bytes, two's complement",
         CieLab,
         three,
         byte,
         {},
         {},
         true,
         {{255, 0, 0}, {0, 0, 0}, {138, 81, 70}, {75, 68, 256 - 112}},
         {{255, 255, 255}, {0, 0, 0}, {254, 0, 0}, {0, 0, 254}}},
        {"the same of signed bytes",
         CieLab,
         three,
         signedByte,
         {},
         {},
         true,
         {{-1, 0, 0}, {138 - 256, 81, 70}, {75, 68, -112}},
         {{255, 255, 255}, {254, 0, 0}, {0, 0, 254}}},
        {"of words",
         CieLab,
         three,
         word,
         {},
         {},
         true,
         {{65535, 0, 0}, {35570, 20736, 17920}, {19380, 17485, 65536 - 28680}},
         {{255, 255, 255}, {254, 0, 0}, {0, 0, 254}}},
        {"of bytes about 128",
         IccLab,
         three,
         byte,
         {},
         {},
         true,
         {{255, 128, 128}, {138, 209, 198}, {75, 196, 16}},
         {{255, 255, 255}, {254, 0, 0}, {0, 0, 254}}},
        {"of words about 32768",
         IccLab,
         three,
         word,
         {},
         {},
         true,
         {{65280, 32768, 32768}, {35440, 53504, 50688}},
         {{255, 255, 255}, {254, 0, 0}}},
        {"light itself, 1 is white",
         LogLuv,
         three,
         unit,
         {},
         {},
         true,
         {{1, 1, 1}, {0, 0, 0}, {9, 9, 9}, {std::nan(""), 0, 0}},
         {{255, 255, 255}, {0, 0, 0}, {255, 255, 255}, {0, 0, 0}}},
        {"colours are divided by opacity that is in them",
         Rgb,
         {none, none, none, within},
         byte,
         screen,
         {},
         true,
         {{100, 50, 0, 127.5}, {9, 9, 9, 0}},
         {{200, 100, 0, 128}, {9, 9, 9, 0}}},
        {"opacity in front, and a stain behind",
         Rgb,
         {apart, none, none, none, none},
         byte,
         {},
         {},
         false,
         {{51, 1, 2, 3, 99}},
         {{1, 2, 3, 51}}},
        {"no value in any colour is transparent",
         Rgb,
         three,
         byte,
         {},
         7.0,
         false,
         {{7, 7, 7}, {7, 7, 8}},
         {{7, 7, 7, 0}, {7, 7, 8, 255}}},
        {"too few channels for its model", Cmyk, three, byte, {}, {}, false, {{77, 0, 0}}, {{77}}},
    };
    for (Case const& tested : cases) {
        SCOPED_TRACE(tested.why);
        Told source(tested.model, tested.kinds, tested.range, tested.pixels);
        source.metadata.colourProfile = tested.profile;
        source.metadata.noData = tested.noData;
        EXPECT_EQ(ColourFilter::isNeeded(source.metadata), tested.isNeeded);
        ColourFilter filter(&source, false);
        auto const numChannels = std::ssize(tested.shown[0]);
        ASSERT_EQ(filter.getNumChannels(), numChannels);
        Box const whole(source.extent);
        Values const all = read(filter, 0, whole);
        for (std::size_t i = 0; i < all.size(); ++i) {
            auto const pixel = i % tested.shown.size(), c = i / tested.shown.size();
            EXPECT_NEAR(all[i], tested.shown[pixel][c], 1) << c << " of " << pixel;
        }
        for (long long x = 0; x < source.extent.x; ++x) {
            Box const piece(Vector(x, 0, 0), Vector(x, 0, 0));
            EXPECT_EQ(read(filter, 0, piece), pieceOf(all, whole, piece));
        }
        Metadata const known = getMetadata(filter);
        EXPECT_EQ(known.colourModel, numChannels == 1 ? Grey : Rgb);
        EXPECT_EQ(known.getAlpha(), numChannels == 4 ? apart : none);
        EXPECT_FALSE(ColourFilter::isNeeded(known)) << "shown twice it would be wrong";
    }
}

TEST(ColourFilter, PiecesOfALargeReadEqualTheWhole) {
    Told source(ColourModel::Cmyk, std::vector(4, AlphaKind::None), {-1, 1}, {});
    source.metadata.colourProfile = makeInkProfile();
    source.valueOf = [](long long, auto... at) { return noiseAt(at...); };
    ColourFilter filter(&source, false);
    Box const whole(Vector(-3, -5, 0), Vector(2300, 290, 0));
    Values const all = read(filter, 0, whole);
    RandomBoxes boxes(whole);
    for (int i = 0; i < 8; ++i) {
        Box const piece = boxes.next();
        ASSERT_EQ(read(filter, 0, piece), pieceOf(all, whole, piece));
    }
    int deletions = 0;
    auto* const empty = new ProbeImage(&deletions);
    empty->numChannels = 0;
    EXPECT_EQ(errorOf([&] { ColourFilter(empty, true); }),
              "An image without channels has no colours.");
    EXPECT_EQ(deletions, 1);
}

}  // namespace Quivo::Testing
