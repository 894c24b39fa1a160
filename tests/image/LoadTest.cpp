// Eight threads read through a chain over one cache while its source changes under them, for two
// seconds or as many as the environment variable QUIVO_LOAD_SECONDS says.

#include <quivo/core/Levels.h>
#include <quivo/filters/ScaleFilter.h>
#include <quivo/filters/SubImageFilter.h>
#include <quivo/tiles/CachedImage.h>
#include <quivo/util/Strings.h>

#include "support/Probe.h"

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <set>
#include <thread>
#include <tuple>

namespace Quivo::Testing {

/// Every value says where it stands and in which epoch it was read, which is the hash. Now and then
/// a read fails. Asked by one thread at a time, so its count is not protected.
class ChangingImage : public Probe<Image> {
public:
    static constexpr double perEpoch = 1 << 24;

    ChangingImage() {
        extent = {300, 200, 2};
        tileExtent = {32, 32, 1};
        hash = 1;
    }

    static double whereOf(long long level, long long c, Vector const& p) {
        return static_cast<double>(p.dot({1, 512, 131072}) + (c * 3 + level) * 1048576);
    }

    void openRegion(double* dst, long long level, Box const& region) override {
        auto const epoch = static_cast<double>(hash.load());
        if (++numReads_ % 101 == 0) throw std::runtime_error("no data");
        pixelByPixel(numChannels, region, [&](long long c, Vector const& p) {
            bool const isInside = Box(getExtent(level)).contains(p);
            return *dst++ = isInside ? whereOf(level, c, p) + epoch * perEpoch : 0.0;
        });
    }

private:
    long long numReads_ = 0;
};

/// One read, and how often the content was seen to change under it; -1 when it failed. Each pixel
/// is that of one epoch, which was there at some time between the start and the end of the read; a
/// tile is of one epoch, and later tiles are of no earlier one.
long long readOnce(ChangingImage& source, Box const& bounds, Image& chain, std::mt19937& random) {
    auto const draw = [&](long long last) { return static_cast<long long>(random()) % last; };
    long long const level = draw(3);
    Vector const min(draw(300) - 9, draw(200) - 9, draw(3) - 1);
    Box const region(min, min + Vector(draw(70), draw(50), draw(2)));
    Vector const steps(1LL << level, 1LL << level, 1), corner = bounds.min / steps;
    Box const inside(bounds.getExtent() / steps);
    auto latest = static_cast<double>(source.hash.load());
    Values values;
    if (errorOf([&] { values = read(chain, level, region); }) == "no data") return -1;
    auto const last = static_cast<double>(source.hash.load());
    check(std::ssize(values) == 2 * region.getSize(), "another error");
    // By tiles in the order in which the cache walks them: z outermost, x innermost.
    std::map<std::tuple<long long, long long, long long>, std::set<double>> epochs;
    bool right = true;
    auto next = values.begin();
    pixelByPixel(2, region, [&](long long c, Vector const& p) {
        double const value = (*next++ - 0.5) / 2.0;
        if (!inside.contains(p)) return right &= value == 0.0;
        Vector const at = p + corner, tile = at / source.tileExtent;
        double const epoch = std::floor(value / source.perEpoch);
        epochs[{tile.z, tile.y, tile.x}].insert(epoch);
        return right &= value - epoch * source.perEpoch == source.whereOf(level, c, at);
    });
    long long numChanges = 0;
    for (auto const& [tile, seen] : epochs) {
        right &= seen.size() == 1 && *seen.begin() >= latest && *seen.begin() <= last;
        numChanges += *seen.begin() > latest;
        latest = *seen.begin();
    }
    check(right, "level " + str(level) + " " + ::testing::PrintToString(region));
    return numChanges;
}

TEST(Load, EveryPixelIsOfAnEpochThatWasThereDuringItsRead) {
    using Clock = std::chrono::steady_clock;
    char const* const told = std::getenv("QUIVO_LOAD_SECONDS");
    auto const end = Clock::now() + std::chrono::seconds(told ? std::atoi(told) : 2);
    ChangingImage source;
    CachedImage cache(&source, 1, false);  // 64 tiles of 144
    std::atomic<long long> numReads = 0, numFailed = 0, numChanges = 0;
    auto const work = [&](unsigned seed) {
        std::mt19937 random(seed);
        Box const bounds({5, 3, 0}, {280, 190, 1});
        SubImageFilter part(&cache, bounds, 0, false);
        ScaleFilter chain(&part, 2.0, 0.5, false, false);
        auto const error = errorOf([&] {
            for (; Clock::now() < end; ++numReads) {
                long long const changes = readOnce(source, bounds, chain, random);
                (changes < 0 ? numFailed : numChanges) += std::abs(changes);
            }
        });
        EXPECT_EQ(error, "");
    };
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < 8; ++i) threads.emplace_back(work, i);
    for (unsigned i = 0; Clock::now() < end; ++i, ++source.hash)
        std::this_thread::sleep_for(std::chrono::microseconds(i % 7 * 500));
    for (auto& thread : threads) thread.join();
    std::printf("%lld reads, %lld failed, %lld changes seen, %lld epochs\n", numReads.load(),
                numFailed.load(), numChanges.load(), static_cast<long long>(source.hash.load()));
    EXPECT_TRUE(numFailed > 0 && numChanges > 0) << "nothing happened under the reads";
}

}  // namespace Quivo::Testing
