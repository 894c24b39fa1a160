#pragma once

// How every benchmark here is measured: the job and a yardstick run in turn, the job's time is
// reported as a multiple of the yardstick's. The machine's speed of the moment cancels out.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace Quivo::Benchmarks {

/// Moves `traffic` bytes: reads one half from a warm buffer and writes it to another.
class CopyYardstick {
public:
    explicit CopyYardstick(double traffic)
        : from_(static_cast<std::size_t>(traffic / 2), 1), to_(from_.size(), 2) {}

    void operator()() {
        std::memcpy(to_.data(), from_.data(), from_.size());
        benchmark::DoNotOptimize(to_.data());
        benchmark::ClobberMemory();
    }

private:
    std::vector<char> from_, to_;
};

template <typename Work>
double secondsOf(Work& work, int repetitions) {
    auto const start = std::chrono::steady_clock::now();
    for (int i = 0; i < repetitions; ++i) {
        work();
        benchmark::ClobberMemory();
    }
    std::chrono::duration<double> const taken = std::chrono::steady_clock::now() - start;
    return taken.count() / repetitions;
}

inline double medianOf(std::vector<double> values) {
    auto const middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

/// The goal of a job that must not be slower than the same by other libraries in the same run.
constexpr double asPeers = -1;

/// Times `job` against `yardstick`, run just before it each time. Jobs too short for the clock are
/// repeated until they take half a millisecond. Sets the counters `x_memcpy`, the ratio of the
/// medians, and `goal`, what it should not exceed (0: none;
/// `asPeers`). `pixels` is what one job delivers.
template <typename Yardstick, typename Job>
void measure(benchmark::State& state, double goal, double pixels, Yardstick yardstick, Job job) {
    double const once = std::max(secondsOf(job, 1), 1e-8);
    int const repetitions = static_cast<int>(std::clamp(0.0005 / once, 1.0, 10000.0));
    (void)secondsOf(yardstick, 1);
    std::vector<double> jobs, yardsticks;
    for (auto _ : state) {
        yardsticks.push_back(secondsOf(yardstick, repetitions));
        jobs.push_back(secondsOf(job, repetitions));
        state.SetIterationTime(jobs.back());
    }
    double const time = medianOf(jobs);
    state.counters["x_memcpy"] = time / medianOf(yardsticks);
    state.counters["goal"] = goal;
    state.counters["ms"] = time * 1e3;
    state.counters["Mpixels_s"] = pixels / time / 1e6;
}

/// Registers `function(state)` under `name`, measured eleven times.
template <typename Function>
void add(std::string const& name, Function function) {
    benchmark::RegisterBenchmark(name.c_str(), function)
        ->UseManualTime()
        ->Iterations(11)
        ->Unit(benchmark::kMillisecond);
}

/// `count` windows of `size` x `size` at places of a square image that repeat on every run.
struct Window {
    int x;
    int y;
};
inline std::vector<Window> makeWindows(int edge, int size, int count) {
    std::vector<Window> windows;
    std::uint32_t seed = 7;
    auto const next = [&] {
        seed = seed * 1664525U + 1013904223U;
        return static_cast<int>((seed >> 8) % static_cast<std::uint32_t>(edge - size + 1));
    };
    for (int i = 0; i < count; ++i) {
        int const x = next();
        windows.push_back({x, next()});
    }
    return windows;
}

/// Noise that repeats on every run: whole numbers 0 ... 255, all bytes as likely.
template <typename T>
std::vector<T> makeNoise(std::size_t count, std::uint32_t seed = 1) {
    std::vector<T> values(count);
    for (auto& value : values) {
        seed = seed * 1664525U + 1013904223U;
        value = static_cast<T>(seed >> 24);
    }
    return values;
}

/// What one source file adds to the list.
void addPyramidBenchmarks();
void addDownsamplingBenchmarks();
void addReadBenchmarks();
void addCacheBenchmarks();
/// Those of files: where the TIFF library is built.
void addTiffBenchmarks();
void addChannelBenchmarks();
/// The same by other libraries, where they are installed.
void addOpenCvBenchmarks();
void addGdalBenchmarks();
void addOpenImageIoBenchmarks();

}  // namespace Quivo::Benchmarks
