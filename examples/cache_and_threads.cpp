// One cache for several threads, see docs/cache-and-threads.md: windows at random over a source
// that only one thread at a time may read.

#include <quivo/Quivo.h>

#include <atomic>
#include <cstdio>
#include <random>
#include <thread>
#include <vector>

namespace {

using namespace Quivo;

/// Passes reads on, counts them, and notices when two come at once.
class OneAtATime final : public Filter {
public:
    OneAtATime(Image* source, bool takeOwnership) : Filter(source, takeOwnership) {}

    void openRegion(double* dst, long long level, Box const& region) override {
        if (reading_.exchange(true)) overlapped_ = true;
        Filter::openRegion(dst, level, region);
        ++reads_;
        reading_ = false;
    }

    [[nodiscard]] int getReads() const { return reads_; }
    [[nodiscard]] bool hasOverlapped() const { return overlapped_; }

private:
    std::atomic<bool> reading_{false};
    std::atomic<bool> overlapped_{false};
    std::atomic<int> reads_{0};
};

}  // namespace

int main() {
    constexpr long long side = 1024, window = 100, windowsPerThread = 200;
    std::vector<double> pixels;
    for (long long i = 0; i < side * side; ++i) pixels.push_back(static_cast<double>(i % 4093));
    OneAtATime source(new BufferImage<double>(pixels.data(), {side, side, 1}, 1, {0.0, 4092.0}, {}),
                      true);

    // 64 tiles of 128 x 128 doubles are 8 MiB: all of them fit, so each is read once.
    CachedImage cache(&source, 8, {128, 128, 1}, false);
    // What is cheap stands in front of the cache, and may be read by all threads at once.
    ScaleFilter doubled(&cache, 2.0, false, false);

    std::atomic<int> wrong{0};
    auto const readWindows = [&](unsigned seed) {
        std::mt19937 random(seed);
        std::uniform_int_distribution<long long> place(0, side - window);
        std::vector<double> values(window * window);
        for (int i = 0; i < windowsPerThread; ++i) {
            Vector const at(place(random), place(random), 0);
            doubled.openRegion(values.data(), 0, Box({window, window, 1}).translated(at));
            for (long long y = 0; y < window; ++y) {
                for (long long x = 0; x < window; ++x) {
                    auto const index = static_cast<std::size_t>((at.y + y) * side + at.x + x);
                    if (values[static_cast<std::size_t>(y * window + x)] != 2 * pixels[index])
                        ++wrong;
                }
            }
        }
    };
    std::vector<std::thread> threads;
    for (unsigned seed = 0; seed < 4; ++seed) threads.emplace_back(readWindows, seed);
    for (auto& thread : threads) thread.join();

    std::printf("%d tiles read\n", source.getReads());
    bool const good = wrong == 0 && !source.hasOverlapped() && source.getReads() == 64;
    return good ? 0 : 1;
}
