#include <quivo/filters/ScaleFilter.h>

#include "kernels/Scale.h"

namespace Quivo {

ScaleFilter::ScaleFilter(Image* source, double scale, double offset, bool roundValues,
                         bool takeOwnership)
    : Filter(source, takeOwnership), scale_(scale), offset_(offset), roundValues_(roundValues) {}

ScaleFilter::ScaleFilter(Image* source, double scale, bool roundValues, bool takeOwnership)
    : ScaleFilter(source, scale, 0.0, roundValues, takeOwnership) {}

ScaleFilter::ScaleFilter(Image* source, ValueRange<double> targetRange, bool roundValues,
                         bool takeOwnership)
    : Filter(source, takeOwnership), roundValues_(roundValues) {
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
    long long const count = getSource()->getNumChannels() * region.getSize();
    if (roundValues_) {
        detail::scaleAndRoundValues(dst, count, scale_, offset_);
    } else {
        detail::scaleValues(dst, count, scale_, offset_);
    }
}

}  // namespace Quivo
