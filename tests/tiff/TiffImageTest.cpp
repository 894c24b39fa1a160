#include <quivo/filters/SubImageFilter.h>
#include <quivo/samples/ReadSamples.h>
#include <quivo/tiff/TiffImage.h>
#include <quivo/tiles/CachedImage.h>

#include "TiffMaker.h"

#include <thread>

namespace Quivo::Testing {

using TiffImageTest = TempFolder;
using TiffImageThreads = TempFolder;

namespace {

/// Overwrites the last eighth of a compressed tile or strip.
void damage(std::string const& path, std::uint32_t block) {
    TIFF* const tiff = TIFFOpen(path.c_str(), "r");
    auto const size = TIFFGetStrileByteCount(tiff, block);
    auto const end = TIFFGetStrileOffset(tiff, block) + size;
    TIFFClose(tiff);
    spill(path, slurp(path).replace(end - size / 8, size / 8, size / 8, '\x55'));
}

/// Expects of samples of chosen channels what the same region is as doubles.
void expectSamplesLikeDoubles(TiffImage& image, long long level, Box const& region,
                              std::vector<long long> const& channels) {
    auto const all = read(image, level, region);
    withType(image.getSampleType(), [&](auto sample) {
        GuardedBlock<decltype(sample)> dst(std::ssize(channels) * region.getSize());
        image.openSamples(dst.data(), level, region, channels);
        std::vector<decltype(sample)> expected;
        for (auto const c : channels)
            for (long long i = 0; i < region.getSize(); ++i)
                expected.push_back(static_cast<decltype(sample)>(
                    all[static_cast<std::size_t>(c * region.getSize() + i)]));
        EXPECT_EQ(dst.take(), expected) << "level " << level;
        return 0;
    });
}

/// More than 2 MiB in one strip: decoded row by row.
std::vector<Page> const longStrip = pagesOf("1031x700 u32 strips:700 deflate");

}  // namespace

TEST_F(TiffImageTest, ReadsAnyBoxOfAnyFileLikeAPixelByPixelReader) {
    struct Case {
        char const *reason, *mode, *stored, *pages;
    };
    // 320 is the palette (its largest entry / 255), 330 the number of sub-directories, 530 the
    // subsampling, 65538 that pixels are handed in as RGB.
    Case const cases[] = {
        {"plain tiles", "w", "0", "u8"},
        {"slices", "w8", "0", "u16*3 deflate; u16*3 deflate slice:1; u16*3 lzw slice:2"},
        {"tiles in planes", "w", "0", "i32*5 planes zstd"},
        {"tiles larger than the image", "w8", "0", "f64*2 tiles:80x64 lzw"},
        {"strips of a row", "w", "0", "i8*5 strips:1 packbits; i8*5 strips:1 slice:1"},
        {"planes in strips, the last one short", "w8", "0", "f32*2 strips:7 planes zstd"},
        {"strips gathered to several blocks", "w", "0", "1500x600 f64 strips:7 lzw"},
        {"one strip, several reads", "w8", "0", "701x500 f32*3 strips:500 planes deflate"},
        {"one strip, any row at once", "w", "0", "1031x700 i16*2 strips:700"},
        {"two strips of several reads", "w", "0", "1031x1200 u32 strips:650 packbits"},
        {"tiles with swapped bytes", "wb", "0", "u16*3 lzw"},
        {"strips with swapped bytes", "wb", "0", "i32 strips:7 packbits"},
        {"a long strip with swapped bytes", "wb8", "0", "1031x700 f64 strips:700"},
        {"little-endian, whatever the machine", "wl", "0", "u32*2 zstd"},
        {"slices cut differently", "w", "0", "u16 strips:7; u16 slice:1; u16 tiles:64x64 slice:2"},
        {"a tile never written", "w", "0", "u8 lzw skip:1"},
        {"white is 0", "w", "0", "u8 white0"},
        {"white is 0 in strips", "w", "0", "u16 strips:7 white0"},
        {"palette of old files", "w", "0", "u8 palette 320=1"},
        {"palette", "w", "0", "u8 strips:7 palette 320=257"},
        {"JPEG, blurred least where tiles are flat", "w", "0", "u8*3 jpeg ycbcr 65538=1 flat"},
        {"YCbCr tiles", "w", "0", "u8*3 ycbcr 530=1 grey"},
        {"YCbCr strips", "w", "0", "u8*3 strips:7 ycbcr 530=1 grey"},
        {"rounded down", "w", "012", "u8; 30x22 reduced level:1; 15x11 reduced level:2"},
        {"rounded up", "w", "013", "u8; 31x23 reduced level:1; 8x6 reduced level:3"},
        {"a pixel short", "w", "01", "60x44; 29x21 reduced level:1"},
        {"too far off", "w", "0", "u8; 29x22 reduced level:-1; 30x24 reduced level:-1"},
        {"sizes a pixel apart", "w", "045", "64x64; 4x4 reduced level:4; 2x2 reduced level:5"},
        {"sub-directories need no mark", "w", "012", "u8 330=2; 30x22 level:1; 15x11 level:2"},
        {"a level left out", "w", "02", "u8; 15x11 reduced level:2"},
        {"coarsest first", "w", "012", "u8; 15x11 reduced level:2; 30x22 reduced level:1"},
        {"label", "w", "01", "u8; 50x40 level:-1; 30x22 reduced level:1"},
        {"thumbnail", "w", "01", "u8; 20x20 reduced level:-1; 30x22 reduced level:1"},
        {"half the size, not marked", "w", "01", "u8; 30x22 level:1"},
        {"half the size of a mask", "w", "0", "u8; 30x22 mask level:-1"},
        {"pixels of another type", "w", "0", "u8; 30x22 u16 reduced level:-1"},
        {"opacity weighs what is computed", "w", "0", "u8*4 rgb 338=2"},
        {"opacity of its own plane", "w", "0", "u16*4 rgb planes 338=2"},
        {"opacity of floats, perhaps negative", "w", "0", "f32*2 strips:7 planes 338=2"},
        {"opacity that colours contain already", "w", "0", "u8*4 rgb 338=1"},
        {"slices with levels", "w", "01",
         "u8; 30x22 reduced level:1; 30x22 reduced level:1 slice:1; u8 slice:1"},
        {"a slice without levels", "w", "0", "u8; 30x22 reduced level:-1; u8 slice:1"},
    };
    for (auto const& [reason, mode, expected, text] : cases) {
        SCOPED_TRACE(reason);
        auto const pages = pagesOf(text);
        makeTiff(path, pages, mode);
        TiffImage image(path);
        EXPECT_EQ(image.getSampleType(), pages[0].type);
        std::string stored;
        for (int level = -1; level < 12; ++level)
            if (image.isLevelStored(level)) stored += std::to_string(level);
        EXPECT_EQ(stored, expected);
        bool const isLossy = pages[0].has(TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_YCBCR);
        Reference(pages).check(image, pages[0].width < 100 ? 30 : 6, isLossy ? 2 : 0);
        RandomBoxes boxes(Box(Vector(pages[0].width, 50, 2)));
        auto const last = image.getNumChannels() - 1;
        for (long long level : {-1, 0, 1, 2, 3})
            expectSamplesLikeDoubles(image, level, boxes.next(), {last, 0, last});
    }
}

TEST_F(TiffImageTest, ReadsWhatNoWriterOfOursMakes) {
    // Levels in sub-directories that lie in the file in another order than their slices.
    auto const pages = pagesOf("u8 330=1; 30x22 level:1 slice:1; u8 slice:1 330=1; 30x22 level:1");
    makeTiff(path, pages, "wl");
    std::string bytes = slurp(path);
    std::vector<std::size_t> offsets;
    for (auto at = bytes.find("\x4A\x01"); at != bytes.npos; at = bytes.find("\x4A\x01", at + 1))
        if (bytes.compare(at + 3, 5, std::string("\0\1\0\0\0", 5)) == 0) offsets.push_back(at + 8);
    ASSERT_EQ(offsets.size(), 2U);
    std::swap_ranges(&bytes[offsets[0]], &bytes[offsets[0] + 4], &bytes[offsets[1]]);
    spill(path, bytes);
    TiffImage stack(path);
    EXPECT_TRUE(stack.isLevelStored(1));
    Reference({pages[0], pages[3], pages[1], pages[2]}).check(stack, 8);

    makeTiff(path, longStrip);
    patchTags(path, {{TIFFTAG_STRIPOFFSETS, 0}, {TIFFTAG_STRIPBYTECOUNTS, 0}});
    TiffImage sparse(path);
    EXPECT_EQ(read(sparse, 0, Box({1000, 600, 0}, {1001, 601, 0})), Values(4)) << "never written";
}

TEST_F(TiffImageTest, TellsWhatTheTagsTell) {
    struct Case {
        char const* reason;
        Vector voxelSize;
        ValueRange<double> range;
        std::string names;
        std::string meaning;  ///< colour model, then A or U for each channel that is opacity
        Page page;
    };
    // Resolution: 282, 283 per 296 (1: nothing, 2: inch, 3: centimetre). Range: 280, 281 and, in
    // the sample type, 340, 341. Extra sample: 338 (2: opacity).
    Case const cases[] = {
        {"nothing", 0, {0, 65535}, "Gray,", "Grey", {"u16"}},
        {"per cm", {394, 787, 0}, {-128, 127}, "Gray,", "Grey", {"i8 282=25400 283=12700 296=3"}},
        {"per inch", {1000, 2000, 0}, {0, 1}, "Gray,", "Grey", {"f32 282=25400 283=12700 296=2"}},
        {"inch by default", {1000, 2000, 0}, {0, 255}, ",,", "None", {"u8*2 282=25400 283=12700"}},
        {"an aspect only", 0, {0, 255}, "Gray,", "Grey", {"u8 282=25400 283=12700 296=1"}},
        {"range", 0, {100, 4095}, "Gray,", "Grey", {"u16 280=100 281=4095"}},
        {"range turned over",
         0,
         {65535 - 4095, 65435},
         "Gray,",
         "Grey",
         {"u16 white0 280=100 281=4095"}},
        {"typed range", 0, {-3.5, 7.25}, "Gray,", "Grey", {"f32 340=-3.5 341=7.25"}},
        {"a range without values", 0, {0, 255}, "Gray,", "Grey", {"u8 340=7 341=7"}},
        {"colours", 0, {0, 255}, "Red,Green,Blue,", "Rgb", {"u8*3 rgb"}},
        {"opacity", 0, {0, 255}, "Red,Green,Blue,Alpha,", "Rgb...U", {"u8*4 rgb 338=2"}},
        {"opacity multiplied in",
         0,
         {0, 255},
         "Red,Green,Blue,Alpha,",
         "Rgb...A",
         {"u8*4 rgb 338=1"}},
        {"grey with opacity", 0, {0, 255}, ",,", "Grey.U", {"u8*2 338=2"}},
        {"a fourth of unknown sense", 0, {0, 255}, "Red,Green,Blue,,", "Rgb", {"u8*4 rgb 338=0"}},
    };
    for (Case const& row : cases) {
        SCOPED_TRACE(row.reason);
        makeTiff(path, {row.page});
        TiffImage image(path);
        EXPECT_EQ(image.getVoxelSize(0), row.voxelSize);
        EXPECT_EQ(image.getVoxelSize(2), row.voxelSize * Vector(4, 4, 1));
        EXPECT_EQ(image.getValueRange(), row.range);
        auto const metadata = getMetadata(image);
        auto const [width, height, depth] = metadata.pixelSize;
        EXPECT_EQ(Vector(std::llround(width), std::llround(height), std::llround(depth)),
                  row.voxelSize);
        EXPECT_TRUE(row.voxelSize.x != 394 || width == 1e7 / 25400) << "more than whole numbers";
        std::string meaning(metadata.colourModel == ColourModel::Rgb    ? "Rgb"
                            : metadata.colourModel == ColourModel::Grey ? "Grey"
                                                                        : "None");
        std::string opacity;
        for (auto const& channel : metadata.channels) {
            opacity += ".UA"[static_cast<int>(channel.alpha)];
        }
        EXPECT_EQ(row.meaning,
                  metadata.getAlpha() == AlphaKind::None ? meaning : meaning + opacity);
        std::string names;
        for (int c = 0; c < row.page.samples; ++c) names += image.getChannelName(c) + ",";
        EXPECT_EQ(names, row.names);
        EXPECT_EQ(errorOf([&] { image.getChannelName(row.page.samples); }),
                  "Invalid channel index. Cannot determine its name.");
    }
}

/// Adds 1 to what is read.
struct RaisedTiff : TiffImage {
    using TiffImage::TiffImage;
    void openTileRegionToPosition(double* dst, long long level, Vector const& tilePosition,
                                  Box const& tileRegion, Vector const& dstExtent,
                                  Vector const& dstPosition) override {
        TiffImage::openTileRegionToPosition(dst, level, tilePosition, tileRegion, dstExtent,
                                            dstPosition);
        std::for_each_n(dst, getNumChannels() * dstExtent.prod(), [](double& v) { ++v; });
    }
};

TEST_F(TiffImageTest, GivesItsSamplesThroughWhatADerivedClassOverrides) {
    makeTiff(path, pagesOf("61x45 u8*3 rgb"));
    RaisedTiff image(path);
    SubImageFilter box(&image, Box({3, 2, 0}, {30, 20, 0}), 0, false);
    std::vector<unsigned char> bytes(3);
    readSamples(box, bytes.data(), SampleType::U8, 0, Box(Vector(), Vector()), {});
    EXPECT_EQ(Values(bytes.begin(), bytes.end()), read(box, 0, Box(Vector(), Vector())));
    TiffImage plain(path);
    EXPECT_EQ(bytes[0], read(plain, 0, Box({3, 2, 0}, {3, 2, 0}))[0] + 1);
    EXPECT_NE(findSampleSource(plain), nullptr);
}

TEST_F(TiffImageTest, CopiesAPartOfATileAndTouchesNothingElse) {
    auto const pages = pagesOf(
        "60x44 u8*2; 29x21 u8*2 reduced level:1; 29x21 u8*2 reduced level:1 slice:1;"
        "60x44 u8*2 slice:1");
    makeTiff(path, pages);
    TiffImage image(path);
    Reference const reference(pages);
    Vector const dstExtent(40, 20, 3), dstPosition(3, 2, 1);
    Box const part({1, 3, 0}, {29, 15, 1});
    // All but the second part reach past their level; that one past what the file stores of it.
    std::pair<long long, Vector> const tiles[] = {
        {0, {32, 32, 1}}, {1, {0, 6, 0}}, {1, {32, 32, 0}}, {2, {0, 0, 0}}, {9, {0, 0, 0}}};
    for (auto const& [level, tile] : tiles) {
        GuardedBlock dst(2 * dstExtent.prod());
        image.openTileRegionToPosition(dst.data(), level, tile, part, dstExtent, dstPosition);
        image.openTileRegionToPosition(dst.data(), level, tile, Box(), dstExtent, dstPosition);
        auto const valueOf = [&, at = level, origin = tile](long long c, Vector const& p) {
            Vector const q = p - dstPosition + part.min;
            return part.contains(q) ? reference.valueAt(at, c, q + origin) : dst.untouched;
        };
        EXPECT_EQ(dst.take(), pixelByPixel(2, Box(dstExtent), valueOf)) << "level " << level;
    }
}

TEST_F(TiffImageTest, RefusesWhatItCannotReadInOneLineAndSilently) {
    makeTiff(path, pagesOf("u8 deflate"));
    std::string const good = slurp(path);
    auto const cut = [&](std::size_t size) {
        return [=, this] { spill(path, good.substr(0, size)); };
    };
    auto const noise = [&](std::string const& start) {
        auto bytes = start;
        for (int i = 0; i < 5000; ++i) bytes += static_cast<char>(noiseAt(0, i) * 128);
        return [=, this] { spill(path, bytes); };
    };
    auto const patched = [&](char const* page, std::vector<std::pair<int, unsigned>> const& tags) {
        return [=, this] {
            makeTiff(path, pagesOf(page));
            patchTags(path, tags);
        };
    };
    auto const with = [&](int tag, unsigned value) {
        return patched("u8 deflate", {{tag, value}});
    };
    constexpr unsigned huge = 1U << 31;
    std::pair<char const*, std::function<void()>> const cases[] = {
        {"missing", [] {}},
        {"a folder", [&] { std::filesystem::create_directory(path); }},
        {"empty", cut(0)},
        {"no TIFF", noise("")},
        {"nothing after the header", noise(std::string("II*\0\x08\0\0\0", 8))},
        {"cut in the header", cut(3)},
        {"cut after the header", cut(8)},
        {"cut in the pixels", cut(good.size() / 2)},
        {"cut in the directory", cut(good.size() - 20)},
        {"no pixels", with(TIFFTAG_IMAGEWIDTH, 0)},
        {"24 bits", with(TIFFTAG_BITSPERSAMPLE, 24)},
        {"complex numbers", with(TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_COMPLEXINT)},
        {"YCbCr of one channel", with(TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_YCBCR)},
        {"unknown codec", with(TIFFTAG_COMPRESSION, 12345)},
        {"the bytes of another codec", with(TIFFTAG_COMPRESSION, COMPRESSION_ZSTD)},
        {"tiles of no size", with(TIFFTAG_TILEWIDTH, 0)},
        {"more tiles than bytes", patched("u8", {{256, huge}, {257, huge}})},
        {"a huge tile", patched("u8", {{256, huge}, {257, huge}, {322, huge}, {323, huge}})},
        {"a huge strip", patched("u8 strips:45", {{256, huge}, {257, huge}, {278, huge}})},
        {"a strip beyond the end", patched("u8 strips:45", {{257, 1000}, {278, 1000}})},
    };
    for (auto const& [reason, make] : cases) {
        SCOPED_TRACE(reason);
        std::filesystem::remove(path);
        make();
        testing::internal::CaptureStderr();
        auto const message = errorOf([&] {
            TiffImage image(path);
            read(image, 0, Box(image.getExtent(0)));
        });
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
        expectMessage(message, path);
    }
}

TEST_F(TiffImageThreads, ReadersAtOnceSeeWhatOneWouldSeeBesideADamagedBlockToo) {
    struct Case {
        std::vector<Page> pages;
        std::uint32_t damaged;
        Box bad, good;
    };
    Case const cases[] = {
        {pagesOf("u16*3 rgb deflate"), 3, {{30, 15, 0}, {40, 20, 0}}, {{0, 0, 0}, {60, 15, 0}}},
        {longStrip, 0, {{5, 600, 0}, {9, 699, 0}}, {{0, 0, 0}, {1030, 99, 0}}},
    };
    auto const runAtOnce = [](auto const& read) {
        std::vector<std::thread> readers;
        for (int i = 0; i < 4; ++i) readers.emplace_back(read, i);
        for (auto& reader : readers) reader.join();
    };
    for (Case const& row : cases) {
        makeTiff(path, row.pages);
        Reference const reference(row.pages);
        TiffImage whole(path);
        runAtOnce([&](int i) { reference.check(whole, 8, 0, i); });
        damage(path, row.damaged);
        TiffImage image(path);
        runAtOnce([&](int) {
            for (int i = 0; i < 5; ++i) {
                expectMessage(errorOf([&] { read(image, 0, row.bad); }), path);
                reference.check(image, 0, row.good);
            }
        });
    }
}

TEST_F(TiffImageTest, DecodesEveryBlockOnceOnTheWayDown) {
    // 58 MB of pixels, 49 MB in a row of tiles. 10 rows fit into the 2 MiB of a block, and the
    // blocks computed for level 1 are 128 rows high.
    std::pair<char const*, int> const cases[] = {{"24000x300 f64 strips:7 grey", 43},
                                                 {"24000x300 f64 strips:300 flat deflate", 30}};
    for (auto const& [text, numBlocks] : cases) {
        makeTiff(path, pagesOf(text));
        for (int const level : {0, 1}) {
            TiffImage image(path);
            CountingChecker checker;
            image.setCancellationChecker(&checker);
            Vector const extent = image.getExtent(level), tile(255, 255, 0);
            for (Vector p; p.y < extent.y; p.y += 256)
                for (p.x = 0; p.x < extent.x; p.x += 256) read(image, level, Box(p, p + tile));
            EXPECT_EQ(checker.calls, numBlocks + 2 * level) << text << ", level " << level;
        }
    }
}

TEST_F(TiffImageTest, ForgetsTheBlocksUsedLongestAgo) {
    makeTiff(path, pagesOf("1000x9000 u32 tiles:256x256 flat deflate"));  // 36 MB, 32 MiB are kept
    TiffImage image(path);
    CountingChecker checker;
    image.setCancellationChecker(&checker);
    Box const top(Vector(1000, 256, 1));
    for (Vector down; down.y < 9000; down.y += 256) read(image, 0, top.translated(down));
    EXPECT_EQ(checker.calls, 4 * 36);
    (void)read(image, 0, top.translated({0, 8000, 0}));
    EXPECT_EQ(checker.calls, 4 * 36) << "what came last is still there";
    (void)read(image, 0, top);
    EXPECT_EQ(checker.calls, 4 * 37) << "what came first is read again";
}

TEST_F(TiffImageTest, DecodesNoPlaneThatNobodyAsksFor) {
    std::pair<char const*, int> const cases[] = {{"64x64 u16*5 planes tiles:32x32 deflate", 1},
                                                 {"64x64 u16*5 planes strips:16 lzw", 1},
                                                 {"600x600 u32*5 planes strips:600 lzw", 1},
                                                 {"64x64 u16*5 tiles:32x32 deflate", 5}};
    for (auto const& [text, numDecoded] : cases) {
        for (long long const level : {0, 1}) {
            SCOPED_TRACE(text);
            makeTiff(path, pagesOf(text));
            std::size_t use[2];
            for (auto const& channels : {std::vector<long long>{3}, {3, 0, 1, 4, 2}}) {
                OpenOptions options;
                options.budget = std::make_shared<MemoryBudget>(100 << 20);
                TiffImage image(path, options);
                Box const all(image.getExtent(level));
                std::vector<std::uint32_t> dst(static_cast<std::size_t>(5 * all.getSize()));
                image.openSamples(dst.data(), level, all, channels);
                use[channels.size() / 5] = options.budget->getUse();
                expectSamplesLikeDoubles(image, level, all, channels);
            }
            EXPECT_EQ(use[0] * 5, use[1] * std::size_t(numDecoded)) << "level " << level;
        }
    }
}

TEST_F(TiffImageTest, ImagesOfOneBudgetLetTheOldestBlockOfAnyGo) {
    makeTiff(path, pagesOf("u8 256x16 tiles:16x16"));  // 16 blocks of 256 bytes
    OpenOptions options;
    options.budget = std::make_shared<MemoryBudget>(6 * 256);
    MemoryBudget& budget = *options.budget;
    auto first = std::make_unique<TiffImage>(path, options);
    TiffImage second(path, options);
    CountingChecker checkers[2];
    first->setCancellationChecker(&checkers[0]);
    second.setCancellationChecker(&checkers[1]);
    // Reads a block, and tells whether it was still there.
    auto const has = [&](int which, long long x) {
        auto const calls = checkers[which].calls.load();
        (void)read(which == 0 ? *first : second, 0,
                   Box(Vector(16, 16, 1)).translated({16 * x, 0, 0}));
        return checkers[which].calls == calls;
    };
    for (long long const x : {0, 1, 2})
        for (int const which : {0, 1}) EXPECT_FALSE(has(which, x));
    EXPECT_TRUE(has(0, 0));   // used again, so not the oldest any more
    EXPECT_FALSE(has(1, 3));  // in the place of the second image's first block
    EXPECT_TRUE(has(0, 0) && has(0, 1) && has(1, 1) && has(0, 2) && has(1, 2));
    EXPECT_FALSE(has(1, 0));  // in the place of its fourth block, the one used longest ago by now
    EXPECT_FALSE(has(1, 3));
    EXPECT_EQ(budget.getUse(), 6U * 256);
    EXPECT_EQ(budget.getPeak(), 6U * 256) << "blocks go before new ones are decoded";

    budget.setLimit(5 * 256 + 100);
    EXPECT_EQ(budget.getUse(), 5U * 256);
    {
        auto const reserved = budget.reserve(1000);
        EXPECT_EQ(budget.getUse(), 1000U + 256) << "one block fits beside it";
        EXPECT_TRUE(has(1, 3)) << "the one used last";
        EXPECT_EQ(errorOf([&] { (void)budget.reserve(381); }),
                  "The memory budget of 1380 bytes has no room for 381: 1000 are reserved");
        auto const rest = budget.reserve(380);
        EXPECT_FALSE(has(0, 5)) << "readable without any room";
    }
    EXPECT_EQ(budget.getUse(), 256U);
    for (long long x = 0; x < 16; ++x) (void)(has(0, x), has(1, x));
    first->setCacheLimit(0);
    EXPECT_EQ(budget.getUse(), 3U * 256) << "of the other one alone";
    first.reset();
    for (long long x = 0; x < 16; ++x) (void)has(1, x);
    EXPECT_EQ(budget.getUse(), 5U * 256);
}

TEST_F(TiffImageThreads, OneReadIsCancelledAndNotTheOther) {
    makeTiff(path, longStrip);
    Reference const reference(longStrip);
    TiffImage image(path);
    CachedImage cache(&image, 1, {200, 90, 1}, false);
    SubImageFilter part(&cache, Box({100, 70, 0}, {899, 649, 0}), 0, false);
    Box const all(part.getExtent(0));
    std::atomic<bool> isStopped{false};
    std::thread other([&] {
        do {
            auto const got = read(part, 0, all);
            EXPECT_EQ(got, pixelByPixel(1, all, [&](long long c, Vector const& p) {
                          return reference.valueAt(0, c, p + Vector(100, 70, 0));
                      }));
        } while (!isStopped);
    });
    for (int n = 1; n < 12; ++n) {
        CountingChecker checker;
        checker.cancelsAt = n;
        CancellationScope const scope(checker);
        EXPECT_THROW(read(part, 0, all), CancellationException);
        image.setCacheLimit(0);
        EXPECT_THROW(
            {
                checker.cancelsAt = checker.calls + n;
                for (int level = 2;; level = 1 + level % 2) (void)read(image, level, all);
            },
            CancellationException)
            << "inside the file, too";
        image.setCacheLimit({});
    }
    isStopped = true;
    other.join();
}

TEST_F(TiffImageTest, ACancelledReadLeavesTheImageUsable) {
    makeTiff(path, longStrip);
    Reference const reference(longStrip);
    for (int n = 1; n <= 3; ++n) {
        TiffImage image(path);
        CountingChecker checker;
        checker.cancelsAt = n;
        image.setCancellationChecker(&checker);
        Box const all(image.getExtent(1));
        EXPECT_THROW(read(image, 1, all), CancellationException) << n;
        reference.check(image, 1, all);
        image.setCancellationChecker(nullptr);
        reference.check(image, 2);
    }
}

}  // namespace Quivo::Testing
