// Reading regions out of images in memory, and through filters and the bank.

#include <quivo/channels/ChannelBank.h>
#include <quivo/filters/ArbitraryDownsampleFilter.h>
#include <quivo/filters/ScaleFilter.h>
#include <quivo/filters/SubImageFilter.h>
#include <quivo/image/BufferImage.h>

#include "Yardstick.h"

#include <cmath>
#include <memory>

namespace Quivo::Benchmarks {

namespace {

constexpr long long edge = 4096;

template <typename T>
BufferImage<T> const& noiseImage() {
    static BufferImage<T> const image(makeNoise<T>(edge * edge).data(), {edge, edge, 1}, 1,
                                      {0.0, 256.0}, {250, 250, 250});
    return image;
}

template <typename T>
Image* source() {
    return const_cast<BufferImage<T>*>(&noiseImage<T>());
}

/// The windows of `size` x `size` that tile a square, in reading order.
std::vector<Box> windowsOf(long long square, long long size) {
    std::vector<Box> windows;
    for (long long y = 0; y + size <= square; y += size) {
        for (long long x = 0; x + size <= square; x += size) {
            windows.push_back(Box(Vector(size, size, 1)).translated({x, y, 0}));
        }
    }
    return windows;
}

template <typename T>
void readBuffer(benchmark::State& state, long long size, double goal) {
    auto const windows = windowsOf(edge, size);
    std::vector<double> dst(static_cast<std::size_t>(size * size));
    auto const noise = makeNoise<T>(edge * edge);
    for (Box const& window : windows) {
        source<T>()->openRegion(dst.data(), 0, window);
        for (long long y = 0; y < size; ++y) {
            auto const* const row = noise.data() + (window.min.y + y) * edge + window.min.x;
            if (!std::equal(row, row + size, dst.data() + y * size)) {
                return state.SkipWithError("a row read is not the row stored");
            }
        }
    }
    auto const values = static_cast<double>(size * size);
    std::size_t next = 0;
    measure(state, goal, values, CopyYardstick(values * (8 + sizeof(T))),
            [&] { source<T>()->openRegion(dst.data(), 0, windows[next++ % windows.size()]); });
}

void readScaled(benchmark::State& state, long long size, bool rounds, double goal) {
    ScaleFilter filter(source<double>(), 0.37, 1.6, rounds, false);
    auto const window = Box(Vector(size, size, 1));
    std::vector<double> dst(static_cast<std::size_t>(size * size)), plain(dst);
    filter.openRegion(dst.data(), 0, window);
    source<double>()->openRegion(plain.data(), 0, window);
    for (std::size_t i = 0; i < dst.size(); ++i) {
        double const scaled = plain[i] * 0.37 + 1.6;
        if (dst[i] != (rounds ? std::floor(scaled + 0.5) : scaled)) {
            return state.SkipWithError("a value is not scaled");
        }
    }
    // The filter's own cost: a read through it less a read without it.
    auto const values = static_cast<double>(size * size);
    int const repetitions = size < edge ? 20 : 1;
    auto bare = [&] { source<double>()->openRegion(dst.data(), 0, window); };
    auto scaled = [&] { filter.openRegion(dst.data(), 0, window); };
    CopyYardstick copy(values * 16);
    std::vector<double> added, copies;
    for (auto _ : state) {
        copies.push_back(secondsOf(copy, repetitions));
        double const without = secondsOf(bare, repetitions);
        added.push_back(secondsOf(scaled, repetitions) - without);
        state.SetIterationTime(std::max(added.back(), 0.0));
    }
    state.counters["x_memcpy"] = medianOf(added) / medianOf(copies);
    state.counters["goal"] = goal;
    state.counters["ms"] = medianOf(added) * 1e3;
    state.counters["Mpixels_s"] = values / medianOf(added) / 1e6;
}

void shrinkArbitrarily(benchmark::State& state, double factor, bool inWindows) {
    ArbitraryDownsampleFilter filter(source<double>(), factor, false);
    long long const whole = filter.getExtent(0).x;
    long long const size = inWindows ? 512 : whole;
    std::vector<Box> windows;
    for (Box const& window : windowsOf((whole + size - 1) / size * size, size)) {
        windows.push_back(window.intersected(Box(Vector(whole, whole, 1))));
    }
    std::vector<double> dst(static_cast<std::size_t>(size * size)), all, area;
    all.resize(static_cast<std::size_t>(whole * whole));
    filter.openRegion(all.data(), 0, Box(Vector(whole, whole, 1)));
    for (Box const& window : windows) {
        filter.openRegion(dst.data(), 0, window);
        Vector const e = window.getExtent();
        for (long long y = 0; y < e.y; ++y) {
            if (!std::equal(dst.data() + y * e.x, dst.data() + (y + 1) * e.x,
                            all.data() + (window.min.y + y) * whole + window.min.x)) {
                return state.SkipWithError("a window is not a piece of the whole");
            }
        }
    }
    double const traffic = 8.0 * edge * edge * (1 + factor * factor);
    measure(state, inWindows ? 2.0 : 0.0, static_cast<double>(whole * whole),
            CopyYardstick(traffic), [&] {
                for (Box const& window : windows) filter.openRegion(dst.data(), 0, window);
            });
}

void readBank(benchmark::State& state, long long size) {
    ChannelBank bank(source<double>());
    std::vector<std::string> names;
    for (int i = 0; i < 8; ++i) {
        names.push_back("channel " + std::to_string(i));
        bank.addChannel(source<double>(), names.back(), false);
    }
    auto const window = Box(Vector(size, size, 1)).translated({100, 60, 0});
    auto readsApart = [&] {
        Buffer<double> buffer(window, 0, 8);
        for (int i = 0; i < 8; ++i) source<double>()->openRegion(buffer.getPtr(i), 0, window);
        benchmark::DoNotOptimize(buffer.getPtr(0));
    };
    auto const values = static_cast<double>(8 * size * size);
    measure(state, 1.05, values, readsApart, [&] {
        auto const buffer = bank.openRegion(names, window, 0);
        benchmark::DoNotOptimize(buffer->getPtr(0));
    });
}

void readSubImage(benchmark::State& state, long long size) {
    SubImageFilter filter(source<double>(), Box(Vector(100), Vector(3000, 3000, 0)), 0, false);
    filter.setSubImageBounds(Box(Vector(100, 100, 0), Vector(3999, 3999, 0)), 0);
    auto const window = Box(Vector(size, size, 1)).translated({300, 70, 0});
    std::vector<double> dst(static_cast<std::size_t>(size * size)), same(dst);
    auto direct = [&] {
        source<double>()->openRegion(dst.data(), 0, window.translated({100, 100, 0}));
    };
    direct();
    filter.openRegion(same.data(), 0, window);
    if (dst != same) return state.SkipWithError("the region is not the source's");
    measure(state, 1.02, static_cast<double>(size * size), direct,
            [&] { filter.openRegion(dst.data(), 0, window); });
}

}  // namespace

void addReadBenchmarks() {
    for (double const factor : {0.7, 0.3}) {
        std::string const name = "arbitrary/" + std::to_string(factor).substr(0, 3);
        add(name + "/windows", [=](auto& state) { shrinkArbitrarily(state, factor, true); });
        add(name + "/whole", [=](auto& state) { shrinkArbitrarily(state, factor, false); });
    }
    for (long long const size : {4096, 512, 256}) {
        std::string const suffix = "/" + std::to_string(size);
        bool const whole = size == edge;
        add("read/f64" + suffix,
            [=](auto& state) { readBuffer<double>(state, size, whole ? 1.1 : 0); });
        add("read/u8" + suffix,
            [=](auto& state) { readBuffer<unsigned char>(state, size, asPeers); });
        if (size == 256) continue;
        for (bool const rounds : {false, true}) {
            add((rounds ? "scale/rounded" : "scale/plain") + suffix,
                [=](auto& state) { readScaled(state, size, rounds, whole ? 1.1 : 0.5); });
        }
    }
    for (long long const size : {1024, 256}) {
        add("bank/8/" + std::to_string(size), [=](auto& state) { readBank(state, size); });
        add("subimage/" + std::to_string(size), [=](auto& state) { readSubImage(state, size); });
    }
}

}  // namespace Quivo::Benchmarks
