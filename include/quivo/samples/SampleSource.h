#pragma once

#include <quivo/core/Box.h>
#include <quivo/core/Export.h>
#include <quivo/samples/SampleType.h>

#include <optional>
#include <span>

namespace Quivo {

/// What an image may be besides: one whose values are samples of one type, and that can give them
/// as such, those of chosen channels alone, without the way through doubles.
///
/// `readSamples` is how to read an image whether or not it is one. An image that is one derives
/// from both classes, and gives the same values through both. Threads: as the image.
class QUIVO_API SampleSource {
public:
    SampleSource() = default;
    SampleSource(SampleSource const&) = delete;
    SampleSource& operator=(SampleSource const&) = delete;
    virtual ~SampleSource();

    /// The type of the samples; none when there are no samples to be had.
    [[nodiscard]] virtual std::optional<SampleType> getStoredType() const = 0;

    /// Reads a box: writes every one of the `channels.size() * region.getSize()` samples of the
    /// caller's `dst`, planar, 0 outside the level, as `Image::openRegion` does. Plane i holds
    /// channel `channels[i]`, which lies in [0, getNumChannels() - 1]: any order, repetitions too;
    /// an empty span means all channels in their order. `dst` is aligned for the samples. Not
    /// called where there is no type.
    /// error: what `Image::openRegion` throws.
    virtual void openSamples(void* dst, long long level, Box const& region,
                             std::span<long long const> channels) = 0;
};

}  // namespace Quivo
