#pragma once

#include <quivo/core/Export.h>
#include <quivo/core/ValueRange.h>
#include <quivo/filters/Filter.h>
#include <quivo/metadata/Metadata.h>

#include <memory>
#include <string>

namespace Quivo {

/// The source as a picture for a screen (sRGB), by what its metadata says of its colours: of the
/// range 0 ... 255, and whole numbers.
///
/// There are one channel for grey, three for colours and four where a pixel may be transparent: an
/// opacity that the source has, which is unassociated here (associated colours, but L*a*b*, are
/// divided by it), times 0 where all colours are the no-data value. Values are taken as parts of
/// the source's value range and clamped to it, opacity of floats as 0 ... 1. NaN is the lowest
/// value. Channels that are neither colour nor opacity, and without a colour model all but the
/// first, are left out.
///
/// Colours become such of the screen
/// - by the embedded profile, where there is one for the source's kind of colours: relative to
///   white (media-relative colorimetric), with the blackest black as black;
/// - without one, or with one that is broken or of another kind: CMYK by `convertCmykToRgb`, L*a*b*
///   under D50 by `convertLabToRgb`, XYZ by `convertXyzToRgb`, with 1 as white; grey and RGB stay
///   as they are.
///
/// L*a*b* of integers is encoded as TIFF has it: lightness fills the range; a* and b* of `CieLab`
/// are two's complement, also where the type is unsigned (values from its middle on are negative),
/// those of `IccLab` have the middle as 0, and its lightness of 16 bits ends at 65280. A byte's
/// step is 1. Floats are L*, a* and b* themselves.
///
/// Pieces of a read equal the whole. Immutable after construction; reads are as safe as the
/// source's.
class QUIVO_API ColourFilter : public Filter, public MetadataSource {
public:
    /// Whether the colours that are told are others than a screen's: colours of inks and of the
    /// eye, or grey or RGB with a profile.
    [[nodiscard]] static bool isNeeded(Metadata const& metadata) noexcept;

    /// The metadata of the source is asked for once, here.
    /// error: std::runtime_error "An image without channels has no colours."; a source handed over
    /// with ownership is deleted then too.
    /// error: std::bad_alloc, and what the source throws.
    ColourFilter(Image* source, bool takeOwnership);
    ~ColourFilter() override;

    /// 1, 3 or 4.
    long long getNumChannels() const override;
    /// 0 ... 255.
    ValueRange<double> getValueRange() const override;
    /// "Gray", or "Red", "Green", "Blue" and "Alpha".
    /// error: std::runtime_error "Invalid channel index. Cannot determine its name." for others.
    std::string getChannelName(long long index) override;
    /// Reads in pieces of a few megabytes, and no channel that is not used where the source has
    /// native samples.
    /// error: std::bad_alloc, and what the source and the checkers of scopes throw.
    void openRegion(double* dst, long long level, Box const& region) override;
    /// What the source knows, with the colours of a screen: no profile, no windows, no no-data.
    [[nodiscard]] Metadata getMetadata() override;

private:
    class Conversion;

    std::unique_ptr<Conversion const> conversion_;
};

}  // namespace Quivo
