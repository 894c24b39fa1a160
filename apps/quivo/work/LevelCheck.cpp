#include "work/LevelCheck.h"

#include "options/Input.h"
#include "work/Bands.h"
#include "work/Samples.h"

#include <quivo/chains/ReadPlan.h>
#include <quivo/filters/PiecewiseFilter.h>
#include <quivo/metadata/Metadata.h>
#include <quivo/samples/HalveSamples.h>
#include <quivo/samples/ReadSamples.h>
#include <quivo/writer/Progress.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

namespace Quivo::tool {

namespace {

/// One plane: the finer level, what is to be stored, what is stored.
template <typename T>
void addPlane(LevelCheck& check, T const* fine, T const* means, T const* stored,
              Vector const& extent) {
    for (long long y = 0; y < extent.y; ++y) {
        T const* const upper = fine + 4 * y * extent.x;
        T const* const lower = upper + 2 * extent.x;
        for (long long x = 0; x < extent.x; ++x) {
            T const first = upper[2 * x];
            bool const isFlat = isSame(first, upper[2 * x + 1]) && isSame(first, lower[2 * x]) &&
                                isSame(first, lower[2 * x + 1]);
            check.numTelling += isFlat ? 0 : 1;
            double const a = toDouble(means[y * extent.x + x]);
            double const b = toDouble(stored[y * extent.x + x]);
            if (!std::isfinite(a) || !std::isfinite(b)) continue;
            check.sumA += a;
            check.sumB += b;
            check.sumAA += a * a;
            check.sumBB += b * b;
            check.sumAB += a * b;
            ++check.numSums;
        }
    }
}

}  // namespace

bool LevelCheck::isOwnRule() const noexcept {
    constexpr double most = 0.9;  // some rules agree with ours here and there
    auto const numDifferent = static_cast<double>(difference.numDifferent);
    return static_cast<double>(numTelling) - numDifferent >= most * static_cast<double>(numTelling);
}

bool LevelCheck::isOtherPicture() const noexcept {
    constexpr double leastCorrelation = 0.3;  // noise of which every fourth pixel is left has 0.5
    if (numSums < 16) return false;
    auto const n = static_cast<double>(numSums);
    double const varianceA = sumAA / n - sumA / n * (sumA / n);
    double const varianceB = sumBB / n - sumB / n * (sumB / n);
    double const together = sumAB / n - sumA / n * (sumB / n);
    if (varianceA <= 0.0 || varianceB <= 0.0) return false;
    return together < leastCorrelation * std::sqrt(varianceA * varianceB);
}

LevelCheck checkLevel(Input const& stored, Input const& finer, long long level,
                      ProgressMonitor& progress) {
    LevelCheck result;
    Image& image = stored.getImage();
    Metadata const metadata = getMetadata(image);
    long long const numChannels = image.getNumChannels();
    SampleType const type = stored.getStoredType().value_or(SampleType::F64);
    Vector const piece = ReadPlan::choosePieceExtent(numChannels);
    PiecewiseFilter coarse(&image, piece, false), fine(&finer.getImage(), piece, false);
    std::vector<std::byte> fineValues, means, storedValues;
    long long const pixelBytes = numChannels * getSampleBytes(type);
    forEachBand(Box(image.getExtent(level)), 6 * pixelBytes, [&](Box const& band) {
        Vector const extent = band.getExtent();
        auto const numBytes = static_cast<std::size_t>(band.getSize() * pixelBytes);
        storedValues.resize(std::max(storedValues.size(), numBytes));
        means.resize(storedValues.size());
        fineValues.resize(4 * storedValues.size());
        Box const below(Vector(2 * band.min.x, 2 * band.min.y, band.min.z),
                        Vector(2 * band.max.x + 1, 2 * band.max.y + 1, band.max.z));
        readSamples(coarse, storedValues.data(), type, level, band, {});
        readSamples(fine, fineValues.data(), type, level - 1, below, {});
        halveSamples(fineValues.data(), type, extent.x, extent.y, numChannels, metadata,
                     means.data());
        visitSamples(type, [&](auto zero) {
            using T = decltype(zero);
            for (long long c = 0; c < numChannels; ++c) {
                long long const plane = c * band.getSize();
                auto const* const a = reinterpret_cast<T const*>(means.data()) + plane;
                auto const* const b = reinterpret_cast<T const*>(storedValues.data()) + plane;
                auto const* const f = reinterpret_cast<T const*>(fineValues.data()) + 4 * plane;
                addPlane(result, f, a, b, extent);
                result.difference.add(type, a, b, band);
            }
        });
        progress.increase(5 * band.getSize());
    });
    return result;
}

}  // namespace Quivo::tool
