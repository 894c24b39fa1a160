// Reads that the tile cache can answer alone.

#include <quivo/image/BufferImage.h>
#include <quivo/tiles/CachedImage.h>

#include "Yardstick.h"

#include <bit>
#include <thread>

namespace Quivo::Benchmarks {

namespace {

constexpr long long numChannels = 3;
constexpr long long window = 512;

/// An image of noise, a cache over it that holds every tile, and windows at random places.
struct Hits {
    explicit Hits(long long edge)
        : extent(edge, edge, 1),
          values(makeNoise<double>(static_cast<std::size_t>(numChannels * edge * edge))),
          source(values.data(), extent, numChannels, {0.0, 256.0}, {1, 1, 1}),
          cache(&source, -1, {256, 256, 1}, false) {
        for (auto const& at : makeWindows(static_cast<int>(edge), window, 64)) {
            windows.push_back(Box(Vector(window, window, 1)).translated({at.x, at.y, 0}));
        }
        std::vector<double> whole(values.size());
        cache.openRegion(whole.data(), 0, Box(extent));
        isRight = whole == values;
    }

    /// The same window row by row out of one planar array.
    void copyRows(double* dst, Box const& region) const {
        for (long long c = 0; c < numChannels; ++c) {
            for (long long y = region.min.y; y <= region.max.y; ++y, dst += window) {
                auto const offset = (c * extent.y + y) * extent.x + region.min.x;
                std::copy_n(values.data() + offset, window, dst);
            }
        }
    }

    Vector extent;
    std::vector<double> values;
    BufferImage<double> source;
    CachedImage cache;
    std::vector<Box> windows;
    bool isRight = false;
};

void readHits(benchmark::State& state, long long edge) {
    Hits hits(edge);
    if (!hits.isRight) return state.SkipWithError("the cache answers wrongly");
    std::vector<double> dst(numChannels * window * window);
    std::size_t next = 0, nextCopy = 0;
    measure(
        state, 1.2, window * window,
        [&] { hits.copyRows(dst.data(), hits.windows[nextCopy++ % hits.windows.size()]); },
        [&] { hits.cache.openRegion(dst.data(), 0, hits.windows[next++ % hits.windows.size()]); });
}

/// An image of `numTiles` tiles of 4 x 4 values, so that finding a tile is what costs.
class TinyTiles {
public:
    explicit TinyTiles(long long numTiles)
        : edge_(1LL << ((std::bit_width(static_cast<unsigned long long>(numTiles)) - 1) / 2)),
          extent_(4 * edge_, 4 * (numTiles / edge_), 1),
          values_(makeNoise<double>(static_cast<std::size_t>(extent_.prod()))),
          source_(values_.data(), extent_, 1, {0.0, 256.0}, {1, 1, 1}),
          cache_(&source_, -1, {4, 4, 1}, false) {
        std::vector<double> whole(values_.size());
        cache_.openRegion(whole.data(), 0, Box(extent_));
        isRight = whole == values_;
    }

    void readSomeTiles() {
        for (int i = 0; i < 1000; ++i) {
            seed_ = seed_ * 1664525U + 1013904223U;
            auto const x = static_cast<long long>(seed_ >> 8) % edge_;
            seed_ = seed_ * 1664525U + 1013904223U;
            auto const y = static_cast<long long>(seed_ >> 8) % (extent_.y / 4);
            cache_.openRegion(dst_, 0, Box(Vector(4, 4, 1)).translated({4 * x, 4 * y, 0}));
        }
    }

    bool isRight = false;

private:
    long long edge_;
    Vector extent_;
    std::vector<double> values_;
    BufferImage<double> source_;
    CachedImage cache_;
    double dst_[16] = {};
    std::uint32_t seed_ = 3;
};

void findAmongMany(benchmark::State& state) {
    TinyTiles few(256), many(102400);
    if (!few.isRight || !many.isRight) return state.SkipWithError("the cache answers wrongly");
    measure(
        state, 4.0, 16000, [&] { few.readSomeTiles(); }, [&] { many.readSomeTiles(); });
}

void readWithTwoThreads(benchmark::State& state, long long edge) {
    Hits hits(edge);
    if (!hits.isRight) return state.SkipWithError("the cache answers wrongly");
    std::vector<double> buffers[2];
    for (auto& buffer : buffers) buffer.resize(numChannels * window * window);
    auto const readAll = [&](std::size_t first, std::size_t step) {
        for (std::size_t i = first; i < hits.windows.size(); i += step) {
            hits.cache.openRegion(buffers[i % 2].data(), 0, hits.windows[i]);
        }
    };
    measure(
        state, 1.0, static_cast<double>(hits.windows.size()) * window * window,
        [&] { std::thread(readAll, 0, 1).join(); },
        [&] {
            std::thread even(readAll, 0, 2), odd(readAll, 1, 2);
            even.join();
            odd.join();
        });
}

}  // namespace

void addCacheBenchmarks() {
    for (long long const edge : {2048, 1024}) {
        std::string const suffix = std::to_string(edge);
        add("cache/hits/" + suffix, [=](auto& state) { readHits(state, edge); });
        add("cache/threads/" + suffix, [=](auto& state) { readWithTwoThreads(state, edge); });
    }
    add("cache/many", findAmongMany);
}

}  // namespace Quivo::Benchmarks
