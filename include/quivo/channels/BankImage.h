#pragma once

#include <quivo/core/Export.h>
#include <quivo/image/DisplayView.h>
#include <quivo/image/Facets.h>
#include <quivo/image/Image.h>
#include <quivo/metadata/Metadata.h>
#include <quivo/samples/SampleSource.h>

#include <string>
#include <vector>

namespace Quivo {

class ChannelBank;

/// The channels of a bank, as they are when it is made, as one image on the grid of the bank's
/// reference image. Levels, voxel size, tiles, slice names and identifiers are those of the
/// reference image.
///
/// Immutable after construction; as safe as the channels' images.
class QUIVO_API BankImage : public Image, public SampleSource, public MetadataSource {
public:
    /// `bank` and its images outlive the image.
    /// error: std::runtime_error when the bank has no channel, or one without a name.
    explicit BankImage(ChannelBank& bank);
    ~BankImage() override;

    /// Empty.
    std::string getURL() const override;
    Vector getExtent(long long level) const override;
    long long getNumChannels() const override;
    long long getNumLevels() const override;
    /// From the lowest to the highest value of any channel.
    ValueRange<double> getValueRange() const override;
    Vector getVoxelSize(long long level) const override;
    Vector getTileExtent() const override;
    /// Every channel writes straight into its plane of `dst`.
    void openRegion(double* dst, long long level, Box const& region) override;
    std::string getSliceName(long long index) override;
    /// The name in the bank.
    /// error: std::runtime_error "Invalid channel index. Cannot determine its name." for an index
    /// out of range.
    std::string getChannelName(long long index) override;
    std::string getId() const override;
    std::string getGroupId() const override;
    /// Changes when that of any channel does; 0 as long as theirs are.
    ContentHash getHash() override;
    Image* getViewableRepresentation() override;

    /// The type that all channels share; none when they do not.
    [[nodiscard]] std::optional<SampleType> getStoredType() const override;
    /// Asks the chosen channels alone.
    void openSamples(void* dst, long long level, Box const& region,
                     std::span<long long const> channels) override;
    /// Pixel size and place of the reference image, colours and display windows of the channels.
    [[nodiscard]] Metadata getMetadata() override;

private:
    struct Channel {
        std::string name;
        Image* image;
    };

    Image* reference_;
    std::vector<Channel> channels_;
    detail::OwnClass ownClass_ = detail::OwnClass::of<BankImage>();
    DisplayView displayView_;
};

}  // namespace Quivo
