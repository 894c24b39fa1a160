#include <quivo/filters/SliceFilter.h>

namespace Quivo {

SliceFilter::SliceFilter(Image* source, long long slice, bool takeOwnership)
    : SubImageFilter(source, Box(), 0, takeOwnership), slice_(slice) {
    offerAgain<SliceFilter>();
    Box bounds(source->getExtent(0));
    bounds.min.z = bounds.max.z = slice;
    setSubImageBounds(bounds, 0);
}

SliceFilter::~SliceFilter() = default;

std::string SliceFilter::getSliceImageId(Image*, long long slice) { return std::to_string(slice); }

std::string SliceFilter::getSliceImageURL(Image*, long long) { return {}; }

std::string SliceFilter::getURL() const { return {}; }

std::string SliceFilter::getSliceName(long long index) {
    return index == 0 ? getSource()->getSliceName(slice_) : std::string();
}

std::string SliceFilter::getId() const { return std::to_string(slice_); }

std::string SliceFilter::getGroupId() const { return getSource()->getId(); }

}  // namespace Quivo
