#include <quivo/filters/HalvedLevels.h>

#include <quivo/core/Levels.h>
#include <quivo/samples/ReadSamples.h>

#include <algorithm>

namespace Quivo {

HalvedLevels::HalvedLevels(Image* source, long long numLevels, bool takeOwnership)
    : Filter(source, takeOwnership),
      numLevels_(std::clamp(numLevels, 0LL, computeNumPyramidLevels(source->getExtent(0)))) {}

HalvedLevels::~HalvedLevels() = default;

long long HalvedLevels::countLevelsToTile(Vector const& extent, long long tileSide) noexcept {
    long long const all = computeNumPyramidLevels(extent);
    for (long long level = 0; level < all; ++level) {
        Vector const e = convertToLevel(extent, 0, level);
        if (e.x <= tileSide && e.y <= tileSide) return level + 1;
    }
    return all;
}

Vector HalvedLevels::getExtent(long long level) const {
    return convertToLevel(getSource()->getExtent(0), 0, level);
}

long long HalvedLevels::getNumLevels() const { return numLevels_; }

std::optional<SampleType> HalvedLevels::getStoredType() const {
    auto const* const source =
        ownClass_.isClassOf(*this) ? findSampleSource(*getSource()) : nullptr;
    return source ? source->getStoredType() : std::nullopt;
}

void HalvedLevels::openSamples(void* dst, long long level, Box const& region,
                               std::span<long long const> channels) {
    findSampleSource(*getSource())->openSamples(dst, level, region, channels);
}

}  // namespace Quivo
