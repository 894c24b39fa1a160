#pragma once

/// \file
/// Kernels that shrink a planar block of doubles in x and y by a factor in (0, 1]: whole halvings
/// by block means, then at most one residual step by area coverage (every destination pixel is the
/// mean of the source pixels under it, weighted by overlap). z is never resampled.
///
/// Factors are destination pixels per source pixel. The functions keep no state: calls on distinct
/// buffers may run in any number of threads.

#include <quivo/core/Box.h>
#include <quivo/core/Export.h>
#include <quivo/core/Vector.h>

namespace Quivo {

/// The region of the source that a destination region needs, at the source's own level; its x and y
/// origin and extent are multiples of 2^n, n being the number of whole halvings in `factor`. A
/// factor outside (0, 1] gives no meaningful region.
[[nodiscard]] QUIVO_API Box getDownsamplingSrcRegionFromDstRegion(Box const& dstRegion,
                                                                  double factor) noexcept;

/// Shrinks `src` (`numChannels * srcExtent.prod()` doubles, planar) into `dst`
/// (`numChannels * dstExtent.prod()`). `src` is scratch space: its contents afterwards are
/// undefined. `dstPosition` is where the destination's first pixel lies in the destination grid (x
/// and y count): pieces with their own position equal the whole, up to rounding, which for values
/// around 1 is below 1e-12 near the origin and about position * 2^-53 far from it. `srcExtent` is
/// that of `getDownsamplingSrcRegionFromDstRegion` for the destination region; a destination pixel
/// that the source covers in part gets a proportionally smaller value.
///
/// Where `factor` is within 1 % of a whole number n of halvings, the destination receives block
/// means with the extent srcExtent / 2^n, whatever `dstExtent` says, and must be large enough.
/// error: std::runtime_error "Sampling factor must be in interval [(0.0, 1.0]" for any other
/// factor, NaN included.
/// error: std::runtime_error "Z-Dimensions of source and destination must match", unless `factor`
/// is that of block means. Nothing is written with these two, not even `src`.
/// error: std::bad_alloc; `dst` may be written in part then.
QUIVO_API void downsampleBuffer(double* src, double* dst, Vector const& srcExtent,
                                Vector const& dstExtent, double factor, long long numChannels,
                                Vector const& dstPosition);

/// The residual step alone, for a factor in (0.5, 1]. Every source pixel is `factor` destination
/// pixels wide and high and gives each pixel that it overlaps its share; shares that fall outside
/// the destination are dropped. Buffers and positions as in `downsampleBuffer`; `src` and `dst` do
/// not overlap.
/// error: std::runtime_error "Z-Dimensions of source and destination must match".
/// error: std::runtime_error "Sampling factor must be in interval [(0.5, 1.0]" (NaN included).
/// error: std::bad_alloc; `dst` may be written in part then.
QUIVO_API void downsampleBufferIntermediateLevel(double* src, double* dst, Vector const& srcExtent,
                                                 Vector const& dstExtent, double factor,
                                                 long long numChannels, Vector const& dstPosition);

}  // namespace Quivo
