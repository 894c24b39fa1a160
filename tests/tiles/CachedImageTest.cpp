#include <quivo/filters/ArbitraryDownsampleFilter.h>
#include <quivo/image/BufferImage.h>
#include <quivo/tiles/CachedImage.h>

#include "support/Probe.h"

#include <climits>
#include <list>

namespace Quivo::Testing {

TEST(CachedImage, DoesWhatAListOfTilesDoesInAnySequence) {
    for (auto const& [cacheSizeMB, capacity] : {std::pair(0, 1U), {1, 8U}, {-1, 1000U}}) {
        double content = 0;  // changes with the hash or, so that old tiles show, without
        ProbeImage source;
        source.extent = {150, 100, 10};
        source.tileExtent = {32, 32, 8};  // 5 x 4 x 2 tiles of 1/8 MiB
        source.valueOf = [&](auto... at) { return source.valueAt(at...) + content; };
        CachedImage cache(&source, cacheSizeMB, false);
        std::list<std::tuple<long long, Vector, double>> tiles;  // oldest first
        auto reads = source.reads;
        RandomBoxes parts(Box(source.tileExtent)), draws(Box({-1, -1, -1}, {5, 4, 2}));
        for (unsigned i = 0, draw = 7; i < 1100; ++i, draw = draw * 1664525 + 1013904223) {
            long long const level = std::array{-1, 0, 0, 1, 1, 2, 3, 70}[draw >> 29];
            Box const part = parts.next(), drawn = draws.next();
            Vector const index = i % 4 ? drawn.max : drawn.min, at = drawn.max * Vector(3);
            Vector const e = source.tileExtent, dstExtent(9, 7, 3);
            content += i % 23 == 0;
            if (i % 271 == 0) i % 2 ? void(++source.hash) : cache.clearCache(), tiles.clear();
            source.readsBeforeFailure = i % 9 == 0 ? 0 : -1;

            auto const l = std::clamp(level, 0LL, 9LL);  // halvings of 5 x 4 tiles, rounded up
            bool const isInGrid = level >= 0 && Box({}, {4 >> l, 3 >> l, 1}).contains(index);
            auto const found = std::find_if(tiles.begin(), tiles.end(), [&](auto const& tile) {
                return std::get<0>(tile) == level && std::get<1>(tile) == index;
            });
            bool const isRead = isInGrid && found == tiles.end(), fails = isRead && i % 9 == 0;
            if (isRead) reads.emplace_back(level, Box(e).translated(index * e));
            if (isRead && tiles.size() == capacity) tiles.pop_front();
            if (isRead && !fails) tiles.emplace_back(level, index, content);
            if (isInGrid && !isRead) tiles.splice(tiles.end(), tiles, found);

            GuardedBlock dst(2 * dstExtent.prod());
            auto const copyPart = [&] {
                cache.openTileRegionToPosition(dst.data(), level, index * e, part, dstExtent, at);
            };
            EXPECT_EQ(errorOf(copyPart), fails ? "no data" : "");
            ASSERT_EQ(source.reads, reads) << "at " << i;
            auto const expected = [&](long long c, Vector const& p) {
                Vector const q = p - at + part.min;
                if (!isInGrid || fails || !part.contains(q)) return dst.untouched;
                return source.valueAt(level, c, index * e + q) + std::get<2>(tiles.back());
            };
            ASSERT_EQ(dst.take(), pixelByPixel(2, Box(dstExtent), expected)) << "at " << i;
        }
    }
}

TEST(CachedImage, TakesTilesOfOnePixelWhereTheSourceHasNone) {
    double const pixel = 8;
    BufferImage<double> empty(&pixel, {0, 0, 1}, 1, {0, 9}, {});
    BufferImage<double> single(&pixel, {1, 1, 1}, 1, {0, 9}, {});
    ArbitraryDownsampleFilter shrunk(&single, 0.5, false);
    for (Image* source : {static_cast<Image*>(&empty), static_cast<Image*>(&shrunk)}) {
        EXPECT_EQ(source->getTileExtent().x, 0);
        CachedImage cache(source, 1, false);
        EXPECT_EQ(read(cache, 0, Box(Vector(3, 2, 1))), Values(6));
    }
}

TEST(CachedImage, RefusesASourceThatReadsThroughItAndStaysWhole) {
    struct Source : ProbeImage {
        std::function<void()> act = [] {};
        void openRegion(double* dst, long long level, Box const& region) override {
            act(), ProbeImage::openRegion(dst, level, region);
        }
    } source;
    std::string const refusal = "The source of a cache must not read through that cache";
    Box const tile(source.tileExtent), all(source.extent);
    Values const expected =
        pixelByPixel(2, all, [&](auto... at) { return source.valueAt(0, at...); });
    for (long long const cacheSizeMB : {0, 1, -1}) {  // one tile, and more than there are
        CachedImage inner(&source, cacheSizeMB, false), outer(&inner, cacheSizeMB, false);
        (void)read(outer, 0, tile.translated({4, 0, 0}));
        for (CachedImage* const read1 : {&inner, &outer}) {  // outer: with a cache between
            source.act = [&] { (void)read(*read1, 1, tile); };
            EXPECT_EQ(errorOf([&] { (void)read(*read1, 0, tile); }), refusal);
        }
        source.act = [&] { EXPECT_EQ(errorOf([&] { (void)read(outer, 0, tile); }), refusal); };
        EXPECT_EQ(read(outer, 0, all), expected) << "where the source swallows it";
        outer.clearCache();
        source.act = [&] { inner.clearCache(), outer.clearCache(); };
        EXPECT_EQ(read(outer, 0, all), expected) << "and where it empties what is in use";
        source.act = [] {};
        auto const numReads = source.reads.size();
        (void)read(outer, 0, tile.translated({12, 6, 1}));
        EXPECT_EQ(source.reads.size(), numReads) << "what was read last is kept";
        EXPECT_EQ(read(outer, 0, all), expected);
    }
    CachedImage cache(&source, 1, false);
    source.numChannels = 3, ++source.hash;
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(errorOf([&] { (void)read(cache, 0, tile); }),
                  "The source of a cache has changed its number of channels");
    source.numChannels = 2;
    EXPECT_EQ(read(cache, 0, all), expected);
}

TEST(CachedImage, HoldsWhatFitsAndAtLeastOneTile) {
    long long const cases[][4] = {{1, 128, 2, 2},        {1, 257, 1, 1},        {0, 16, 1, 1},
                                  {LLONG_MAX, 16, 1, 5}, {LLONG_MIN, 16, 1, 5}, {0, 16, 0, 5},
                                  {1, 16, 0, 5}};
    for (auto const& [cacheSizeMB, tileWidth, numChannels, numTilesKept] : cases) {
        ProbeImage source;
        source.numChannels = numChannels;
        source.extent = {5 * tileWidth, 256, 1};
        CachedImage cache(&source, cacheSizeMB, {tileWidth, 256, 1}, false);
        for (int i : {0, 1, 2, 3, 4, 4, 3, 2, 1, 0})  // youngest first on the way back
            (void)read(cache, 0, Box(Vector(1)).translated({i * tileWidth, 0, 0}));
        EXPECT_EQ(10 - std::ssize(source.reads), numTilesKept) << cacheSizeMB << ' ' << tileWidth;
    }
}

}  // namespace Quivo::Testing
