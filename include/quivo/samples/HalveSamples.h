#pragma once

/// \file
/// The rule by which levels are made, for whoever wants to repeat it. No state; any thread.

#include <quivo/core/Export.h>
#include <quivo/metadata/Metadata.h>
#include <quivo/samples/SampleType.h>

namespace Quivo {

/// Computes samples of the next level as a `TiffImage` does for levels that its file lacks, and
/// `TiffWriter` for those that it stores: means of 2 x 2, rounded half up for integers, in which
/// no-data does not count and an unassociated opacity weighs colours; of classes the most frequent.
///
/// `samples` has `numChannels` planes of `2 * width` x `2 * height` samples of `type`, all channels
/// of the image that `metadata` describes, in their order; `dst` gets as many planes of `width` x
/// `height`. They do not overlap, and are aligned for the samples.
/// error: std::bad_alloc.
QUIVO_API void halveSamples(void const* samples, SampleType type, long long width, long long height,
                            long long numChannels, Metadata const& metadata, void* dst);

}  // namespace Quivo
