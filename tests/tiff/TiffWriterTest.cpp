#include <quivo/image/ChannelNames.h>
#include <quivo/tiff/TiffImage.h>
#include <quivo/tiff/TiffWriter.h>

#include "TiffMaker.h"
#include "support/Probe.h"

#include <sys/resource.h>

#include <csignal>

namespace Quivo::Testing {

using Outcome = TiffWriter::Outcome;
using enum TiffCompression;

namespace {

/// A formula as an image; its levels need not be made of one another.
struct Source : Probe<Image> {
    long long channels = 1, excess = 0;  // columns that every further level has too many
    std::function<double(long long level, long long c, Vector const& p)> valueOf = smooth;
    int readsUntilFailure = -1;  // none while negative

    explicit Source(Vector const& size = {53, 37, 1}) {
        extent = size;
        range = {0, 255};
    }
    static double smooth(long long level, long long c, Vector const& p) {
        Vector const q = convertToLevel(p, level, 0);
        return 128 + 50 * std::sin(static_cast<double>(q.x + 9 * c) / 60) +
               50 * std::cos(static_cast<double>(q.y + 5 * q.z) / 70);
    }
    Vector getExtent(long long level) const override {
        return convertToLevel(extent, 0, level) + Vector(level > 0 ? excess : 0, 0, 0);
    }
    long long getNumLevels() const override { return computeNumPyramidLevels(extent); }
    long long getNumChannels() const override { return channels; }
    std::string getChannelName(long long c) override { return getUsualChannelName(c, channels); }
    void openRegion(double* dst, long long level, Box const& region) override {
        if (readsUntilFailure-- == 0) throw std::runtime_error("source is broken");
        auto const at = [&](long long c, Vector const& p) { return valueOf(level, c, p); };
        auto const values = pixelByPixel(channels, region, at);
        std::copy(values.begin(), values.end(), dst);
    }
};

struct Monitor final : ProgressMonitor {
    void progressChanged() override {}
};

/// A writer of a source to a file, with tiles of 32 x 16.
struct Writer : TiffWriter {
    Writer(Source& source, std::string const& path) {
        setSrcImage(&source, false);
        setFilename(path);
        setTileExtent({32, 16, 1});
        setNumThreads(2);
    }
    Outcome run(CancellationChecker* checker = nullptr) {
        writeImage(nullptr, checker);
        return getOutcome();
    }
};

/// What another reader sees of every page, and of its sub-directories behind it: tile extent, kind,
/// colours, predictor, subsampling and extra samples.
std::vector<std::string> describePages(std::string const& path) {
    std::vector<std::string> pages;
    TIFF* const tiff = TIFFOpen(path.c_str(), "r");
    std::vector<std::uint64_t> offsets;
    do {
        std::uint16_t count = 0;
        std::uint64_t* subs = nullptr;
        offsets.push_back(TIFFCurrentDirOffset(tiff));
        if (TIFFGetField(tiff, TIFFTAG_SUBIFD, &count, &subs))
            offsets.insert(offsets.end(), subs, subs + count);
    } while (TIFFReadDirectory(tiff));
    for (auto const offset : offsets) {
        TIFFSetSubDirectory(tiff, offset);
        std::string text;
        std::uint32_t const tags[] = {TIFFTAG_TILEWIDTH, TIFFTAG_TILELENGTH, TIFFTAG_SUBFILETYPE};
        for (auto const tag : tags) {
            std::uint32_t value = 0;
            if (TIFFGetField(tiff, tag, &value)) text += std::to_string(value) + " ";
        }
        std::uint16_t value = 0, second = 0, *list = nullptr;
        TIFFGetField(tiff, TIFFTAG_PHOTOMETRIC, &value);
        text += "colour " + std::to_string(value);
        if (value == PHOTOMETRIC_YCBCR &&
            TIFFGetField(tiff, TIFFTAG_YCBCRSUBSAMPLING, &value, &second))
            text += " step " + std::to_string(10 * value + second);
        if (TIFFGetField(tiff, TIFFTAG_PREDICTOR, &value))
            text += " predictor " + std::to_string(value);
        if (TIFFGetField(tiff, TIFFTAG_EXTRASAMPLES, &value, &list))
            text += " extra " + std::to_string(10 * value + list[0]);
        pages.push_back(text);
    }
    TIFFClose(tiff);
    return pages;
}

}  // namespace

using TiffWriterTest = TempFolder;
using TiffWriterThreads = TempFolder;

TEST_F(TiffWriterThreads, StoresTheSourceRoundedAndClampedOrItsMeans) {
    struct Case {
        TiffCompression compression;
        int quality, tolerance;
        SampleType type;
        long long channels;
        ValueRange<double> range;
        Vector extent, tile;
        std::string layout;
    };
    Case const cases[] = {
        {None, 0, 0, U8, 1, {0, 255}, {61, 45, 1}, {16, 16, 1}, "colour 1"},
        {Lzw, 0, 0, U16, 2, {0, 4095}, {33, 77, 3}, {32, 16, 1}, "colour 1 extra 10"},
        {Deflate, 0, 0, U8, 3, {0, 1}, {64, 64, 3}, {16, 48, 1}, "colour 2 predictor 2"},
        {Deflate, 0, 0, F32, 4, {-3, 7}, {37, 9, 1}, {64, 64, 1}, "colour 2 predictor 3 extra 12"},
        {Zstd, 0, 0, U32, 5, {0, 9}, {50, 51, 3}, {16, 32, 1}, "colour 1 predictor 2 extra 40"},
        {Zstd, 0, 0, I16, 2, {-9, 9}, {50, 51, 1}, {16, 32, 1}, "colour 1 predictor 2 extra 10"},
        {Lzw, 0, 0, I32, 1, {-1e9, 1e9}, {50, 51, 1}, {16, 32, 1}, "colour 1"},
        {Zstd, 0, 0, F64, 1, {0, 1}, {90, 5, 1}, {80, 16, 1}, "colour 1 predictor 3"},
        {Jpeg, 90, 6, U8, 3, {0, 255}, {61, 45, 3}, {48, 16, 1}, "colour 6 step 11"},
        {Jpeg, 89, 9, U8, 3, {0, 255}, {61, 45, 1}, {48, 32, 1}, "colour 6 step 22"},
        {Jpeg, 95, 6, U8, 1, {0, 255}, {61, 45, 1}, {16, 16, 1}, "colour 1"},
        {Jpeg, 95, 6, U8, 4, {0, 255}, {61, 45, 2}, {16, 32, 1}, "colour 2 extra 12"},
        {Jpeg, 95, 6, U8, 7, {0, 255}, {61, 45, 1}, {48, 16, 1}, "colour 1 extra 60"},
    };
    for (int i = 0; i < 2 * static_cast<int>(std::size(cases)); ++i) {
        Case const& row = cases[i / 2];
        bool const usesPyramid = i % 2 == 0;
        SCOPED_TRACE(row.layout + (usesPyramid ? ", levels read" : ", levels computed"));
        Source source(row.extent);
        source.channels = row.channels;
        source.range = row.range;
        auto const noise = [&](long long level, long long c, Vector const& p) {
            double const odd[] = {-5.5, 254.5, 300, std::nan(""), 0.49999, 65534.5};
            bool const isOdd = row.type < F32 && p.y % 3 == 0;
            return isOdd ? odd[p.x % 6] : noiseOf(row.type, c + 100 * level, p, 0.2);
        };
        if (row.tolerance == 0) source.valueOf = noise;
        std::set<std::string> contents;
        for (int const threads : {1, 2, 5}) {
            Writer writer(source, path);
            writer.setNumThreads(threads);
            writer.setCompression(row.compression);
            if (row.quality != 90) writer.setQuality(std::max(row.quality, 1));
            writer.setSampleType(row.type);
            writer.setTileExtent(row.tile);
            writer.setUseSrcImagePyramid(usesPyramid);
            Monitor monitor;
            writer.writeImage(&monitor, nullptr);
            ASSERT_EQ(writer.getOutcome(), Outcome::Complete) << writer.getFailure();
            EXPECT_EQ(monitor.getProgress(), monitor.getMaxValue()) << "counts to the end";
            contents.insert(slurp(path));
        }
        EXPECT_EQ(contents.size(), 1U) << "the bytes depend on the number of threads";
        TiffImage image(path);
        EXPECT_EQ(image.getSampleType(), row.type);
        EXPECT_EQ(image.getValueRange(), row.range);
        EXPECT_EQ(image.getVoxelSize(1), source.getVoxelSize(1) * Vector(1, 1, 0));
        auto const stored = [&](long long level, long long c, Vector p) {
            std::optional<double> value;
            if (usesPyramid || level == 0) value = toStored(row.type, source.valueOf(level, c, p));
            return value;
        };
        long long const alpha = row.channels == 4 ? 3 : -1;
        Reference(row.type, row.channels, row.extent, stored, alpha).check(image, 8, row.tolerance);
        std::vector<std::string> expected;
        auto const sideOf = [](long long tile, long long side) {
            return std::min(tile, (side + 15) / 16 * 16);
        };
        Vector const shape(sideOf(row.tile.x, row.extent.x), sideOf(row.tile.y, row.extent.y), 1);
        for (long long page = 0; page < source.getNumLevels() * row.extent.z; ++page) {
            auto const kind = (page % source.getNumLevels() > 0 ? FILETYPE_REDUCEDIMAGE : 0) +
                              (row.extent.z > 1 ? FILETYPE_PAGE : 0);
            auto const numbers = Vector(shape.x, shape.y, kind).toString();
            expected.push_back(numbers + " " + row.layout);
        }
        EXPECT_EQ(describePages(path), expected);
    }
}

TEST_F(TiffWriterTest, ChoosesTheTypeByTheRange) {
    std::pair<ValueRange<double>, SampleType> const cases[] = {
        {{0, 255}, U8}, {{0, 65535}, U16}, {{0, 254}, F32}, {{-3, 7}, F32}, {{1, 255}, F32}};
    for (auto const& [range, type] : cases) {
        Source source;
        source.range = range;
        EXPECT_EQ(Writer(source, path).run(), Outcome::Complete);
        EXPECT_EQ(TiffImage(path).getSampleType(), type);
    }
}

TEST_F(TiffWriterTest, RefusesWhatTheFormatCannotHoldAndLeavesTheTargetAlone) {
    std::pair<char const*, std::function<void(Source&, Writer&)>> const cases[] = {
        {"tiles of 100", [](Source&, Writer& w) { w.setTileExtent(Vector(100, 16, 1)); }},
        {"deep tiles", [](Source&, Writer& w) { w.setTileExtent(Vector(16, 16, 2)); }},
        {"JPEG of u16", [](Source&, Writer& w) { w.setCompression(Jpeg), w.setSampleType(U16); }},
        {"quality 101", [](Source&, Writer& w) { w.setCompression(Jpeg), w.setQuality(101); }},
        {"OME-TIFF of f16",
         [](Source&, Writer& w) { w.setLayout(TiffLayout::Ome), w.setSampleType(F16); }},
        {"two slices for the cloud",
         [](Source& s, Writer& w) { s.extent.z = 2, w.setLayout(TiffLayout::Cog); }},
        {"no pixels", [](Source& s, Writer&) { s.extent.x = 0; }},
        {"no channels", [](Source& s, Writer&) { s.channels = 0; }},
        {"sides of 2^32", [](Source& s, Writer&) { s.extent = {1LL << 32, 99, 1}; }},
        {"2^54 tiles", [](Source& s, Writer&) { s.extent = {1LL << 31, 1LL << 31, 1}; }},
        {"levels that are no halves",
         [](Source& s, Writer& w) { s.excess = 1, w.setUseSrcImagePyramid(false); }},
        {"a folder that is missing",
         [&](Source&, Writer& w) { w.setFilename(folder + "/none/a.tif"); }},
        {"a file that is to be kept", [](Source&, Writer& w) { w.setReplacing(false); }},
        {"a folder as target", [&](Source&, Writer& w) { w.setFilename(folder); }},
    };
    for (auto const& [reason, prepare] : cases) {
        SCOPED_TRACE(reason);
        spill(path, "old");
        Source source;
        Writer writer(source, path);
        prepare(source, writer);
        EXPECT_EQ(writer.run(), Outcome::Failed);
        expectMessage(writer.getFailure(), writer.getFilename());
        EXPECT_EQ(list(), std::set<std::string>{"image.tif"});
        EXPECT_EQ(slurp(path), "old");
    }
    Source source;
    Writer writer(source, "");
    EXPECT_EQ(errorOf([&] { writer.run(); }), "Writer is not ready");
    EXPECT_EQ(writer.getOutcome(), Outcome::NotRun);
}

TEST_F(TiffWriterTest, WhateverStopsItItLeavesNothingAndCanWriteAgain) {
    Source source;
    source.extent.z = 2;
    Writer writer(source, path);
    for (bool const usesPyramid : {true, false}) {
        writer.setUseSrcImagePyramid(usesPyramid);
        CountingChecker counter;
        ASSERT_EQ(writer.run(&counter), Outcome::Complete);
        EXPECT_GE(counter.calls, 24) << "one for each tile";
        std::string const good = slurp(path);
        spill(path, "old");
        auto const expectOld = [&] {
            EXPECT_EQ(list(), std::set<std::string>{"image.tif"});
            EXPECT_EQ(slurp(path), "old");
        };
        for (int n = 1; n <= counter.calls; ++n) {
            CountingChecker checker;
            checker.cancelsAt = n;
            EXPECT_EQ(writer.run(&checker), Outcome::Cancelled) << n;
            EXPECT_EQ(writer.getFailure(), "");
            expectOld();
        }
        source.readsUntilFailure = 5;
        EXPECT_EQ(writer.run(), Outcome::Failed);
        EXPECT_EQ(writer.getFailure(), "source is broken");
        expectOld();
        auto const writeWithin = [&](std::size_t size) {
            rlimit const limit{size, size};
            ::setrlimit(RLIMIT_FSIZE, &limit);
            std::signal(SIGXFSZ, SIG_IGN);
            Writer other(source, path);
            other.setUseSrcImagePyramid(usesPyramid);
            bool const failed =
                other.run() == Outcome::Failed && other.getFailure().rfind(path + ": ", 0) == 0;
            std::_Exit(failed ? 0 : 1);
        };
        EXPECT_EXIT(writeWithin(2000), testing::ExitedWithCode(0), "");
        EXPECT_EXIT(writeWithin(good.size() - 10), testing::ExitedWithCode(0), "");
        expectOld();
        ASSERT_EQ(writer.run(), Outcome::Complete) << writer.getFailure();
        EXPECT_EQ(slurp(path), good);
        writer.endWriting(true);  // by somebody who has no exception
        EXPECT_EQ(writer.getFailure(), path + ": writing was given up");
    }
}

}  // namespace Quivo::Testing
