#pragma once

#include <quivo/core/Export.h>
#include <quivo/filters/Filter.h>

namespace Quivo {

/// The source shrunk in x and y by a fixed factor between 0 and 1 at every level: each pixel is the
/// mean of the source pixels under it, weighted by the area of the overlap. z is never scaled.
///
/// Positions are absolute, so a region read in pieces equals the region read whole, to the bit.
/// Values just past the extent are what the source's pixels there amount to, not forced to 0; at
/// negative positions some of the pixels underneath may be left out.
/// Immutable after construction; reads are as safe as the source's.
class QUIVO_API ArbitraryDownsampleFilter : public Filter {
public:
    /// `scaleFactor` is in destination pixels per source pixel.
    /// error: std::runtime_error "Scale Factor is not between 0 and 1" unless 0 < scaleFactor < 1
    /// (NaN included); a source handed over with ownership is deleted then too.
    ArbitraryDownsampleFilter(Image* source, double scaleFactor, bool takeOwnership);
    ~ArbitraryDownsampleFilter() override;

    /// The source's extent times the factor, truncated.
    Vector getExtent(long long level) const override;
    /// From this filter's own extent: may be fewer than the source's.
    long long getNumLevels() const override;
    /// The source's voxel size divided by the factor, truncated.
    Vector getVoxelSize(long long level) const override;
    /// The source's tile extent times the factor, truncated.
    Vector getTileExtent() const override;
    /// Reads the source region under `region`, at once, into a scratch block of its size and
    /// shrinks it: memory for about `region.getSize()` / scaleFactor^2 doubles per channel. A large
    /// region is better read in pieces. Pixels of a source that shows them in memory
    /// (`PixelsInMemory`, such as `BufferImage<double>`) are taken where they lie.
    /// error: std::bad_alloc, and what the source and the checkers of scopes throw.
    void openRegion(double* dst, long long level, Box const& region) override;

private:
    /// The source's metadata with its pixels grown.
    class Grown final : public MetadataSource {
    public:
        explicit Grown(ArbitraryDownsampleFilter& filter) noexcept : filter_(filter) {}
        [[nodiscard]] Metadata getMetadata() override;

    private:
        ArbitraryDownsampleFilter& filter_;
    };

    Grown grown_{*this};
    double scaleFactor_;
};

}  // namespace Quivo
