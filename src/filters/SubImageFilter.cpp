#include <quivo/filters/SubImageFilter.h>

#include <quivo/core/Levels.h>
#include <quivo/samples/ReadSamples.h>

#include "core/Planes.h"
#include "metadata/HandOn.h"
#include "samples/Samples.h"

#include <algorithm>
#include <utility>

namespace Quivo {

SubImageFilter::SubImageFilter(Image* source, Box bounds, long long level, bool takeOwnership)
    : Filter(source, takeOwnership) {
    offerSamples<SubImageFilter>(&beside_);
    offerMetadata(&beside_);
    setSubImageBounds(bounds, level);
}

SubImageFilter::~SubImageFilter() = default;

void SubImageFilter::setSubImageBounds(Box bounds, long long level) {
    long long const baseLevel = std::min(level, getSource()->getNumLevels() - 1);
    Box const whole(getSource()->getExtent(baseLevel));
    Box const wanted = bounds.isEmpty() ? whole : bounds.intersected(whole);
    baseLevel_ = baseLevel;
    bounds_ = bounds.isEmpty() || !wanted.isEmpty() ? wanted : Box();
}

Vector SubImageFilter::getExtent(long long level) const {
    return convertToLevel(bounds_.getExtent(), 0, level);
}

long long SubImageFilter::getNumLevels() const {
    return computeNumPyramidLevels(bounds_.getExtent());
}

Vector SubImageFilter::getVoxelSize(long long level) const {
    return getSource()->getVoxelSize(detail::wrappingAdd(level, baseLevel_));
}

void SubImageFilter::openRegion(double* dst, long long level, Box const& region) {
    if (region.isEmpty()) return;
    Vector const extent = getExtent(level);
    Vector const offset = convertToLevel(bounds_.min, 0, level);
    long long const srcLevel = detail::wrappingAdd(level, baseLevel_);
    getSource()->openRegion(dst, srcLevel, region.translated(offset));
    Box const inside = Box(extent).intersected(region);
    if (inside != region) {
        detail::zeroOutside(dst, region, inside, getSource()->getNumChannels());
    }
}

std::optional<SampleType> SubImageFilter::Beside::getStoredType() const {
    auto const* const source = findSampleSource(*filter_.getSource());
    return source ? source->getStoredType() : std::nullopt;
}

void SubImageFilter::Beside::openSamples(void* dst, long long level, Box const& region,
                                         std::span<long long const> channels) {
    if (region.isEmpty()) return;
    auto& source = *findSampleSource(*filter_.getSource());
    Vector const offset = convertToLevel(filter_.bounds_.min, 0, level);
    source.openSamples(dst, detail::wrappingAdd(level, filter_.baseLevel_),
                       region.translated(offset), channels);
    Box const inside = Box(filter_.SubImageFilter::getExtent(level)).intersected(region);
    long long const numPlanes =
        channels.empty() ? filter_.getSource()->getNumChannels() : std::ssize(channels);
    detail::visitSampleType(*source.getStoredType(), [&](auto zero) {
        detail::zeroOutside(static_cast<decltype(zero)*>(dst), region, inside, numPlanes);
    });
}

Metadata SubImageFilter::Beside::getMetadata() {
    Metadata known = Quivo::getMetadata(*filter_.getSource());
    auto const exact = known.pixelSize;
    Metadata result = detail::handOn(filter_, *filter_.getSource(), std::move(known));
    auto const growth = static_cast<double>(pow2(filter_.baseLevel_));
    result.pixelSize = {exact[0] * growth, exact[1] * growth, exact[2]};
    if (result.place) {
        Vector const& corner = filter_.bounds_.min;
        result.place->moveAndGrow(static_cast<double>(corner.x) * growth,
                                  static_cast<double>(corner.y) * growth,
                                  static_cast<double>(corner.z), growth, growth);
    }
    return result;
}

}  // namespace Quivo
