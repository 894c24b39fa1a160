// The downsampling kernels on one plane.

#include <quivo/filters/Downsampling.h>

#include "Yardstick.h"

#include <cmath>

namespace Quivo::Benchmarks {

namespace {

std::string nameOf(double factor) {
    std::string text = std::to_string(factor);
    return text.substr(0, text.find_last_not_of('0') + 1);
}

/// The means of all 2 x 2 blocks.
std::vector<double> halve(std::vector<double> const& src, long long edge) {
    std::vector<double> dst;
    for (long long y = 0; y + 1 < edge; y += 2) {
        for (long long x = 0; x + 1 < edge; x += 2) {
            auto const* const block = src.data() + y * edge + x;
            dst.push_back((block[0] + block[1] + block[edge] + block[edge + 1]) / 4);
        }
    }
    return dst;
}

/// The value of one destination pixel, straight from the definition: the mean of the source under
/// it by area.
double areaMean(std::vector<double> const& src, long long edge, double factor, long long x,
                long long y) {
    auto const overlap = [factor](long long from, long long pixel) {
        double const begin = static_cast<double>(from) * factor;
        auto const at = static_cast<double>(pixel);
        return std::max(0.0, std::min(begin + factor, at + 1) - std::max(begin, at));
    };
    auto const first = [factor](long long pixel) {
        return static_cast<long long>(static_cast<double>(pixel) / factor);
    };
    double sum = 0.0;
    for (long long v = first(y); v <= std::min(first(y + 1), edge - 1); ++v) {
        for (long long u = first(x); u <= std::min(first(x + 1), edge - 1); ++u) {
            sum += overlap(u, x) * overlap(v, y) * src[static_cast<std::size_t>(v * edge + u)];
        }
    }
    return sum;
}

void shrink(benchmark::State& state, long long edge, double factor, double goal) {
    auto const noise = makeNoise<double>(static_cast<std::size_t>(edge * edge));
    auto src = noise;
    auto const dstEdge = static_cast<long long>(static_cast<double>(edge) * factor);
    std::vector<double> dst(static_cast<std::size_t>(dstEdge * dstEdge));
    // A source as large as the destination needs; a few columns less than the whole.
    long long const used =
        getDownsamplingSrcRegionFromDstRegion(Box(Vector(dstEdge, dstEdge, 1)), factor).max.x + 1;
    Vector const srcExtent(std::min(used, edge), std::min(used, edge), 1);
    std::vector<double> packed;
    for (long long y = 0; y < srcExtent.y; ++y) {
        packed.insert(packed.end(), noise.begin() + y * edge,
                      noise.begin() + y * edge + srcExtent.x);
    }
    src = packed;
    auto const job = [&] {
        downsampleBuffer(src.data(), dst.data(), srcExtent, {dstEdge, dstEdge, 1}, factor, 1, {});
    };
    job();
    // The definition: whole halvings, then what is left of the factor.
    auto halved = noise;
    long long halvedEdge = edge;
    double rest = factor;
    for (; rest * 2 <= 1.0; rest *= 2, halvedEdge /= 2) halved = halve(halved, halvedEdge);
    for (long long i = 0; i < dstEdge - 1; ++i) {
        for (long long const y : {i, dstEdge - 2 - i, dstEdge / 3}) {
            double const expected = areaMean(halved, halvedEdge, rest, i, y);
            double const got = dst[static_cast<std::size_t>(y * dstEdge + i)];
            if (std::abs(got - expected) > 1e-9 * (1 + expected)) {
                return state.SkipWithError("a value is not the mean under its pixel");
            }
        }
    }
    double const traffic = 8.0 * static_cast<double>(edge * edge) * (1 + factor * factor);
    measure(state, goal, static_cast<double>(edge * edge), CopyYardstick(traffic), job);
}

}  // namespace

void addDownsamplingBenchmarks() {
    struct {
        double factor, goal;
    } const jobs[] = {{0.5, 1.0}, {0.25, 0.9}, {0.125, asPeers}, {0.55, 1.3},
                      {0.7, 1.3}, {0.9, 1.3},  {0.3, 1.3}};
    for (auto const& job : jobs) {
        for (long long const edge : {4096, 256}) {
            add("downsample/" + nameOf(job.factor) + "/" + std::to_string(edge), [=](auto& state) {
                shrink(state, edge, job.factor, edge > 256 || job.goal == asPeers ? job.goal : 0);
            });
        }
    }
}

}  // namespace Quivo::Benchmarks
