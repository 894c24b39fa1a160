#include <quivo/filters/Downsampling.h>

#include <quivo/core/Levels.h>

#include "core/Arithmetic.h"
#include "filters/AreaMean.h"
#include "filters/BlockMean.h"

#include <cmath>

namespace Quivo {

namespace {

/// A sampling factor as whole halvings and what is left of it: factor = remainder / 2^numHalvings.
struct Decomposition {
    long long numHalvings;
    double remainder;

    explicit Decomposition(double factor) noexcept
        : numHalvings(detail::truncated(std::floor(log2Inverse(factor) + 0.01))),
          remainder(std::scalbln(factor, static_cast<long>(numHalvings))) {}

private:
    static double log2Inverse(double factor) noexcept {
        // The smallest factors are above 0, but what they divide is beyond doubles.
        bool const hasInverse = std::isfinite(1.0 / factor);
        return hasInverse ? detail::log2Quotient(1.0 / factor) : -detail::log2Quotient(factor);
    }
};

/// z is never resampled.
void checkSlices(Vector const& srcExtent, Vector const& dstExtent) {
    check(srcExtent.z == dstExtent.z, "Z-Dimensions of source and destination must match");
}

}  // namespace

Box getDownsamplingSrcRegionFromDstRegion(Box const& dstRegion, double factor) noexcept {
    Decomposition const parts(factor);
    auto const lower = [&](long long position) {
        double const halved = std::floor(static_cast<double>(position) / parts.remainder);
        return convertToLevel(detail::truncated(halved), parts.numHalvings, 0);
    };
    auto const upper = [&](long long position) {
        double const onePast = static_cast<double>(detail::wrappingAdd(position, 1));
        double const halved = std::ceil(onePast / parts.remainder);
        long long const end = convertToLevel(detail::truncated(halved), parts.numHalvings, 0);
        return detail::wrappingSub(end, 1);
    };
    return {Vector(lower(dstRegion.min.x), lower(dstRegion.min.y), dstRegion.min.z),
            Vector(upper(dstRegion.max.x), upper(dstRegion.max.y), dstRegion.max.z)};
}

void downsampleBuffer(double* src, double* dst, Vector const& srcExtent, Vector const& dstExtent,
                      double factor, long long numChannels, Vector const& dstPosition) {
    check(factor > 0.0 && factor <= 1.0, "Sampling factor must be in interval [(0.0, 1.0]");
    Decomposition const parts(factor);
    if (std::abs(parts.remainder - 1.0) < 0.01) {
        downsampleBufferFullLevel<double, double>(src, dst, srcExtent, numChannels,
                                                  parts.numHalvings);
        return;
    }
    checkSlices(srcExtent, dstExtent);
    if (parts.numHalvings > 0) {
        downsampleBufferFullLevel<double, double>(src, src, srcExtent, numChannels,
                                                  parts.numHalvings);
    }
    Vector const halvedExtent = convertToLevel(srcExtent, 0, parts.numHalvings);
    downsampleBufferIntermediateLevel(src, dst, halvedExtent, dstExtent, parts.remainder,
                                      numChannels, dstPosition);
}

void downsampleBufferIntermediateLevel(double* src, double* dst, Vector const& srcExtent,
                                       Vector const& dstExtent, double factor,
                                       long long numChannels, Vector const& dstPosition) {
    checkSlices(srcExtent, dstExtent);
    check(factor > 0.5 && factor <= 1.0, "Sampling factor must be in interval [(0.5, 1.0]");
    Box const firstPixel(dstPosition, Vector());
    Vector const origin = getDownsamplingSrcRegionFromDstRegion(firstPixel, factor).min;
    // How far, in destination pixels, the destination starts after the source.
    auto const phase = [factor](long long dstStart, long long srcStart) {
        return static_cast<double>(dstStart) - static_cast<double>(srcStart) * factor;
    };
    if (numChannels < 1 || dstExtent.x < 1 || dstExtent.y < 1 || dstExtent.z < 1) return;

    using detail::AreaWeights;
    auto const columns =
        AreaWeights::ofShares(srcExtent.x, dstExtent.x, factor, phase(dstPosition.x, origin.x));
    auto const rows =
        AreaWeights::ofShares(srcExtent.y, dstExtent.y, factor, phase(dstPosition.y, origin.y));
    detail::averageByArea({src, srcExtent.x, srcExtent.x * srcExtent.y}, dst,
                          numChannels * srcExtent.z, columns, rows);
}

}  // namespace Quivo
