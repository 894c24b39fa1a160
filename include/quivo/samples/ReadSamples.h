#pragma once

/// \file
/// Reading any image in any sample type: as it is stored where that can be had, through doubles
/// where it cannot. The values are the same either way, except for integers beyond 2^53, which
/// survive natively only. No state; as safe as the image.

#include <quivo/core/Box.h>
#include <quivo/core/Export.h>
#include <quivo/samples/SampleSource.h>
#include <quivo/samples/SampleType.h>

#include <span>

namespace Quivo {

class Image;

/// What gives the native samples of `image`, and belongs to it; null where there are none. A class
/// that is derived from one of this library's and overrides its reads has none, whatever its base
/// has.
/// error: what `SampleSource::getStoredType` throws.
[[nodiscard]] QUIVO_API SampleSource* findSampleSource(Image& image);

/// Reads chosen channels of a box as samples of `type`: writes every one of the
/// `channels.size() * region.getSize()` samples of the caller's `dst`, planar, plane i from channel
/// `channels[i]`, in any order and with repetitions; an empty span means all channels in their
/// order. `dst` is aligned for the samples. Level and region are those of `Image::openRegion`.
///
/// Where `image` stores another type, values are converted: to integers rounded half up and clamped
/// to their range, NaN to 0; between integers directly and clamped; to floats of 16 or 32 bits
/// rounded to the nearest, finite values clamped to the finite range. An image without native
/// samples is read in all of its channels, in pieces of a few megabytes.
/// error: std::runtime_error for a channel that is not in [0, getNumChannels() - 1].
/// error: std::bad_alloc, and what the image's read throws; `dst` may be written in part then.
QUIVO_API void readSamples(Image& image, void* dst, SampleType type, long long level,
                           Box const& region, std::span<long long const> channels);

}  // namespace Quivo
