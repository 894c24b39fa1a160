#pragma once

#include <quivo/core/Export.h>
#include <quivo/core/ValueRange.h>
#include <quivo/filters/Filter.h>
#include <quivo/metadata/Metadata.h>

#include <span>
#include <string>
#include <vector>

namespace Quivo {

/// How one channel takes part in a mixed picture. Plain value.
struct ShownChannel {
    long long channel = 0;            ///< its index
    Colour colour{1.0, 1.0, 1.0};     ///< what its highest value looks like
    ValueRange<double> window{0, 1};  ///< the values that are black and that are its full colour
};

/// Adds the light of several channels, as a fluorescence microscope shows its stains.
///
/// A value v of a channel is (v - min) / (max - min) of its colour, at least none and at most all
/// of it; a window turned round shows the negative. Where min equals max, it is all of it from that
/// value on. NaN is none. The channels are added in their order, and each of red, green and blue is
/// clamped to 1 and multiplied by 255. The ends of windows are finite.
///
/// `planes` has `count` values for each of `channels`, in their order; `dst` gets `3 * count`, red,
/// green and blue as planes. They do not overlap. No state; any thread.
QUIVO_API void mixChannels(double const* planes, long long count,
                           std::span<ShownChannel const> channels, double* dst) noexcept;

/// Chosen channels of the source as one picture: an RGB image of the range 0 ... 255, which is its
/// own display view.
///
/// Pieces of a read equal the whole. Where the source has native samples, no other channel is
/// read. Immutable after construction; reads are as safe as the source's.
class QUIVO_API MixedImage : public Filter, public MetadataSource {
public:
    /// `channels` may be none (black) and may name one twice.
    /// error: std::runtime_error "There is no channel N to be shown." for an index that the source
    /// does not have; a source handed over with ownership is deleted then too.
    MixedImage(Image* source, std::vector<ShownChannel> channels, bool takeOwnership);
    ~MixedImage() override;

    /// 3.
    long long getNumChannels() const override;
    /// 0 ... 255.
    ValueRange<double> getValueRange() const override;
    /// "Red", "Green" or "Blue".
    /// error: std::runtime_error "Invalid channel index. Cannot determine its name." for others.
    std::string getChannelName(long long index) override;
    /// What `mixChannels` makes of the values, those of 0 outside the source too. Reads in pieces
    /// of a few megabytes.
    void openRegion(double* dst, long long level, Box const& region) override;
    /// Those of the source that a picture of it keeps, and that it is RGB.
    [[nodiscard]] Metadata getMetadata() override;

private:
    std::vector<ShownChannel> channels_;
};

}  // namespace Quivo
