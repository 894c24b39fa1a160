#include <quivo/image/DisplayView.h>

#include <quivo/filters/ScaleFilter.h>

namespace Quivo {

DisplayView::DisplayView() noexcept = default;
DisplayView::~DisplayView() = default;

Image* DisplayView::get(Image& image) {
    std::lock_guard const lock(mutex_);
    if (view_) return view_.get();
    ValueRange<double> const displayRange(0.0, 255.0);
    if (image.getValueRange() == displayRange) return &image;
    view_ = std::make_unique<ScaleFilter>(&image, displayRange, false, false);
    return view_.get();
}

}  // namespace Quivo
