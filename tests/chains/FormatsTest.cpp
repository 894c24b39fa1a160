#include <quivo/chains/Formats.h>
#include <quivo/chains/ReadPlan.h>
#include <quivo/image/StoredLayout.h>

#include "support/Files.h"
#include "support/Probe.h"

#include <sys/stat.h>

namespace Quivo::Testing {

namespace {

class Formats : public TempFolder {
protected:
    std::string write(std::string const& name, std::string const& content) const {
        return spill(getPath(name), content), getPath(name);
    }
    std::string getPath(std::string const& name) const { return folder + "/" + name; }
};

TEST_F(Formats, AreKnownByPrefixThenContentThenSuffix) {
    using namespace std::string_literals;
    std::string const none;
    struct {
        std::string input, format;
        char const* reason;
    } const cases[] = {{write("a", "II*\0rest"s), "TIFF", "little-endian"},
                       {write("b", "MM\0*"s), "TIFF", "big-endian, and nothing behind"},
                       {write("c.png", "II+\0"s), "TIFF", "BigTIFF; the content counts"},
                       {write("d", "MM\0+"s), "TIFF", "big-endian BigTIFF"},
                       {write("e", "MM*\0"s), none, "mixed up"},
                       {write("f", "II*"s), none, "too short"},
                       {write("g", ""), none, "empty"},
                       {write("h.TIF", "?"s), "TIFF", "nothing but the suffix tells"},
                       {getPath("gone.tiff"), "TIFF", "not there, and meant as one"},
                       {getPath("gone"), none, "not there"},
                       {write("mandelbrot:4x4", "II*\0"s), "TIFF", "a path begins otherwise"},
                       {"mandelbrot:4x4", "Mandelbrot set", "by its prefix"},
                       {"mandelbrot:", "Mandelbrot set", "also where it is wrong"}};
    for (auto const& [input, format, reason] : cases) {
        auto const* const found = findFormat(input);
        EXPECT_EQ(found ? found->name : none, format) << reason;
    }
    // Whoever looked into a pipe would wait for its other end, or take its bytes away.
    ASSERT_EQ(mkfifo(getPath("pipe").c_str(), 0600), 0);
    EXPECT_EQ(findFormat(getPath("pipe")), nullptr);
}

TEST_F(Formats, SelectorsFollowThePathOfAFile) {
    auto const file = write("a.tif", "II*"), odd = write("b#1", ""), long1 = write("b#1#2", "");
    struct {
        std::string input, file;
        std::vector<std::string> selectors;
        char const* reason;
    } const cases[] = {{file, file, {}, "nothing selected"},
                       {file + "#7", file, {"7"}, "a page"},
                       {file + "#7#t=3#indices", file, {"7", "t=3", "indices"}, "several"},
                       {file + "#", file, {""}, "an empty one"},
                       {odd, odd, {}, "a file of that name"},
                       {odd + "#7", odd, {"7"}, "of a file with such a name"},
                       {long1 + "#7", long1, {"7"}, "the longest that is there"},
                       {folder + "#7", folder + "#7", {}, "folders have no pages"},
                       {"#7", "#7", {}, "no file at all"}};
    for (auto const& [input, expected, selectors, reason] : cases) {
        auto const name = splitInputName(input);
        EXPECT_EQ(name.path, expected) << reason;
        EXPECT_EQ(name.selectors, selectors) << reason;
    }
    EXPECT_EQ(findFormat(file + "#7")->name, "TIFF");
    for (auto const* bad : {"#0", "#-1", "#x", "#", "#t=0", "#t=", "#99999999999999999999"}) {
        auto const error = errorOf([&] { (void)openImage(file + bad); });
        EXPECT_TRUE(error.starts_with(file + bad + ": ")) << error;
    }
}

TEST_F(Formats, OpenOrSayWhyNot) {
    EXPECT_EQ(openImage("mandelbrot:70x50")->getExtent(0), Vector(70, 50, 1));
    for (std::string const& input : {std::string("mandelbrot:7x"), std::string("mandelbrot:0x1"),
                                     getPath("gone.tif"), write("text", "no image")}) {
        std::string const error = errorOf([&] { (void)openImage(input); });
        EXPECT_TRUE(error.starts_with(input + ": ")) << error;
        EXPECT_EQ(error.find('\n'), std::string::npos) << error;
    }
    for (Format const& format : getFormats()) {
        EXPECT_EQ(format.prefix.empty(), format.isBegin != nullptr) << format.name;
        bool const isWriter = !format.create || format.create();
        EXPECT_TRUE(isWriter) << format.name;
    }
}

/// Level 0 and the coarsest are stored.
class StoredProbe : public ProbeImage, public StoredLayout {
public:
    bool tiled = true;
    bool isLevelStored(long long level) const noexcept override {
        return level == 0 || level == numLevels - 1;
    }
    bool isTiled() const noexcept override { return tiled; }
};

TEST(ReadPlan, PaysForCachesWhereReadingIsDear) {
    StoredProbe stored;
    stored.numLevels = 9;
    stored.tileExtent = {256, 4096, 1};
    ReadPlan const plan(stored);
    EXPECT_TRUE(plan.isFile());
    EXPECT_EQ(plan.countComputedLevels(3), 3);
    EXPECT_EQ(plan.countComputedLevels(8), 0);
    EXPECT_EQ(plan.chooseCacheTile(2, 256), std::nullopt) << "computed of few levels";
    EXPECT_EQ(plan.chooseCacheTile(3, 256), Vector(256, 1024, 1)) << "a part of a huge tile";
    EXPECT_EQ(plan.chooseCacheTile(3, 31), std::nullopt) << "eight tiles are 32 MB";
    EXPECT_EQ(plan.chooseBand({9000, 9000, 1}, 0.1, 256, 256), std::nullopt) << "it is tiled";

    stored.tiled = false;
    EXPECT_EQ(plan.chooseBand({9000, 9000, 1}, 0.1, 256, 256), Vector(9000, 102, 1));
    EXPECT_EQ(plan.chooseBand({9000, 9000, 1}, 0.1, 96, 256), std::nullopt) << "one row of pieces";
    EXPECT_EQ(plan.chooseBand({9000, 9000, 1}, 0.1, 256, 60), std::nullopt)
        << "half a row of tiles";

    ProbeImage computed;
    EXPECT_FALSE(ReadPlan(computed).isFile() || ReadPlan(computed).isLevelStored(0));
    EXPECT_EQ(ReadPlan(computed).chooseCacheTile(8, 256), std::nullopt);
}

}  // namespace

}  // namespace Quivo::Testing
