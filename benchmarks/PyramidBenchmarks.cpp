// Building the coarser levels of a pyramid in memory.

#include <quivo/image/ImagePyramid.h>

#include "Yardstick.h"

#include <cmath>

namespace Quivo::Benchmarks {

namespace {

template <typename T>
bool isLevelOne(T const* fine, T const* coarse, long long edge) {
    for (long long y = 0; y < edge / 2; ++y) {
        for (long long x = 0; x < edge / 2; ++x) {
            T const* const block = fine + 2 * y * edge + 2 * x;
            double const sum = static_cast<double>(block[0]) + static_cast<double>(block[1]) +
                               static_cast<double>(block[edge]) +
                               static_cast<double>(block[edge + 1]);
            auto const mean = static_cast<T>(std::floor(sum * 0.25 + 0.5));
            if (coarse[y * (edge / 2) + x] != mean) return false;
        }
    }
    return true;
}

template <typename T>
void buildPyramid(benchmark::State& state, long long edge, double goal) {
    ImagePyramid<T> pyramid({edge, edge, 1}, 1);
    auto const count = static_cast<std::size_t>(edge * edge);
    auto const noise = makeNoise<T>(count);
    std::copy(noise.begin(), noise.end(), pyramid.getLevelBuffer(0));
    pyramid.computeLevelsUpwards(0);
    for (long long level = 0; level + 1 < pyramid.getNumLevels(); ++level) {
        if (!isLevelOne(pyramid.getLevelBuffer(level), pyramid.getLevelBuffer(level + 1),
                        edge >> level)) {
            return state.SkipWithError("a level is not the mean of the one below");
        }
    }
    // Every level but the last is read, every level but the first is written.
    double const traffic = static_cast<double>(count * sizeof(T)) * 5.0 / 3.0;
    measure(state, goal, static_cast<double>(count), CopyYardstick(traffic),
            [&] { pyramid.computeLevelsUpwards(0); });
}

}  // namespace

void addPyramidBenchmarks() {
    add("pyramid/u8/8192", [](auto& state) { buildPyramid<unsigned char>(state, 8192, 1.0); });
    add("pyramid/u8/512", [](auto& state) { buildPyramid<unsigned char>(state, 512, 0); });
    add("pyramid/f64/4096", [](auto& state) { buildPyramid<double>(state, 4096, 1.1); });
    add("pyramid/f64/256", [](auto& state) { buildPyramid<double>(state, 256, 0); });
}

}  // namespace Quivo::Benchmarks
