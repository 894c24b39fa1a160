#pragma once

#include <quivo/core/Box.h>
#include <quivo/core/Export.h>
#include <quivo/samples/SampleType.h>

#include <optional>

namespace Quivo {

/// What an image may be besides: one whose values are samples of one type, and that can give them
/// as such, without the way through doubles.
///
/// `TiffWriter` asks its source image for this (by `dynamic_cast`) and stores what it gets where
/// the types agree; the file is the same either way. A filter that leaves values alone can pass it
/// on. Threads: as the image.
class QUIVO_API SampleSource {
public:
    SampleSource() = default;
    SampleSource(SampleSource const&) = delete;
    SampleSource& operator=(SampleSource const&) = delete;
    virtual ~SampleSource();

    /// The type of the samples; none when there are no samples to be had.
    [[nodiscard]] virtual std::optional<SampleType> getStoredType() const = 0;

    /// As `Image::openRegion`: `getNumChannels() * region.getSize()` samples, planar, 0 outside.
    /// `dst` is the caller's and aligned for their type. Not called where there is no type.
    virtual void openSamples(void* dst, long long level, Box const& region) = 0;
};

}  // namespace Quivo
