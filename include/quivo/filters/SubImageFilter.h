#pragma once

#include <quivo/core/Box.h>
#include <quivo/core/Export.h>
#include <quivo/filters/Filter.h>
#include <quivo/samples/SampleSource.h>

namespace Quivo {

/// A box of the source, taken at one of its levels, as an image of its own: coordinates start at
/// the box's corner, and what lies outside the box reads as 0.0.
///
/// Level L is source level L + base level. Reads are as safe as the source's; moving the box must
/// not overlap with anything.
class QUIVO_API SubImageFilter : public Filter {
public:
    /// As `setSubImageBounds` right after construction.
    /// error: as there; a source handed over with ownership is deleted then too.
    SubImageFilter(Image* source, Box bounds, long long level, bool takeOwnership);
    ~SubImageFilter() override;

    /// Presents another box from now on. The base level is `level`, or the source's last one where
    /// that is less. An empty box selects the whole level; otherwise `bounds` is cut to the level's
    /// extent, and the image is empty when nothing of it is left. The source's levels and extent
    /// are asked once, here. A cache above does not notice: make it anew. Clearing it is not
    /// enough when the extent changes, because a cache measures its source once.
    /// error: what the source throws; the old box stays.
    void setSubImageBounds(Box bounds, long long level);

    /// The box's extent with x and y divided by 2^level, truncated; multiplied where the level is
    /// negative.
    Vector getExtent(long long level) const override;
    /// From the box's own extent, however many levels the source has below the base level.
    long long getNumLevels() const override;
    /// The source's at the level that is read.
    Vector getVoxelSize(long long level) const override;
    /// The source writes straight into `dst`; what lies outside the box is zeroed afterwards. The
    /// corner is moved to the level by division that truncates, so a corner that is no multiple of
    /// 2^level lies up to one pixel off there.
    void openRegion(double* dst, long long level, Box const& region) override;

private:
    /// The source's samples and metadata, as the box shows them.
    class Beside final : public SampleSource, public MetadataSource {
    public:
        explicit Beside(SubImageFilter& filter) noexcept : filter_(filter) {}
        [[nodiscard]] std::optional<SampleType> getStoredType() const override;
        void openSamples(void* dst, long long level, Box const& region,
                         std::span<long long const> channels) override;
        [[nodiscard]] Metadata getMetadata() override;

    private:
        SubImageFilter& filter_;
    };

    Beside beside_{*this};
    Box bounds_;
    long long baseLevel_ = 0;
};

}  // namespace Quivo
