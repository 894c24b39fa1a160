#include <quivo/filters/SubImageFilter.h>
#include <quivo/tiff/TiffImage.h>
#include <quivo/tiff/TiffWriter.h>

#include "TiffMaker.h"
#include "support/Probe.h"

namespace Quivo::Testing {

using TiffMetadataTest = TempFolder;
using enum ColourModel;

namespace {

/// An image of a formula whose levels are made of one another.
struct Source : Probe<Image> {
    explicit Source(long long channels, long long depth = 1) {
        extent = {70, 50, depth};
        numChannels = channels;
        range = {0, 255};
        numLevels = computeNumPyramidLevels(extent);
    }
    std::string getSliceName(long long z) override { return z == 1 ? "second" : ""; }
    void openRegion(double* dst, long long level, Box const& region) override {
        auto const at = [&](long long c, Vector const& p) { return noiseOf(U8, c + 9 * level, p); };
        auto const values = pixelByPixel(numChannels, region, at);
        std::copy(values.begin(), values.end(), dst);
    }
};

/// One entry of a directory, packed as properties have it.
std::string pack(unsigned tag, unsigned type, std::uint64_t count, std::string const& bytes) {
    std::string packed;
    auto const append = [&](std::uint64_t value, int size) {
        for (int i = 0; i < size; ++i) packed.push_back(static_cast<char>(value >> 8 * i));
    };
    append(tag, 2), append(type, 2), append(count, 8), append(bytes.size(), 8);
    return packed + bytes;
}

/// Everything that can be said, where "SECRET" is what people may not want to be known.
Metadata describeAll(ColourModel model, std::vector<ChannelMetadata> channels) {
    Metadata m;
    m.colourModel = model;
    m.channels = std::move(channels);
    m.pixelSize = {252.6, 0.4, 0};
    m.noData = 7;
    m.colourProfile.assign(1001, std::byte{7});
    m.description = "Of SECRET, in two lines\nand \xc3\xbc";
    m.date = "2026-11-24T00:30:01";
    m.place = Place{{0.5, 0, 0, 650000.25, 0, -0.25, 0, 5.4e6, 0, 0, 1, 0}, "EPSG:25832"};
    for (auto const* name : {"XMP", "IPTC", "Photoshop", "Artist", "Make", "DocumentName"})
        m.properties["tiff:" + std::string(name)] = std::string(name) + " SECRET";
    // The pointer to another directory would lead nowhere.
    m.properties["tiff:EXIF"] = pack(33434, 5, 1, {"\1\0\0\0\x64\0\0\0", 8}) +
                                pack(36867, 2, 7, {"SECRET", 7}) + pack(40965, 4, 1, "1234");
    m.properties["gdal:TIFFTAG_NOTE"] = "<&> SECRET";
    m.properties["gdal:TOP:LEVEL"] = "2";
    m.channels[0].properties["gdal:UNITTYPE"] = "metre";
    return m;
}

Metadata metadataOf(std::string const& path) { return TiffImage(path).getMetadata(); }

}  // namespace

TEST_F(TiffMetadataTest, ACopySaysTheSameInTheSameBytes) {
    auto const channel = [](std::string name, AlphaKind alpha = AlphaKind::None) {
        ChannelMetadata result;
        result.name = std::move(name);
        result.alpha = alpha;
        return result;
    };
    struct Case {
        char const* reason;
        SampleType type;
        ColourModel model;
        std::vector<ChannelMetadata> channels;
    } const cases[] = {
        {"grey", I16, Grey, {channel("Gray")}},
        {"names of bands, one of them opacity",
         F32,
         None,
         {channel("near infrared"), channel("red"), channel("mask", AlphaKind::Unassociated)}},
        {"three stains are no colours",
         U8,
         None,
         {channel("DAPI"), channel("FITC"), channel("TRITC")}},
        {"associated opacity",
         U16,
         Rgb,
         {channel("Red"), channel("Green"), channel("Blue"),
          channel("Alpha", AlphaKind::Associated)}},
        {"a band beside the colours",
         U8,
         Rgb,
         {channel("Red"), channel("Green"), channel("Blue"), channel("height")}},
        {"a fourth ink is no opacity",
         U8,
         Cmyk,
         {channel(""), channel(""), channel(""), channel("")}},
        {"the eye's colours", U8, CieLab, {channel(""), channel(""), channel("")}},
    };
    for (auto const& [reason, type, model, channels] : cases) {
        for (auto const layout : {TiffLayout::Plain, TiffLayout::Ome, TiffLayout::Cog}) {
            SCOPED_TRACE(reason + std::string(", layout ") + std::to_string(int(layout)));
            Source source(std::ssize(channels), layout == TiffLayout::Cog ? 1 : 2);
            auto const expected = describeAll(model, channels);
            auto const copy = folder + "/copy.tif";
            auto const write = [&, layout = layout, type = type](Image& image, auto const& target) {
                TiffWriter writer;
                writer.setSrcImage(&image, false);
                writer.setFilename(target);
                writer.setTileExtent({32, 32, 1});
                writer.setLayout(layout);
                if (&image == &source) writer.setMetadata(expected), writer.setSampleType(type);
                writer.writeImage(nullptr, nullptr);
                ASSERT_EQ(writer.getOutcome(), TiffWriter::Outcome::Complete)
                    << writer.getFailure();
            };
            write(source, path);
            TiffImage image(path);
            auto const told = image.getMetadata();
            bool const isPicture = model == Rgb && channels.back().name != "height";
            bool const isApart = layout == TiffLayout::Ome && !isPicture;
            EXPECT_EQ(told.colourModel, isApart && model != Grey ? None : model);
            for (std::size_t c = 0; c < channels.size() && !isApart; ++c) {
                EXPECT_EQ(told.channels[c].alpha, channels[c].alpha) << c;
                EXPECT_EQ(told.channels[c].name, channels[c].name) << c;
            }
            EXPECT_NEAR(told.pixelSize[0], 252.6, 1e-7);
            EXPECT_NEAR(told.pixelSize[1], 0.4, 1e-10);
            EXPECT_EQ(told.noData, 7);
            EXPECT_EQ(told.colourProfile, expected.colourProfile);
            EXPECT_EQ(told.description, expected.description);
            EXPECT_EQ(told.date, expected.date);
            EXPECT_EQ(told.place, expected.place);
            auto properties = told.properties;
            for (auto const& [name, value] : expected.properties) {
                auto const kept = name == "tiff:EXIF" ? value.substr(0, value.size() - 24) : value;
                EXPECT_EQ(properties[name], kept) << name;
            }
            EXPECT_EQ(image.getSliceName(1), layout == TiffLayout::Cog ? "" : "second");
            write(image, copy);
            EXPECT_TRUE(slurp(copy) == slurp(path)) << "a copy of a copy";
        }
    }
}

TEST_F(TiffMetadataTest, OfAPartEverythingIsWhereItIs) {
    Source source(3);
    TiffWriter writer;
    writer.setSrcImage(&source, false);
    writer.setFilename(path);
    auto metadata = describeAll(None, std::vector<ChannelMetadata>(3));
    metadata.description = "Aperio|MPP = 0.25|AppMag = 40";
    metadata.pixelSize = {500, 500, 0};
    metadata.channels[1].window = ValueRange<double>{1, 2};
    writer.setMetadata(metadata);
    for (bool const strips : {false, true}) {
        writer.setStrip(strips);
        writer.writeImage(nullptr, nullptr);
        ASSERT_EQ(writer.getOutcome(), TiffWriter::Outcome::Complete) << writer.getFailure();
        EXPECT_EQ(writer.getLosses().size(), 1U) << "the display window";
        EXPECT_EQ(slurp(path).find("SECRET") == std::string::npos, strips);
        TiffImage whole(path);
        auto const told = whole.getMetadata();
        EXPECT_EQ(told.description, strips ? "" : "Aperio|MPP = 0.5|AppMag = 40");
        EXPECT_EQ(told.colourProfile.size(), 1001U);
        SubImageFilter part(&whole, Box({16, 8, 0}, {40, 30, 0}), 0, false);
        TiffWriter cutter;
        cutter.setSrcImage(&part, false);
        cutter.setFilename(folder + "/part.tif");
        cutter.writeImage(nullptr, nullptr);
        auto place = metadata.place.value();
        place.moveAndGrow(16, 8, 0, 1, 1);
        EXPECT_EQ(metadataOf(folder + "/part.tif").place, place);
    }
}

TEST_F(TiffMetadataTest, WhatALayoutCannotHoldIsNamedAndNothingElse) {
    Metadata stains, inks, glass, thick, half, instrument;
    for (auto* m : {&stains, &inks, &glass, &thick, &half, &instrument}) m->channels.resize(2);
    stains.channels[0].colour = Colour{1, 0, 0};
    inks.colourModel = Cmyk;
    inks.channels.resize(4);
    glass.channels[1].alpha = AlphaKind::Unassociated;
    thick.pixelSize = {250, 250, 1000};
    half.pixelSize = {63500, 0, 0};
    instrument.properties["ome:XML"] =
        "<OME><Instrument/><Image><Pixels><Channel Fluor='a' Color='1'/></Pixels></Image></OME>";
    struct Case {
        Metadata metadata;
        char const* plain;  // what is lost
        char const* ome;
    } const cases[] = {
        {stains, "colours of the channels", ""},
        {inks, "", "inks"},
        {glass, "", "which channel is opacity"},
        {thick, "distance of the slices", ""},
        {half, "", ""},
        {instrument, "the OME-XML", "(Fluor, Instrument)"},
    };
    for (auto const& [metadata, plain, ome] : cases) {
        for (auto const layout : {TiffLayout::Plain, TiffLayout::Ome}) {
            std::string const lost = layout == TiffLayout::Ome ? ome : plain;
            SCOPED_TRACE(plain + std::string("/") + ome +
                         (layout == TiffLayout::Ome ? " ome" : ""));
            Source source(std::ssize(metadata.channels));
            TiffWriter writer;
            writer.setSrcImage(&source, false);
            writer.setFilename(path);
            writer.setLayout(layout);
            writer.setMetadata(metadata);
            writer.writeImage(nullptr, nullptr);
            ASSERT_EQ(writer.getOutcome(), TiffWriter::Outcome::Complete) << writer.getFailure();
            ASSERT_EQ(writer.getLosses().size(), lost.empty() ? 0U : 1U);
            if (lost.empty()) {
                auto const told = metadataOf(path);
                EXPECT_EQ(told.pixelSize, metadata.pixelSize);
                EXPECT_EQ(told.description, "") << "nothing is invented";
                EXPECT_EQ(told.channels[0].colour, metadata.channels[0].colour);
            } else {
                EXPECT_NE(writer.getLosses()[0].find(lost), std::string::npos)
                    << writer.getLosses()[0];
            }
        }
    }
}

TEST_F(TiffMetadataTest, ForTheCloudDirectoriesComeFirstAndCoarseTilesBeforeFineOnes) {
    Source source(3);
    TiffWriter writer;
    writer.setSrcImage(&source, false);
    writer.setFilename(path);
    writer.setTileExtent({16, 16, 1});
    writer.setLayout(TiffLayout::Cog);
    writer.writeImage(nullptr, nullptr);
    auto const bytes = slurp(path);
    EXPECT_NE(bytes.find("LAYOUT=IFDS_BEFORE_DATA"), std::string::npos);
    std::vector<std::uint64_t> places;  // as they have to rise
    TIFF* const tiff = TIFFOpen(path.c_str(), "r");
    for (bool isThere = true; isThere; isThere = TIFFReadDirectory(tiff) != 0) {
        places.insert(places.begin() + TIFFCurrentDirectory(tiff), TIFFCurrentDirOffset(tiff));
        auto const firstTile = places.begin() + TIFFCurrentDirectory(tiff) + 1;
        std::vector<std::uint64_t> tiles;
        for (std::uint32_t i = 0; i < TIFFNumberOfTiles(tiff); ++i) {
            auto const offset = TIFFGetStrileOffset(tiff, i),
                       size = TIFFGetStrileByteCount(tiff, i);
            tiles.push_back(offset);
            for (std::size_t k = 0; k < 4; ++k)
                EXPECT_EQ(static_cast<unsigned char>(bytes[offset - 4 + k]), size >> 8 * k & 255);
            EXPECT_EQ(bytes.substr(offset + size - 4, 4), bytes.substr(offset + size, 4));
        }
        places.insert(firstTile, tiles.begin(), tiles.end());
    }
    TIFFClose(tiff);
    EXPECT_TRUE(std::is_sorted(places.begin(), places.end()));
    EXPECT_EQ(places.size(), 6U + 5 * 4 + 3 * 2 + 2 * 1 + 1 + 1 + 1);
}

}  // namespace Quivo::Testing
