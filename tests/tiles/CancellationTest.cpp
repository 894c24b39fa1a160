#include <quivo/filters/ArbitraryDownsampleFilter.h>
#include <quivo/tiles/CachedImage.h>
#include <quivo/util/Cancellation.h>
#include <quivo/writer/ImageWriter.h>

#include "support/Probe.h"

namespace Quivo::Testing {

namespace {

/// Writes its name down whenever it is asked, and stops at one of the calls.
struct NamedChecker : CancellationChecker {
    NamedChecker(std::string& asked, char name, int stopsAt = 0)
        : log(asked), ownName(name), callsLeft(stopsAt) {}
    void checkCancelled() override {
        log += ownName;
        if (--callsLeft == 0) throw CancellationException();
    }
    std::string& log;
    char ownName;
    int callsLeft;
};

}  // namespace

TEST(CancellationScope, CoversEveryStepOfAnyChainAndNests) {
    ProbeImage source;  // 13 x 9 x 2, tiles of 4 x 3
    CachedImage cache(&source, -1, false);
    ArbitraryDownsampleFilter shrunk(&source, 0.5, false), shrunkTiles(&cache, 0.5, false);
    ImageWriter::DownsampleOrProxy proxy(&cache, false);
    Box const region(Vector(5, 4, 1));
    struct Case {
        char const* reason;
        std::function<void()> run;
        int numSteps;
    };
    Case const cases[] = {
        {"2 x 2 tiles", [&] { (void)read(cache, 0, region); }, 4},
        {"no tiles", [&] { (void)read(cache, 0, Box()); }, 0},
        {"one read", [&] { (void)read(shrunk, 0, region); }, 1},
        {"a read of 3 x 3 tiles", [&] { (void)read(shrunkTiles, 0, region); }, 10},
        {"a proxy over 2 x 2 tiles", [&] { (void)read(proxy, 0, region); }, 5},
    };
    for (auto const& [reason, run, numSteps] : cases) {
        SCOPED_TRACE(reason);
        std::string asked, expected;
        for (int i = 0; i < numSteps; ++i) expected += "io";
        {
            NamedChecker outer(asked, 'o');
            CancellationScope const outerScope(outer);
            {
                NamedChecker inner(asked, 'i');
                CancellationScope const innerScope(inner);
                run();
            }
            EXPECT_EQ(asked, expected) << "the inner one first";
            asked.clear();
            checkCancelled();
            EXPECT_EQ(asked, "o") << "the inner scope has ended";
        }
        for (int n = 1; n <= numSteps; ++n) {
            asked.clear();
            NamedChecker checker(asked, 'c', n);
            {
                CancellationScope const scope(checker);
                EXPECT_THROW(run(), CancellationException);
            }
            run();
            EXPECT_EQ(asked, std::string(static_cast<std::size_t>(n), 'c')) << "nobody any more";
        }
    }
}

}  // namespace Quivo::Testing
