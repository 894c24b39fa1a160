#include <quivo/Quivo.h>

#include "support/Probe.h"

#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <numeric>
#include <random>

namespace Quivo {
namespace {

using namespace Testing;
using enum SampleType;

constexpr SampleType allTypes[] = {U8, I8, U16, I16, U32, I32, U64, I64, F16, F32, F64};

/// A double after a stay in a sample type, from the definition.
double storedAs(SampleType type, double value) {
    if (type == F64) return value;
    if (type == F32) return double{static_cast<float>(value)};
    if (isInteger(type)) {
        auto const range = getDefaultValueRange(type);
        return std::isnan(value) ? 0.0 : std::clamp(std::floor(value + 0.5), range.min, range.max);
    }
    // A half has 11 bits, and steps of 2^-24 at the bottom.
    int exponent = 0;
    std::frexp(value, &exponent);
    double const step = std::ldexp(1.0, std::max(exponent - 11, -24));
    return std::clamp(std::nearbyint(value / step) * step, -65504.0, 65504.0);
}

double toDouble(SampleType type, std::byte const* at) {
    std::uint64_t bits = 0;
    std::memcpy(&bits, at, static_cast<std::size_t>(getSampleBytes(type)));
    if (type == F64) return std::bit_cast<double>(bits);
    if (type == F32) return double{std::bit_cast<float>(static_cast<std::uint32_t>(bits))};
    if (type == F16) {
        auto const fraction = static_cast<double>(bits & 0x3ff);
        auto const exponent = static_cast<int>(bits >> 10 & 31);
        double const value =
            std::ldexp(fraction + (exponent > 0 ? 1024 : 0), std::max(exponent, 1) - 25);
        return bits >> 15 != 0 ? -value : value;
    }
    int const spare = toString(type)[0] == 'i' ? 64 - 8 * getSampleBytes(type) : 0;
    auto const number = static_cast<std::int64_t>(bits << spare) >> spare;
    return spare > 0 || type == I64 ? static_cast<double>(number) : static_cast<double>(bits);
}

Values readAs(Image& image, SampleType type, long long level, Box const& region,
              std::vector<long long> const& channels) {
    auto const count =
        static_cast<long long>(channels.empty() ? image.getNumChannels() : std::ssize(channels)) *
        region.getSize();
    GuardedBlock<unsigned char> bytes(count * getSampleBytes(type));
    readSamples(image, bytes.data(), type, level, region, channels);
    auto const taken = bytes.take();
    Values values;
    for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i) {
        auto const at = i * static_cast<std::size_t>(getSampleBytes(type));
        values.push_back(toDouble(type, reinterpret_cast<std::byte const*>(taken.data()) + at));
    }
    return values;
}

template <typename T>
std::unique_ptr<Image> makeBuffer(double factor, double offset) {
    Vector const extent(21, 14, 3);
    auto const values = pixelByPixel(4, Box(extent), [&](long long c, Vector const& p) {
        return static_cast<T>(noiseAt(c, p) * factor + offset);
    });
    return std::make_unique<BufferImage<T>>(values.data(), extent, 4, ValueRange<double>(0, 255),
                                            Vector(250, 240, 1000));
}

/// Everything that passes samples on, over one source, with what it is.
struct Chains {
    std::unique_ptr<Image> source;
    std::vector<std::pair<std::string, std::unique_ptr<Image>>> images;
    std::unique_ptr<ChannelBank> bank;

    explicit Chains(std::unique_ptr<Image> image) : source(std::move(image)) {
        Image* const s = source.get();
        add<SubImageFilter>("a box", s, Box({3, 2, 1}, {17, 12, 2}), 0, false);
        add<SubImageFilter>("a box of level 1", s, Box({1, 1, 0}, {8, 5, 2}), 1, false);
        add<SliceFilter>("a slice", s, 1, false);
        add<ChannelFilter>("channels", s, std::vector<long long>{2, 0, 2}, false);
        add<HalvedLevels>("halved levels", s, 2, false);
        add<PiecewiseFilter>("pieces", s, Vector(5, 4, 1), false);
        add<SliceFilter>("a slice of channels of a box",
                         new ChannelFilter(images[0].second.get(), {3, 1}, false), 0, true);
        bank = std::make_unique<ChannelBank>(s);
        for (long long c : {3, 1}) bank->addChannel(new ChannelFilter(s, {c}, false), "");
        add<BankImage>("a bank", *bank);
    }

    template <typename T, typename... Arguments>
    void add(std::string name, Arguments&&... arguments) {
        images.emplace_back(std::move(name), std::make_unique<T>(arguments...));
    }
};

TEST(ReadSamples, GivesTheValuesOfEveryChainInEveryType) {
    // Below 0, above 255 and between whole numbers, so that every conversion shows.
    for (bool const areBytes : {true, false}) {
        Chains const chains(areBytes ? makeBuffer<unsigned char>(127, 128)
                                     : makeBuffer<double>(70000.37, 0.125));
        std::mt19937 random(5);
        for (auto const& [name, image] : chains.images) {
            SCOPED_TRACE(name);
            auto const* const samples = findSampleSource(*image);
            ASSERT_NE(samples, nullptr);
            EXPECT_EQ(samples->getStoredType(), areBytes ? U8 : F64);
            RandomBoxes boxes(Box({-3, -3, -1}, {19, 15, 3}));
            for (int i = 0; i < 60; ++i) {
                Box const region = boxes.next();
                if (region.isEmpty()) continue;
                long long const level = i % 4 - 1;
                std::vector<long long> channels(random() % 4);
                for (auto& c : channels) {
                    c = static_cast<long long>(random()) % image->getNumChannels();
                }
                SampleType const type = allTypes[static_cast<std::size_t>(i) % 11];
                SCOPED_TRACE(toString(type) + ::testing::PrintToString(region));
                auto const all = read(*image, level, region);
                Values expected;
                if (channels.empty()) {
                    channels.resize(static_cast<std::size_t>(image->getNumChannels()));
                    std::iota(channels.begin(), channels.end(), 0);
                }
                for (long long const c : channels) {
                    for (long long k = 0; k < region.getSize(); ++k) {
                        auto const at = static_cast<std::size_t>(c * region.getSize() + k);
                        expected.push_back(storedAs(type, all[at]));
                    }
                }
                ASSERT_EQ(readAs(*image, type, level, region, channels), expected);
            }
        }
    }
}

TEST(ReadSamples, GoesThroughDoublesWhereThereAreNoSamples) {
    ProbeImage probe;
    ScaleFilter negative(&probe, -1e-3, 0.5, false, false);
    EXPECT_EQ(findSampleSource(negative), nullptr);
    Box const region({-1, 0, 0}, {4, 3, 1});
    auto const all = read(negative, 1, region);
    for (SampleType const type : allTypes) {
        Values expected(all.begin() + region.getSize(), all.end());
        for (double& value : expected) value = storedAs(type, value);
        EXPECT_EQ(readAs(negative, type, 1, region, {1}), expected) << toString(type);
    }
    probe.valueOf = [](auto...) { return std::numeric_limits<double>::quiet_NaN(); };
    EXPECT_EQ(readAs(probe, I8, 0, Box(Vector(), Vector()), {0, 1}), Values(2, 0.0));
    for (long long const bad : {-1LL, 2LL}) {
        EXPECT_NE(errorOf([&] { (void)readAs(probe, U8, 0, region, {0, bad}); }), "");
    }
}

/// 64-bit integers, and which channels are asked for.
class Counter : public ProbeImage, public SampleSource {
public:
    std::vector<long long> asked;

    std::optional<SampleType> getStoredType() const override { return U64; }
    void openSamples(void* dst, long long, Box const& region,
                     std::span<long long const> channels) override {
        asked.assign(channels.begin(), channels.end());
        auto const count = std::ssize(channels) * region.getSize();
        std::fill_n(static_cast<std::uint64_t*>(dst), count, (1ULL << 63) + 1);
    }
};

TEST(ReadSamples, KeepsAllDigitsNativelyAndAsksForChosenChannelsOnly) {
    Counter counter;
    counter.numChannels = 40;
    ChannelFilter one(&counter, {17}, false);
    SubImageFilter box(&one, Box({2, 2, 1}), 0, false);
    Box const pixel({1, 1, 0}, {1, 1, 0});
    std::uint64_t whole = 0;
    readSamples(box, &whole, U64, 0, pixel, {});
    EXPECT_EQ(whole, (1ULL << 63) + 1);
    std::int64_t clamped = 0;
    readSamples(box, &clamped, I64, 0, pixel, {});
    EXPECT_EQ(clamped, std::numeric_limits<std::int64_t>::max());
    counter.asked.clear();
    EXPECT_EQ(read(box, 0, pixel), Values{0x1p63});
    EXPECT_EQ(counter.asked, std::vector<long long>{17});
    EXPECT_TRUE(counter.reads.empty());
    EXPECT_NE(errorOf([&] { ChannelFilter(&counter, {40}, false); }), "");
}

// ---- classes of one's own between ours and the reader -------------------------------------------

/// Adds 1 to what Base reads.
template <typename Base>
struct Raised : Base {
    using Base::Base;
    void openRegion(double* dst, long long level, Box const& region) override {
        Base::openRegion(dst, level, region);
        std::for_each_n(dst, this->getNumChannels() * region.getSize(), [](double& v) { ++v; });
    }
};

/// Says that it is smaller than it is.
struct Smaller : SubImageFilter {
    using SubImageFilter::SubImageFilter;
    Vector getExtent(long long) const override { return {2, 2, 1}; }
};

/// Answers every tile with the same number.
struct Sevens : CachedImage {
    using CachedImage::CachedImage;
    void openTileRegionToPosition(double* dst, long long, Vector const&, Box const& tileRegion,
                                  Vector const& dstExtent, Vector const& dstPosition) override {
        if (tileRegion.contains({}) && !tileRegion.isEmpty()) {
            dst[dstExtent.getStrides().dot(dstPosition)] = 7;
        }
    }
};

TEST(ReadSamples, NeverGoesAroundAnOverride) {
    auto const bytes = makeBuffer<unsigned char>(100, 128);
    ChannelBank bank(bytes.get());
    bank.addChannel(new ChannelFilter(bytes.get(), {0}, false), "");
    unsigned char const pixels[] = {1, 2, 3, 4};
    double const doubles[] = {1, 2, 3, 4};
    Vector const two(2, 2, 1);
    std::vector<std::pair<std::string, std::unique_ptr<Image>>> images;
    auto const add = [&](std::string name, Image* image) { images.emplace_back(name, image); };
    add("bytes in memory",
        new Raised<BufferImage<unsigned char>>(pixels, two, 1, ValueRange<double>(), Vector()));
    add("doubles in memory",
        new Raised<BufferImage<double>>(doubles, two, 1, ValueRange<double>(), Vector()));
    add("a box", new Raised<SubImageFilter>(bytes.get(), Box({9, 9, 1}), 0, false));
    add("a slice", new Raised<SliceFilter>(bytes.get(), 1, false));
    add("channels", new Raised<ChannelFilter>(bytes.get(), std::vector<long long>{1}, false));
    add("halved levels", new Raised<HalvedLevels>(bytes.get(), 2, false));
    add("pieces", new Raised<PiecewiseFilter>(bytes.get(), Vector(5, 4, 1), false));
    add("a bank", new Raised<BankImage>(bank));
    add("a smaller box", new Smaller(bytes.get(), Box({9, 9, 1}), 0, false));
    add("tiles of a cache", new Sevens(bytes.get(), 1, Vector(4, 4, 1), false));
    Box const region({-1, 0, 0}, {3, 2, 0});
    for (auto const& [name, image] : images) {
        SCOPED_TRACE(name);
        // Also below filters that pass samples on, and where pixels in memory would do.
        ChannelFilter above(image.get(), {0}, false);
        for (Image* const top : {image.get(), static_cast<Image*>(&above)}) {
            EXPECT_EQ(findSampleSource(*top), nullptr);
            auto const all = read(*image, 0, region);
            Values const expected(all.begin(), all.begin() + region.getSize());
            EXPECT_EQ(readAs(*top, F64, 0, region, {0}), expected);
        }
        EXPECT_EQ(findPixelsInMemory(*image), nullptr);
    }
}

/// Offers samples of its own over pixels that its reads change.
struct Doubled : Raised<BufferImage<double>>, SampleSource {
    explicit Doubled(double const* data)
        : Raised(data, Vector(2, 2, 1), 1, ValueRange<double>(), Vector()) {
        offerSamples<Doubled>(this);
    }
    std::optional<SampleType> getStoredType() const override { return F64; }
    void openSamples(void* dst, long long level, Box const& region,
                     std::span<long long const>) override {
        openRegion(static_cast<double*>(dst), level, region);
    }
};

TEST(ReadSamples, OfferedByADerivedClassLeaveThePixelsBelowUnoffered) {
    double const pixels[] = {1, 2, 3, 4};
    Doubled image(pixels);
    EXPECT_NE(findSampleSource(image), nullptr);
    EXPECT_EQ(findPixelsInMemory(image), nullptr);
    ArbitraryDownsampleFilter half(&image, 0.5, false);
    EXPECT_EQ(read(half, 0, Box(Vector(1, 1, 1))), Values{3.5});
}

// ---- what the numbers mean ----------------------------------------------------------------------

/// Knows everything of its numbers.
class Known : public ProbeImage, public MetadataSource {
public:
    Metadata known;
    Known() {
        numChannels = 4;
        known.colourModel = ColourModel::Rgb;
        for (char const* name : {"r", "g", "b", "a"}) {
            known.channels.push_back({name, AlphaKind::None, Colour{1, 0, 0}, {{2, 9}}});
        }
        known.channels[3].alpha = AlphaKind::Associated;
        known.pixelSize = {252.6, 0.4, 1000.5};
        known.noData = -9;
        known.colourProfile.resize(3);
        known.description = "known";
        known.place = Place{{2, 0, 0, 100, 0, -3, 0, 200, 0, 0, 5, 300}, "EPSG:25832"};
    }
    Metadata getMetadata() override { return known; }
};

TEST(Metadata, TravelsThroughChains) {
    Known image;
    Metadata const& known = image.known;
    Vector const corner(3, 2, 1);

    Filter identity(&image, false);
    EXPECT_EQ(getMetadata(identity), known);
    CachedImage cache(&image, 1, false);
    EXPECT_EQ(getMetadata(cache), known) << "a cache changes nothing";

    SubImageFilter box(&image, Box(corner, {9, 8, 1}), 0, false);
    Metadata expected = known;
    expected.place->toWorld = {2, 0, 0, 106, 0, -3, 0, 194, 0, 0, 5, 305};
    EXPECT_EQ(getMetadata(box), expected) << "the place moves with the corner";

    SubImageFilter coarse(&image, Box({1, 1, 0}, {3, 3, 0}), 1, false);
    expected = known;
    expected.pixelSize = {505.2, 0.8, 1000.5};
    expected.place->toWorld = {4, 0, 0, 104, 0, -6, 0, 194, 0, 0, 5, 300};
    EXPECT_EQ(getMetadata(coarse), expected) << "pixels of level 1 are twice as large, exactly";

    ArbitraryDownsampleFilter shrunk(&image, 0.5, false);
    expected = known;
    expected.pixelSize = {505.2, 0.8, 1000.5};
    expected.place->toWorld = {4, 0, 0, 100, 0, -6, 0, 200, 0, 0, 5, 300};
    EXPECT_EQ(getMetadata(shrunk), expected) << "the pixel grows, the corner stays";

    ScaleFilter scaled(&image, 2.0, 1.0, false, false);
    expected = known;
    expected.noData = -17;
    for (auto& channel : expected.channels) channel.window.reset();
    EXPECT_EQ(getMetadata(scaled), expected) << "other values: no window of the old ones";

    SliceFilter slice(&image, 1, false);
    expected = known;
    expected.place->toWorld[11] = 305;
    EXPECT_EQ(getMetadata(slice), expected) << "a slice lies where it lay";

    ChannelFilter stain(&image, {1, 3}, false);
    expected = known;
    expected.channels = {known.channels[1], known.channels[3]};
    expected.colourModel = ColourModel::None;
    expected.colourProfile.clear();
    EXPECT_EQ(getMetadata(stain), expected) << "a part of the colours is no picture";
    ChannelFilter opaque(&image, {0, 1, 2}, false);
    EXPECT_EQ(getMetadata(opaque).colourModel, ColourModel::Rgb) << "opacity is no colour";
    EXPECT_EQ(getMetadata(opaque).getAlpha(), AlphaKind::None);
    EXPECT_EQ(getMetadata(identity).getAlpha(), AlphaKind::Associated);

    image.known.channels.resize(1);
    EXPECT_EQ(getMetadata(stain).channels.size(), 2U) << "a source of too few channels";
}

/// Two channels of other values.
struct Ratio : Filter {
    using Filter::Filter;
    long long getNumChannels() const override { return 2; }
    std::string getChannelName(long long) override { return "ratio"; }
    ValueRange<double> getValueRange() const override { return {0, 1}; }
};

TEST(Metadata, OfOtherChannelsAndValuesIsNotThatOfTheSource) {
    Known image;
    Ratio ratio(&image, false);
    Metadata expected = image.known;
    expected.colourModel = ColourModel::None;
    expected.colourProfile.clear();
    expected.noData.reset();
    expected.channels.assign(2, {"ratio", AlphaKind::None, {}, {}});
    EXPECT_EQ(getMetadata(ratio), expected);
}

TEST(Metadata, IsMadeOfTheImagesOwnAnswersWhereThereIsNoSource) {
    double const values[4] = {};
    BufferImage<double> colours(values, {1, 1, 1}, 4, {0, 1}, {250, 240, 0});
    Metadata const told = getMetadata(colours);
    EXPECT_EQ(told.colourModel, ColourModel::Rgb);
    EXPECT_EQ(told.getAlpha(), AlphaKind::Unassociated);
    EXPECT_EQ(told.channels[3].name, "Alpha");
    EXPECT_EQ(told.pixelSize, (std::array<double, 3>{250, 240, 0}));
    BufferImage<double> grey(values, {1, 1, 1}, 1, {0, 1}, {});
    EXPECT_EQ(getMetadata(grey).colourModel, ColourModel::Grey);
    BufferImage<double> stains(values, {1, 1, 1}, 2, {0, 1}, {});
    EXPECT_EQ(getMetadata(stains).colourModel, ColourModel::None);
}

}  // namespace
}  // namespace Quivo
