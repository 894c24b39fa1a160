#include <quivo/filters/ScaleFilter.h>

#include "kernels/Scale.h"
#include "metadata/HandOn.h"

#include <utility>

namespace Quivo {

ScaleFilter::ScaleFilter(Image* source, double scale, double offset, bool roundValues,
                         bool takeOwnership)
    : Filter(source, takeOwnership), scale_(scale), offset_(offset), roundValues_(roundValues) {
    offerMetadata(&mapped_);
}

ScaleFilter::ScaleFilter(Image* source, double scale, bool roundValues, bool takeOwnership)
    : ScaleFilter(source, scale, 0.0, roundValues, takeOwnership) {}

ScaleFilter::ScaleFilter(Image* source, ValueRange<double> targetRange, bool roundValues,
                         bool takeOwnership)
    : Filter(source, takeOwnership), roundValues_(roundValues) {
    offerMetadata(&mapped_);
    ValueRange<double> const range = source->getValueRange();
    scale_ = (targetRange.max - targetRange.min) / (range.max - range.min);
    offset_ = targetRange.min - scale_ * range.min;
}

ScaleFilter::~ScaleFilter() = default;

ValueRange<double> ScaleFilter::getValueRange() const {
    ValueRange<double> const range = getSource()->getValueRange();
    return {range.min * scale_ + offset_, range.max * scale_ + offset_};
}

void ScaleFilter::openRegion(double* dst, long long level, Box const& region) {
    getSource()->openRegion(dst, level, region);
    map(dst, getSource()->getNumChannels() * region.getSize());
}

void ScaleFilter::map(double* values, long long count) const noexcept {
    if (roundValues_) {
        detail::scaleAndRoundValues(values, count, scale_, offset_);
    } else {
        detail::scaleValues(values, count, scale_, offset_);
    }
}

Metadata ScaleFilter::Mapped::getMetadata() {
    Metadata known = Quivo::getMetadata(*filter_.getSource());
    auto noData = known.noData;
    if (noData) filter_.map(&*noData, 1);
    Metadata result = detail::handOn(filter_, *filter_.getSource(), std::move(known));
    result.noData = noData;
    for (auto& channel : result.channels) {
        channel.window.reset();
        channel.properties.clear();  // units and the like are those of the values before
    }
    return result;
}

}  // namespace Quivo
