#pragma once

/// \file
/// The pyramid convention of the library. Level 0 is full resolution; every further level halves x
/// and y; z is never scaled. A coordinate moves to a finer level by multiplication with a power of
/// two, which wraps around beyond 64 bits, and to a coarser one by division that truncates toward
/// zero. The functions keep no state: any thread.

#include <quivo/core/Box.h>
#include <quivo/core/Export.h>
#include <quivo/core/Vector.h>

#include <string>

namespace Quivo {

/// The number of levels of a pyramid over a level-0 extent: floor(log2(min(x, y))) + 1, or 0 when x
/// or y is below 1. The last level is the last at which x and y are both at least 1; z does not
/// count.
///@{
[[nodiscard]] QUIVO_API long long computeNumPyramidLevels(Vector extent) noexcept;
[[nodiscard]] QUIVO_API long long computeNumPyramidLevels(long long extentX,
                                                          long long extentY) noexcept;
///@}

/// Checks a precondition that the interface promises to check.
/// error: std::runtime_error with `message` ("runtime error" when it is empty) when `condition` is
/// false.
QUIVO_API void check(bool condition, std::string message);

/// 2^n for n in 0 ... 62; 0 for any other n.
[[nodiscard]] QUIVO_API long long pow2(long long n) noexcept;

/// One x or y coordinate moved between levels. Going coarser truncates toward zero: -3 one level
/// coarser is -1. 63 or more levels in either direction give 0.
[[nodiscard]] QUIVO_API long long convertToLevel(long long value, long long fromLevel,
                                                 long long toLevel) noexcept;

/// x and y moved between levels, z kept.
[[nodiscard]] QUIVO_API Vector convertToLevel(Vector const& position, long long fromLevel,
                                              long long toLevel) noexcept;

/// A region moved between levels: x and y of `min` and of the extent are converted, and `max`
/// follows from both. Going coarser, an axis shorter than one coarse pixel becomes empty; an empty
/// box stays empty. z is kept.
[[nodiscard]] QUIVO_API Box convertToLevel(Box const& region, long long fromLevel,
                                           long long toLevel) noexcept;

/// x and y times `factor`, as doubles, truncated toward zero; z kept. Products beyond 64 bits
/// saturate, NaN gives 0.
[[nodiscard]] QUIVO_API Vector scalePosition(Vector const& position, double factor) noexcept;

/// A region scaled in x and y: its lower corner and its exclusive upper bound are scaled like
/// positions; z is kept.
[[nodiscard]] QUIVO_API Box scaleRegion(Box const& region, double factor) noexcept;

/// The first level at which `extent` fits into `thumbnailExtent` in x and y: the larger of the two
/// ceil(log2(extent / thumbnailExtent)). 0 or negative when the thumbnail is as large as the image
/// or larger. `thumbnailExtent` is positive in x and y; other values give no meaningful level.
[[nodiscard]] QUIVO_API long long getThumbnailLevel(Vector const& extent,
                                                    Vector const& thumbnailExtent) noexcept;

}  // namespace Quivo
