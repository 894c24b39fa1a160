#include <quivo/core/Levels.h>

#include "core/Arithmetic.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <stdexcept>

namespace Quivo {

namespace {

/// The number of levels from the finer to the coarser one, which may be more than 64 bits signed.
unsigned long long distance(long long coarser, long long finer) noexcept {
    return static_cast<unsigned long long>(coarser) - static_cast<unsigned long long>(finer);
}

/// 2^n, or 0 where no 64-bit coordinate survives the step.
long long stepFactor(unsigned long long n) noexcept { return n < 63 ? 1LL << n : 0; }

}  // namespace

long long computeNumPyramidLevels(Vector extent) noexcept {
    return computeNumPyramidLevels(extent.x, extent.y);
}

long long computeNumPyramidLevels(long long extentX, long long extentY) noexcept {
    long long const shorter = std::min(extentX, extentY);
    if (shorter < 1) return 0;
    return static_cast<long long>(std::bit_width(static_cast<unsigned long long>(shorter)));
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the signature is part of the interface
void check(bool condition, std::string message) {
    if (!condition) throw std::runtime_error(message.empty() ? "runtime error" : message);
}

long long pow2(long long n) noexcept {
    return n < 0 ? 0 : stepFactor(static_cast<unsigned long long>(n));
}

long long convertToLevel(long long value, long long fromLevel, long long toLevel) noexcept {
    if (fromLevel >= toLevel) {
        return detail::wrappingMul(value, stepFactor(distance(fromLevel, toLevel)));
    }
    long long const divisor = stepFactor(distance(toLevel, fromLevel));
    return divisor == 0 ? 0 : value / divisor;
}

Vector convertToLevel(Vector const& position, long long fromLevel, long long toLevel) noexcept {
    return {convertToLevel(position.x, fromLevel, toLevel),
            convertToLevel(position.y, fromLevel, toLevel), position.z};
}

Box convertToLevel(Box const& region, long long fromLevel, long long toLevel) noexcept {
    if (fromLevel == toLevel) return region;
    Vector const min = convertToLevel(region.min, fromLevel, toLevel);
    Vector const extent = convertToLevel(region.getExtent(), fromLevel, toLevel);
    Vector max = min + extent - Vector(1);
    max.z = region.max.z;
    return {min, max};
}

Vector scalePosition(Vector const& position, double factor) noexcept {
    return {detail::truncated(static_cast<double>(position.x) * factor),
            detail::truncated(static_cast<double>(position.y) * factor), position.z};
}

Box scaleRegion(Box const& region, double factor) noexcept {
    Vector const onePast(1, 1, 0);
    return {scalePosition(region.min, factor),
            scalePosition(region.max + onePast, factor) - onePast};
}

long long getThumbnailLevel(Vector const& extent, Vector const& thumbnailExtent) noexcept {
    auto const levelOf = [](long long size, long long thumbnailSize) {
        double const ratio = static_cast<double>(size) / static_cast<double>(thumbnailSize);
        return detail::truncated(std::ceil(detail::log2Quotient(ratio)));
    };
    return std::max(levelOf(extent.x, thumbnailExtent.x), levelOf(extent.y, thumbnailExtent.y));
}

}  // namespace Quivo
