// What formats share to be written: sessions that cut an image into the tiles of a pyramid, and
// files that are there as a whole or not at all.

#include "samples/Samples.h"
#include "storage/files/AtomicFile.h"
#include "storage/pyramid/PyramidSession.h"
#include "support/Probe.h"

#include <quivo/core/Levels.h>

#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>

namespace Quivo::Testing {

using namespace detail;

namespace {

/// The place of a tile with its page: level, slice, row, column, channel.
using Key = std::array<long long, 5>;

/// What a sink was given, and in which order.
struct Record {
    std::map<Key, std::vector<float>> tiles;
    std::vector<Key> order;
    int numPages = 0, storesUntilFailure = -1;  // none while negative
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
        if (record.storesUntilFailure-- == 0) throw std::runtime_error(target + ": full");
        Key const key{level, slice, place.row, place.column, place.channel};
        record.order.push_back(key);
        auto& tile = record.tiles[key];
        tile.resize(encoded.size() / sizeof(float));
        std::memcpy(tile.data(), encoded.data(), encoded.size());
    }
    void endPage() override { ++record.numPages; }
    void finish() override {}
    void commit() override {}
};

/// Counts, and stops at one of the steps.
struct Steps final : ProgressMonitor, CancellationChecker {
    int questions = 0, cancelsAt = -1;
    void progressChanged() override {}
    void checkCancelled() override {
        if (++questions == cancelsAt) throw CancellationException();
    }
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

PyramidPlan planOf(Formula const& image, Vector const& tile, TileLayout layout, bool computes,
                   int numThreads) {
    PyramidPlan plan;
    plan.tile = {tile.x, tile.y, image.numChannels, SampleType::F32};
    plan.layout = layout;
    plan.computesLevels = computes;
    plan.numThreads = numThreads;
    for (long long level = 0; level < image.numLevels; ++level)
        plan.extents.push_back(image.getExtent(level));
    return plan;
}

void write(Formula& image, PyramidPlan const& plan, Record& record, Steps& steps,
           std::string const& folder) {
    ImageWriter::DownsampleOrProxy source(&image, false);
    PyramidSession session(plan, std::make_unique<MemorySink>(record, folder));
    for (long long level = 0; level < image.numLevels; ++level)
        session.writeLevel(source, level, &steps, &steps);
    session.finish();
}

}  // namespace

class StorageTest : public ::testing::Test {
protected:
    StorageTest() : folder((std::filesystem::temp_directory_path() / "quivo-XXXXXX").string()) {
        check(::mkdtemp(folder.data()) != nullptr, "no temporary folder");
    }
    ~StorageTest() override { std::filesystem::remove_all(folder); }

    void spill(std::string const& name) const { std::ofstream(folder + "/" + name) << name; }
    std::string slurp(std::string const& name) const {
        std::ifstream in(folder + "/" + name);
        return {std::istreambuf_iterator<char>(in), {}};
    }
    std::set<std::string> list() const {
        std::set<std::string> names;
        for (auto const& entry : std::filesystem::directory_iterator(folder))
            names.insert(entry.path().filename());
        return names;
    }

    std::string folder;
};

TEST_F(StorageTest, SessionsCutAsAPixelByPixelWriterDoes) {
    struct Case {
        Vector extent, tile;
        long long channels;
        char const* reason;
    };
    Case const cases[] = {
        {{37, 23, 1}, {8, 6, 1}, 1, "tiles over two borders"},
        {{32, 16, 2}, {8, 8, 1}, 3, "tiles that fit, slices, pixels of three"},
        {{5, 70, 1}, {16, 16, 1}, 4, "less than a tile wide"},
        {{41, 9, 3}, {2, 4, 1}, 2, "tiles of a few pixels, levels down to one row"},
    };
    for (int i = 0; i < 16 * static_cast<int>(std::size(cases)); ++i) {
        Case const& row = cases[i / 16];
        bool const computes = i % 2 == 0;
        auto const layout = i / 2 % 2 == 0 ? TileLayout::Interleaved : TileLayout::Planar;
        int const numThreads = 1 + i / 4 % 4;
        SCOPED_TRACE(testing::Message() << row.reason << ", " << i % 16);
        Formula image(row.extent, row.channels);
        Record record;
        Steps steps;
        write(image, planOf(image, row.tile, layout, computes, numThreads), record, steps, folder);

        std::vector<Key> order;
        long long numTiles = 0, numPages = 0;
        bool const isPlanar = layout == TileLayout::Planar;
        for (long long level = 0; level < image.numLevels; ++level) {
            Vector const e = image.getExtent(level);
            Vector const last = (e - Vector(1)) / row.tile;
            for (Vector t; t.z < e.z; ++t.z, ++numPages) {
                for (t.y = 0; t.y <= last.y; ++t.y) {
                    for (t.x = 0; t.x <= last.x; ++t.x, ++numTiles) {
                        std::vector<std::vector<float>> expected(
                            static_cast<std::size_t>(isPlanar ? row.channels : 1));
                        for (long long y = 0; y < row.tile.y; ++y)
                            for (long long x = 0; x < row.tile.x; ++x)
                                for (long long c = 0; c < row.channels; ++c) {
                                    Vector const p(std::min(t.x * row.tile.x + x, e.x - 1),
                                                   std::min(t.y * row.tile.y + y, e.y - 1), t.z);
                                    expected[static_cast<std::size_t>(isPlanar ? c : 0)].push_back(
                                        -image.at(level, c, p, computes));
                                }
                        for (std::size_t c = 0; c < expected.size(); ++c) {
                            order.push_back({level, t.z, t.y, t.x, static_cast<long long>(c)});
                            ASSERT_EQ(record.tiles[order.back()], expected[c])
                                << testing::PrintToString(order.back());
                        }
                    }
                }
            }
        }
        EXPECT_EQ(record.order, order);
        EXPECT_EQ(record.numPages, numPages);
        EXPECT_EQ(steps.getProgress(), numTiles);
        EXPECT_TRUE(list().empty()) << "scratch is nameless, or gone";
    }
}

TEST_F(StorageTest, SessionsPassOnWhatStopsThem) {
    Formula image({40, 40, 1}, 2);
    for (bool const computes : {false, true}) {
        for (int const numThreads : {1, 3}) {
            auto const plan =
                planOf(image, {8, 8, 1}, TileLayout::Interleaved, computes, numThreads);
            Steps all;
            Record whole;
            write(image, plan, whole, all, folder);
            EXPECT_GT(all.questions, 25) << "one for each tile";
            for (int n = 1; n <= all.questions; ++n) {
                Steps steps;
                steps.cancelsAt = n;
                Record record;
                EXPECT_THROW(write(image, plan, record, steps, folder), CancellationException);
                EXPECT_LT(record.order.size(), whole.order.size());
                EXPECT_EQ(steps.getProgress(), std::ssize(record.order));
            }
            for (int n = 0; n < std::ssize(whole.order); ++n) {
                Steps steps;
                Record record;
                record.storesUntilFailure = n;
                EXPECT_EQ(errorOf([&] { write(image, plan, record, steps, folder); }),
                          folder + "/target: full");
                EXPECT_EQ(std::ssize(record.order), n);
            }
        }
    }
}

TEST_F(StorageTest, AtomicFilesFollowTheRulesOfTargets) {
    std::string const path = folder + "/a";
    spill("a");
    std::filesystem::permissions(path, std::filesystem::perms(0640));
    std::filesystem::create_symlink("a", folder + "/link");
    {
        AtomicFile dropped(path, Existing::Replaced);
        EXPECT_TRUE(dropped.getFile().write("new", 3, 0));
        EXPECT_EQ(list().size(), 3U);
    }
    EXPECT_EQ(slurp("a"), "a");
    {
        AtomicFile file(folder + "/link", Existing::Replaced);
        EXPECT_TRUE(file.getFile().write("new", 3, 0));
        file.commit();
    }
    EXPECT_EQ(slurp("a"), "new");
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
    spill("b");
    EXPECT_EQ(errorOf([&] { late.commit(); }), folder + "/b: cannot create: File exists");
    EXPECT_EQ(slurp("b"), "b");
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
        spill(name);
        kept.insert(name);
    }
    std::filesystem::create_directory(folder + "/a.quivo-tmp-7-7");
    kept.insert("a.quivo-tmp-7-7");
    spill("a.quivo-tmp-1-1");
    spill("a.quivo-tmp-99999999999-0");
    AtomicFile(folder + "/a", Existing::Kept);
    EXPECT_EQ(list(), kept);
}

}  // namespace Quivo::Testing
