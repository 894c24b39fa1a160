// Which pages of a file make up an image, and what is said of the others.

#include <quivo/chains/Formats.h>
#include <quivo/tiff/TiffImage.h>

#include "TiffMaker.h"

namespace Quivo::Testing {

using TiffLayoutTest = TempFolder;

namespace {

std::string listParts(StoredContents const& image) {
    std::string text;
    for (auto const& part : image.getOtherParts()) text += part.selector + " " + part.reason + "; ";
    return text;
}

std::string findFact(StoredContents const& image, std::string const& word) {
    for (auto const& [name, text] : image.getFacts())
        if (name == word) return text;
    return {};
}

OpenOptions strictly() {
    OpenOptions options;
    options.strict = true;
    return options;
}

/// Points at the `n`-th directory: where a classic file says that it begins.
std::size_t findDirectory(std::string const& bytes, int n) {
    auto const get = [&](std::size_t at, int size) {
        std::size_t value = 0;
        for (int i = size; i-- > 0;)
            value = value << 8 | static_cast<unsigned char>(bytes.at(at + std::size_t(i)));
        return value;
    };
    std::size_t link = 4;
    for (; n > 0; --n) link = get(link, 4) + 2 + 12 * get(get(link, 4), 2);
    return link;
}

/// A stack of tiny pages, one for each plane, whose samples tell its number.
std::vector<Page> makePlanes(int count) {
    std::vector<Page> pages;
    for (int i = 0; i < count; ++i)
        pages.emplace_back("7x5 u16 strips:5 slice:" + std::to_string(i));
    return pages;
}

}  // namespace

TEST_F(TiffLayoutTest, TellsLevelsFromOtherPages) {
    std::string const scanner = "A scanner's library\r\n";
    struct Case {
        char const *reason, *stored, *pages;
        std::map<std::size_t, std::string> descriptions;
        std::string others;
    } const cases[] = {
        {"slide scanners do not mark levels",
         "02",
         "64x48; 20x15; 16x12; 30x22 reduced",
         {{1, scanner + "64x48 -> 20x15 - |Mag = 40"}},
         "#2 page 2: 20 x 15, another size; #4 page 4: 30 x 22, another size; "},
        {"a label as large as a level",
         "01",
         "64x48; 32x24 reduced; 32x24",
         {{1, scanner + "label 32x24"}},
         "#2 page 2: 32 x 24, label; "},
        {"a macro by its number", "0", "64x48; 32x24 254=9", {}, "#2 page 2: 32 x 24, macro; "},
        {"a thumbnail that could be a level",
         "0",
         "64x48; 32x24",
         {{1, "thumbnail"}},
         "#2 page 2: 32 x 24, thumbnail; "},
        {"half along one axis only", "0", "64x48; 32x48", {}, "#2 page 2: 32 x 48, another size; "},
        {"other samples",
         "0",
         "64x48; 32x24 u16; 64x48 u16",
         {},
         "#2 page 2: 32 x 24, other samples; #3 page 3: 64 x 48, other samples; "},
        {"levels of one slice of two",
         "0",
         "64x48; 64x48; 32x24",
         {},
         "#3 page 3: 32 x 24, a level that not all slices have; "},
        {"a picture that comes second", "01", "32x24 reduced; 64x48", {}, ""},
        {"sub-directories that are no levels",
         "0",
         "64x48 330=2; 20x20; 32x24 u16",
         {},
         " page 1, sub-directory 1: 20 x 20, another size; "
         " page 1, sub-directory 2: 32 x 24, other samples; "},
    };
    for (auto const& row : cases) {
        SCOPED_TRACE(row.reason);
        auto pages = pagesOf(row.pages);
        for (auto const& [index, text] : row.descriptions)
            pages[index].texts[TIFFTAG_IMAGEDESCRIPTION] = text;
        makeTiff(path, pages);
        TiffImage image(path, strictly());
        EXPECT_EQ(listParts(image), row.others);
        std::string stored;
        for (int level = 0; level < 9; ++level)
            if (image.isLevelStored(level)) stored += std::to_string(level);
        EXPECT_EQ(stored, row.stored);
    }
}

TEST_F(TiffLayoutTest, APageThatIsSelectedIsAloneWithItsLevels) {
    auto const pages =
        pagesOf("61x45 slice:0; 61x45 level:0; 30x22 reduced level:1; 20x20 level:0");
    makeTiff(path, pages);
    for (auto const& [number, own] :
         {std::pair(2, std::vector{pages[1], pages[2]}), std::pair(3, std::vector{pages[2]}),
          std::pair(4, std::vector{pages[3]})}) {
        auto const image = openImage(path + "#" + std::to_string(number));
        EXPECT_EQ(image->getURL(), path + "#" + std::to_string(number));
        EXPECT_EQ(image->getExtent(0), Vector(own[0].width, own[0].height, 1));
        for (Vector const p : {Vector(0), Vector(19, 19, 0)})
            EXPECT_EQ(read(*image, 0, Box(p, p))[0], own[0].seenAt(0, p));
        auto const half = read(*image, 1, Box({3, 2, 0}, {3, 2, 0}))[0];
        EXPECT_TRUE(own.size() == 1 || half == own[1].seenAt(0, {3, 2, 0}));
    }
    for (auto const& [input, error] :
         {std::pair("#5", "there is no page 5, only pages 1 to 4"),
          std::pair("#t=2", "there is no time 2, only one time is told")})
        EXPECT_EQ(errorOf([&, input = input] { (void)openImage(path + input); }),
                  path + input + ": " + error);
}

TEST_F(TiffLayoutTest, DescriptionsSayWhichPlaneIsWhich) {
    long long const numTimes = 2, numSlices = 3, numChannels = 2;
    auto const numPlanes = static_cast<int>(numTimes * numSlices * numChannels);
    auto const sizes = [&](char axis) {
        return axis == 'T' ? numTimes : axis == 'Z' ? numSlices : numChannels;
    };
    std::string const ome =
        "<?xml version=\"1.0\"?><OME><Image Name=\"cells\"><AcquisitionDate>2026-11-24T01:02:03"
        "</AcquisitionDate><Pixels DimensionOrder=\"XYABC\" SizeX=\"7\" SizeY=\"5\" SizeZ=\"3\" "
        "SizeC=\"2\" SizeT=\"2\" PhysicalSizeX=\"0.2526\" PhysicalSizeY=\"0.4\" "
        "PhysicalSizeYUnit=\"nm\" PhysicalSizeZ=\"1.5\"><Channel Name=\"DAPI\" Color=\"65535\"/>"
        "<Channel Name=\"GFP\" Color=\"-16776961\"/><TiffData/></Pixels></Image></OME>";
    std::string const imageJ =
        "ImageJ=1.53\nimages=12\nchannels=2\nslices=3\nframes=2\nunit=um\nspacing=1.5\n";
    for (std::string order : {"CZT", "CTZ", "ZCT", "ZTC", "TCZ", "TZC", "ImageJ", "behind"}) {
        SCOPED_TRACE(order);
        bool const isOme = order.size() == 3;
        auto pages = makePlanes(numPlanes);
        auto text = isOme ? ome : imageJ;
        if (isOme) text.replace(text.find("ABC"), 3, order);
        for (auto& page : pages) page.tags.insert({{282, 1e4}, {283, 5e3}, {296, 1}});
        pages[0].texts[TIFFTAG_IMAGEDESCRIPTION] = text;
        makeTiff(path, pages);
        if (order == "behind") {
            // One directory, and the planes one behind the other.
            makeTiff(path, {pages[0]});
            auto bytes = slurp(path);
            auto const start = static_cast<unsigned>(bytes.size());
            for (auto const& page : pages)
                for (int i = 0; i < 35; ++i) {
                    auto const value = static_cast<int>(page.valueAt(0, {i % 7, i / 7, 0}));
                    bytes += {static_cast<char>(value & 255), static_cast<char>(value >> 8)};
                }
            spill(path, bytes);
            patchTags(path, {{TIFFTAG_STRIPOFFSETS, start}});
        }
        if (!isOme) order = "CZT";
        for (long long t = 0; t < numTimes; ++t) {
            auto const image = openImage(path + (t > 0 ? "#t=2" : ""));
            auto& tiff = dynamic_cast<TiffImage&>(*image);
            ASSERT_EQ(image->getExtent(0), Vector(7, 5, 3));
            ASSERT_EQ(image->getNumChannels(), 2);
            auto const planeOf = [&](long long c, long long z) {
                long long index = 0;
                for (auto axis = order.rbegin(); axis != order.rend(); ++axis)
                    index = index * sizes(*axis) + (*axis == 'T' ? t : *axis == 'Z' ? z : c);
                return static_cast<std::size_t>(index);
            };
            Reference(U16, 2, {7, 5, 3}, [&](long long level, long long c, Vector const& p) {
                auto const value = pages[planeOf(c, p.z)].valueAt(0, {p.x, p.y, 0});
                return level == 0 ? std::optional(value) : std::nullopt;
            }).check(*image, 8);
            EXPECT_EQ(findFact(tiff, "times"), "time " + std::to_string(t + 1) + " of 2");
            EXPECT_EQ(listParts(tiff), t > 0 ? "#t=1 time 1 of the same image; "
                                             : "#t=2 time 2 of the same image; ");
            auto const metadata = tiff.getMetadata();
            std::array<double, 3> const told{252.6, 0.4, 1500}, tags{0.1, 0.2, 1500};
            EXPECT_EQ(metadata.pixelSize, isOme ? told : tags);
            if (!isOme) continue;
            EXPECT_EQ(metadata.date, "2026-11-24T01:02:03");
            EXPECT_EQ(metadata.description, "cells");
            EXPECT_EQ(metadata.channels[0].name + metadata.channels[1].name, "DAPIGFP");
            EXPECT_EQ(metadata.channels[0].colour, Colour({0, 0, 1}));
            EXPECT_EQ(metadata.channels[1].colour, Colour({1, 0, 0}));
            EXPECT_EQ(metadata.properties.at("ome:XML"), text);
        }
        EXPECT_EQ(errorOf([&] { (void)openImage(path + "#t=3"); }),
                  path + "#t=3: there is no time 3, only times 1 to 2");
    }
}

TEST_F(TiffLayoutTest, SeriesAndSetsAreNotTheImage) {
    auto const pixels = [](std::string const& sizes, std::string const& data) {
        return "<Pixels DimensionOrder=\"XYZCT\" SizeX=\"7\" SizeY=\"5\" " + sizes + ">" + data +
               "</Pixels>";
    };
    auto pages = makePlanes(5);
    auto const other = [](std::string const& name, int slice) {
        return "<TiffData IFD=\"0\" FirstZ=\"" + std::to_string(slice) + "\"><UUID FileName=\"" +
               name + "\">urn:uuid:" + name + "</UUID></TiffData>";
    };
    std::string const none = "SizeZ=\"2\" SizeC=\"1\" SizeT=\"1\"";
    std::string const series =
        "<OME><Image>" + pixels(none, "<TiffData IFD=\"3\" PlaneCount=\"2\"/>") +
        "</Image><Image Name=\"b\">" +
        pixels("SizeZ=\"1\" SizeC=\"2\" SizeT=\"1\"", "<TiffData IFD=\"1\" PlaneCount=\"2\"/>") +
        "</Image></OME>";
    pages[0].texts[TIFFTAG_IMAGEDESCRIPTION] = series;
    makeTiff(path, pages);
    auto const valueOf = [&](Image& image, long long c, long long z) {
        return read(image, 0, Box({2, 3, z}, {2, 3, z}))[static_cast<std::size_t>(c)];
    };
    Vector const at(2, 3, 0);
    TiffImage first(path);
    EXPECT_EQ(first.getExtent(0), Vector(7, 5, 2));
    EXPECT_EQ(valueOf(first, 0, 1), pages[4].valueAt(0, at));
    EXPECT_EQ(listParts(first),
              "#2 page 2: 7 x 5, series 2 \"b\"; #1 page 1: 7 x 5, no plane of the image; ");
    auto const second = openImage(path + "#2");
    EXPECT_EQ(second->getNumChannels(), 2);
    EXPECT_EQ(valueOf(*second, 1, 0), pages[2].valueAt(0, at));

    pages = makePlanes(1);
    pages[0].texts[TIFFTAG_IMAGEDESCRIPTION] =
        "<OME><Image>" + pixels(none, other("x.tif", 0) + other("image.tif", 1)) + "</Image></OME>";
    makeTiff(path, pages);
    TiffImage part(path);
    EXPECT_EQ(part.getExtent(0), Vector(7, 5, 1));
    EXPECT_EQ(findFact(part, "set"), "plane set over 2 files, this one has 1 of 2 planes");
}

TEST_F(TiffLayoutTest, WhatIsDamagedBesideTheImageIsLeftOutUnlessStrict) {
    makeTiff(path, pagesOf("61x45 330=1; 30x22; 61x45 slice:1"));
    std::string const good = slurp(path);
    auto const pointAt = [&](std::size_t link, std::size_t target) {
        auto bytes = good;
        for (std::size_t i = 0; i < 4; ++i) bytes.at(link + i) = static_cast<char>(target >> 8 * i);
        return bytes;
    };
    auto const first =
        static_cast<unsigned char>(good[4]) + 256U * static_cast<unsigned char>(good[5]);
    auto const last = findDirectory(good, 2), second = findDirectory(good, 1);
    auto const sub = good.find("\x4A\x01", first) + 8;
    struct {
        char const* reason;
        std::string bytes;
        long long numSlices;
        std::string others;
    } const cases[] = {
        {"the chain comes back", pointAt(last, first), 2,
         " behind page 2: the directories form a loop; "},
        {"the chain leads nowhere", pointAt(second, good.size() - 3), 1,
         " behind page 1: a directory is damaged; "},
        {"a sub-directory behind the end", pointAt(sub, good.size() + 9), 2,
         " page 1, sub-directory 1: damaged directory; "},
        {"a sub-directory amid pixels", pointAt(sub, 40), 2,
         " page 1, sub-directory 1: damaged directory; "},
    };
    for (auto const& row : cases) {
        SCOPED_TRACE(row.reason);
        spill(path, row.bytes);
        TiffImage image(path);
        EXPECT_EQ(image.getExtent(0), Vector(61, 45, row.numSlices));
        EXPECT_TRUE(listParts(image).starts_with(row.others)) << listParts(image);
        expectMessage(errorOf([&] { TiffImage strict(path, strictly()); }), path);
    }
}

TEST_F(TiffLayoutTest, MasksBecomeOpacityOrNoData) {
    struct {
        char const *reason, *pages, *noData, *stored;
        std::size_t mask;
        std::string others;
    } const cases[] = {
        {"opacity", "64x48; 64x48 254=4", "", "0", 1, ""},
        {"of each level", "64x48; 64x48 254=4; 32x24 reduced; 32x24 mask", "", "01", 1, ""},
        {"in a sub-directory", "64x48 330=1; 64x48 254=4", "", "0", 1, ""},
        {"not of a level", "64x48; 64x48 254=4; 32x24 reduced", "", "0", 1,
         " 32 x 24, a level that lacks the mask; "},
        {"no-data", "64x48; 64x48 254=4", "77", "0", 1, ""},
        {"of another size", "64x48; 63x48 254=4", "", "0", 0, "#2 page 2: 63 x 48, a mask; "},
        {"of one slice of two", "64x48; 64x48 254=4; 64x48", "", "0", 0,
         "#2 page 2: 64 x 48, mask of page 1; "},
    };
    for (auto const& row : cases) {
        SCOPED_TRACE(row.reason);
        auto pages = pagesOf(row.pages);
        if (*row.noData != 0) pages[0].texts[42113] = row.noData;
        makeTiff(path, pages);
        TiffImage image(path, strictly());
        std::string stored;
        for (int level = 0; level < 9; ++level)
            if (image.isLevelStored(level)) stored += std::to_string(level);
        EXPECT_EQ(stored, row.stored);
        EXPECT_EQ(listParts(image), row.others);
        bool const isOpacity = row.mask > 0 && *row.noData == 0;
        ASSERT_EQ(image.getNumChannels(), isOpacity ? 2 : 1);
        EXPECT_EQ(image.getMetadata().getAlpha(),
                  isOpacity ? AlphaKind::Unassociated : AlphaKind::None);
        auto const valueOf = [&](long long c, Vector const& p) {
            bool const isValid = row.mask == 0 || pages[row.mask].valueAt(0, p) != 0;
            if (c == 1) return isValid ? 255.0 : 0.0;
            return isValid || isOpacity ? pages[0].valueAt(0, p) : 77.0;
        };
        Box const all(Vector(64, 48, 1));
        EXPECT_EQ(read(image, 0, all), pixelByPixel(isOpacity ? 2 : 1, all, valueOf));
    }
}

TEST_F(TiffLayoutTest, TellsWhatADirectoryHoldsBesideThePixels) {
    Page page("20x10 u16*2 tiles:16x16 deflate 282=25400 283=63500 296=3");
    page.texts = {{TIFFTAG_IMAGEDESCRIPTION,
                   "Gr\xfc\xdf"
                   "e|MPP = 0.2526|"},
                  {TIFFTAG_DATETIME, "2026:11:24 01:02:03"},
                  {42113, " -9999,5 "},
                  {42112,
                   "<GDALMetadata><Item name=\"AREA\">all</Item><Item name=\"UNITTYPE\" "
                   "sample=\"1\" role=\"unittype\">m</Item><Item name=\"D\" domain=\"X\">1"
                   "</Item></GDALMetadata>"}};
    makeTiff(path, {page}, "w8");
    TiffImage image(path);
    auto const metadata = image.getMetadata();
    EXPECT_EQ(metadata.description,
              "Gr\xc3\xbc\xc3\x9f"
              "e|MPP = 0.2526|");
    EXPECT_EQ(metadata.properties.at("tiff:ImageDescription"), page.texts[270]);
    EXPECT_EQ(metadata.date, "2026-11-24T01:02:03");
    EXPECT_EQ(metadata.noData, -9999.5);
    EXPECT_EQ(metadata.properties.at("gdal:AREA"), "all");
    EXPECT_EQ(metadata.properties.at("gdal:X:D"), "1");
    EXPECT_EQ(metadata.channels[1].properties.at("gdal:UNITTYPE"), "m");
    EXPECT_EQ(metadata.pixelSize, (std::array<double, 3>{252.6, 252.6, 0})) << "not by the tags";
    EXPECT_EQ(image.getVoxelSize(0), Vector(253, 253, 0));
    std::string facts;
    for (auto const& [word, text] : image.getFacts()) facts += word + ": " + text + "; ";
    EXPECT_EQ(facts,
              "file: BigTIFF; compression: Deflate; stored colours: none, channels for themselves; "
              "samples: 16 bits, unsigned; layout: tiles of 16 x 16, planes together; "
              "no-data: -9999,5; ");
}

}  // namespace Quivo::Testing
