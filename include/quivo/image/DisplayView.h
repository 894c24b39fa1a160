#pragma once

#include <quivo/core/Export.h>

#include <memory>
#include <mutex>

namespace Quivo {

class Image;

/// The lazily made view of one image onto [0, 255]: the rule behind
/// `Image::getViewableRepresentation()`, for invariable images, filters and your own tile sources.
///
/// Hold one as a member and answer `return displayView.get(*this);`. The view refers to the image
/// without owning it and never touches it while being destroyed. Locked inside; any thread.
class QUIVO_API DisplayView {
public:
    /// Without a view so far.
    DisplayView() noexcept;
    DisplayView(DisplayView const&) = delete;
    DisplayView& operator=(DisplayView const&) = delete;
    ~DisplayView();

    /// `image` itself when its value range is exactly (0.0, 255.0); otherwise a `ScaleFilter` over
    /// it that maps its range onto [0, 255] without rounding, made on the first call and returned
    /// again on every later one. Owned by this object. Always pass the same image.
    /// error: whatever making the view throws; no view is kept then.
    [[nodiscard]] Image* get(Image& image);

private:
    /// Guards `view_`. Held while the image is asked for its range: locks taken in there come after
    /// it. Any other lock may be held when it is taken.
    std::mutex mutex_;
    std::unique_ptr<Image> view_;
};

}  // namespace Quivo
