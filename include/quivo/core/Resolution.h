#pragma once

/// \file
/// Physical questions about an image at a level. Voxel sizes are whole nanometres, resolutions
/// pixels per millimetre, areas square millimetres. The functions ask the image for its extent or
/// voxel size and keep nothing; what the image throws passes through. Threads: as the image.

#include <quivo/core/Export.h>
#include <quivo/core/Vector.h>

namespace Quivo {

class Image;

/// Whether a position lies inside the image's extent at a level.
[[nodiscard]] QUIVO_API bool isValidImagePos(Image const& image, Vector const& position,
                                             long long level);

/// Pixels per millimetre along x; 0.0 when the voxel size is not known (0 or below).
[[nodiscard]] QUIVO_API double getResolutionAtLevel(Image const& image, long long level);

/// The level whose resolution is nearest to `resolution` (pixels per millimetre): the base-2
/// logarithm of level-0 resolution / `resolution`, plus 0.5, truncated toward zero, and at least
/// -1. It may lie beyond the image's last level. 0 when the voxel size is not known or `resolution`
/// is not above 0 (NaN included).
[[nodiscard]] QUIVO_API long long getResolutionLevel(Image const& image, double resolution);

/// The area of `size.x` x `size.y` pixels of a level in square millimetres; 0 when the voxel size
/// is 0. The products of lengths are taken in 64-bit integers of square nanometres and wrap around
/// there, from 9.2 square metres on.
[[nodiscard]] QUIVO_API double computeAreaInMM2(Vector const& size, Image const& image,
                                                long long level);

/// The area of `edge` x `edge` pixels.
[[nodiscard]] QUIVO_API double computeAreaInMM2(long long edge, Image const& image,
                                                long long level);

}  // namespace Quivo
