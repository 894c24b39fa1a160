#pragma once

#include <quivo/core/Export.h>
#include <quivo/filters/ArbitraryDownsampleFilter.h>

#include <memory>

namespace Quivo {

/// The source shrunk as `ArbitraryDownsampleFilter` does it, by what its numbers mean: pixels that
/// have no value are left out, and an unassociated opacity weighs the colours.
///
/// The metadata of the source, asked for once by the constructor, says what counts; without a
/// no-data value, an unassociated opacity or classes every value is that of
/// `ArbitraryDownsampleFilter`, at its cost. Otherwise, for each pixel and channel:
/// - Where no source pixel under it is no-data and their opacities are all equal, the value is that
///   of `ArbitraryDownsampleFilter`, to the bit.
/// - Else values times weights and weights are averaged, each by area, and divided by one another.
///   A weight is the opacity (0 where it is negative or not a number), and 0 for no-data. Where all
///   opacities are equal, or those that count are 0, all pixels that have a value weigh the same.
/// - A pixel with nothing but no-data under it is no-data; any value at all makes it a value.
/// - Classes become the one that covers most of the pixel, so weighed; of several the one that is
///   met first, row by row.
/// - Opacity itself is averaged by area, as are the zeros around an image.
///
/// A region read in pieces equals the region read whole, to the bit. Immutable after construction;
/// reads are as safe as the source's.
class QUIVO_API WeighedDownsampleFilter : public ArbitraryDownsampleFilter {
public:
    /// error: as for `ArbitraryDownsampleFilter`, and what the source's metadata throws.
    WeighedDownsampleFilter(Image* source, double scaleFactor, bool takeOwnership);
    ~WeighedDownsampleFilter() override;

    /// Takes memory for some slices of the source region more than `ArbitraryDownsampleFilter`.
    /// error: std::bad_alloc, and what the source and the checkers of scopes throw.
    void openRegion(double* dst, long long level, Box const& region) override;

private:
    struct Rule;
    class Slice;

    std::unique_ptr<Rule const> rule_;
    double factor_;
};

}  // namespace Quivo
