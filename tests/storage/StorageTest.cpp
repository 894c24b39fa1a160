// What formats share to be written: sessions that cut an image into the tiles of a pyramid, and
// files that are there as a whole or not at all.

#include "samples/Samples.h"
#include "storage/files/AtomicFile.h"
#include "storage/pyramid/PyramidSession.h"
#include "support/Files.h"
#include "support/Probe.h"

#include <quivo/core/Levels.h>

#include <cstring>
#include <map>

namespace Quivo::Testing {

using namespace detail;

namespace {

/// The place of a tile with its page: level, slice, row, column, channel.
using Key = std::array<long long, 5>;

/// What a sink was given, and in which order.
struct Record {
    std::map<Key, std::vector<float>> tiles;
    std::vector<Key> order;
    int numPages = 0;
};

/// Keeps tiles of floats in memory; "encoded" are the negative values.
struct MemorySink : TileSink {
    Record& record;
    std::string target;
    long long level = -1, slice = -1;

    MemorySink(Record& aRecord, std::string folder)
        : record(aRecord), target(std::move(folder) + "/target") {}
    std::string const& getTarget() const noexcept override { return target; }
    void beginPage(long long ofLevel, long long ofSlice) override {
        level = ofLevel, slice = ofSlice;
    }
    Bytes encode(Bytes samples) const override {
        auto* const values = reinterpret_cast<float*>(samples.data());
        for (std::size_t i = 0; i < samples.size() / sizeof(float); ++i) values[i] = -values[i];
        return samples;
    }
    void store(TilePlace const& place, Bytes const& encoded) override {
        auto& key =
            record.order.emplace_back(Key{level, slice, place.row, place.column, place.channel});
        auto& tile = record.tiles[key];
        tile.resize(encoded.size() / sizeof(float));
        std::memcpy(tile.data(), encoded.data(), encoded.size());
    }
    void endPage() override { ++record.numPages; }
    void finish() override {}
    void commit() override {}
};

struct Monitor final : ProgressMonitor {
    void progressChanged() override {}
};

/// A formula whose halved levels are what `read` says when levels are read, but not when computed.
struct Formula : ProbeImage {
    Formula(Vector const& size, long long channels) {
        extent = size;
        numChannels = channels;
        numLevels = computeNumPyramidLevels(size);
        valueOf = [](long long level, long long c, Vector const& p) {
            return static_cast<double>(static_cast<float>(noiseAt(c + 10 * level, p)));
        };
    }
    /// The slow way: the formula, or the mean of the four values below, each as it is stored.
    float at(long long level, long long c, Vector const& p, bool computes) const {
        if (level == 0 || !computes) return static_cast<float>(valueOf(level, c, p));
        double sum = 0;
        for (auto const& [x, y] : {std::pair{0, 0}, {1, 0}, {0, 1}, {1, 1}})
            sum += static_cast<double>(
                at(level - 1, c, Vector(2 * p.x + x, 2 * p.y + y, p.z), computes));
        return static_cast<float>(sum * 0.25);
    }
};

}  // namespace

using StorageTest = TempFolder;

TEST_F(StorageTest, SessionsCutAsAPixelByPixelWriterDoes) {
    struct {
        Vector extent, tile;
        long long channels;
        char const* reason;
    } const cases[] = {
        {{37, 23, 1}, {8, 6, 1}, 1, "tiles over two borders"},
        {{32, 16, 2}, {8, 8, 1}, 3, "tiles that fit, slices, pixels of three"},
        {{5, 70, 1}, {16, 16, 1}, 4, "less than a tile wide"},
        {{41, 9, 3}, {2, 4, 1}, 2, "tiles of a few pixels, levels down to one row"},
    };
    for (int i = 0; i < 16 * static_cast<int>(std::size(cases)); ++i) {
        auto const& [extent, tile, channels, reason] = cases[i / 16];
        SCOPED_TRACE(testing::Message() << reason << ", " << i % 16);
        bool const computes = i % 2 == 0, isPlanar = i / 2 % 2 == 1;
        Formula image(extent, channels);
        PyramidPlan plan;
        plan.tile = {tile.x, tile.y, channels, SampleType::F32};
        plan.layout = isPlanar ? TileLayout::Planar : TileLayout::Interleaved;
        plan.computesLevels = computes;
        plan.numThreads = 1 + i / 4 % 4;
        long long numTiles = 0;
        for (long long level = 0; level < image.numLevels; ++level) {
            plan.extents.push_back(image.getExtent(level));
            numTiles += ((plan.extents.back() - Vector(1)) / tile + Vector(1)).prod();
        }
        Record record;
        Monitor monitor;
        ImageWriter::DownsampleOrProxy source(&image, false);
        PyramidSession session(plan, std::make_unique<MemorySink>(record, folder));
        for (long long level = 0; level < image.numLevels; ++level)
            session.writeLevel(source, level, &monitor, nullptr);
        session.finish();

        long long const numPlanes = isPlanar ? channels : 1, perPixel = isPlanar ? 1 : channels;
        EXPECT_TRUE(std::is_sorted(record.order.begin(), record.order.end()));
        EXPECT_EQ(std::ssize(record.order), numTiles * numPlanes);
        EXPECT_EQ(record.tiles.size(), record.order.size()) << "none comes twice";
        EXPECT_EQ(record.numPages, image.numLevels * extent.z);
        EXPECT_EQ(monitor.getProgress(), numTiles);
        for (auto const& [key, found] : record.tiles) {
            long long const level = key[0], plane = key[4];
            Vector const corner(key[3] * tile.x, key[2] * tile.y, key[1]);
            Vector const last = image.getExtent(level) - Vector(1);
            auto const valueOf = [&](long long, Vector p) {
                long long const c = plane + p.x % perPixel;
                p = corner + Vector(p.x / perPixel, p.y, 0);
                p.clip(Vector(0), last);  // the border goes on
                return -image.at(level, c, p, computes);
            };
            ASSERT_EQ(found, pixelByPixel(1, Box(Vector(tile.x * perPixel, tile.y, 1)), valueOf))
                << testing::PrintToString(key);
        }
        EXPECT_TRUE(list().empty()) << "scratch is nameless, or gone";
    }
}

TEST_F(StorageTest, AtomicFilesFollowTheRulesOfTargets) {
    path = folder + "/a";
    spill(path, "a");
    std::filesystem::permissions(path, std::filesystem::perms(0640));
    std::filesystem::create_symlink("a", folder + "/link");
    {
        AtomicFile dropped(path, Existing::Replaced);
        EXPECT_TRUE(dropped.getFile().write("new", 3, 0));
        EXPECT_EQ(list().size(), 3U);
    }
    EXPECT_EQ(slurp(path), "a");
    {
        AtomicFile file(folder + "/link", Existing::Replaced);
        EXPECT_TRUE(file.getFile().write("new", 3, 0));
        file.commit();
    }
    EXPECT_EQ(slurp(path), "new");
    EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms(0640));
    auto const open = [&](std::string const& name, Existing existing) {
        return errorOf([&] { AtomicFile(folder + "/" + name, existing); });
    };
    EXPECT_EQ(open("a", Existing::Kept), path + ": cannot create: File exists");
    EXPECT_EQ(open("", Existing::Replaced),
              folder + "/: is not a regular file and cannot be replaced");
    EXPECT_EQ(open("none/b", Existing::Kept),
              folder + "/none/b: cannot create: No such file or directory");
    AtomicFile late(folder + "/b", Existing::Kept);
    spill(folder + "/b", "b");
    EXPECT_EQ(errorOf([&] { late.commit(); }), folder + "/b: cannot create: File exists");
    EXPECT_EQ(slurp(folder + "/b"), "b");
    // As long as names may be, and one longer: only a part of them is in the temporary name.
    std::string const longest(255, 'x');
    EXPECT_EQ(open(longest, Existing::Kept), "");
    EXPECT_EQ(open(longest + "x", Existing::Kept),
              folder + "/" + longest + "x: cannot create: File name too long");
}

TEST_F(StorageTest, AtomicFilesCollectWhatNobodyWritesAnyMore) {
    AtomicFile alive(folder + "/a", Existing::Kept);
    auto const before = list();
    std::set<std::string> kept{before};
    for (std::string const name : {"a.quivo-tmp-1-", "a.quivo-tmp-1", "a.quivo-tmp-x-1",
                                   "b.quivo-tmp-1-1", "aa.quivo-tmp-1-1"}) {
        spill(folder + "/" + name, "");
        kept.insert(name);
    }
    std::filesystem::create_directory(folder + "/a.quivo-tmp-7-7");
    kept.insert("a.quivo-tmp-7-7");
    for (auto const* const left : {"/a.quivo-tmp-1-1", "/a.quivo-tmp-99999999999-0"})
        spill(folder + left, "");
    AtomicFile(folder + "/a", Existing::Kept);
    EXPECT_EQ(list(), kept);
}

}  // namespace Quivo::Testing
