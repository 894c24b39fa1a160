#pragma once

#include <quivo/channels/ChannelBank.h>
#include <quivo/image/InvariableImage.h>

#include <string>
#include <vector>

namespace Quivo::tool {

/// All channels of a bank as one image on the grid of its reference image. The channels come from
/// files, whose content does not change. Immutable after construction; as safe as the channels.
class BankImage : public InvariableImage {
public:
    /// `bank` has a channel, all have names, and it outlives the image.
    explicit BankImage(ChannelBank& bank);

    std::string getURL() const override;
    Vector getExtent(long long level) const override;
    long long getNumChannels() const override;
    long long getNumLevels() const override;
    /// From the lowest to the highest value of any channel.
    ValueRange<double> getValueRange() const override;
    Vector getVoxelSize(long long level) const override;
    Vector getTileExtent() const override;
    /// One plane after the other, so that there is never more than one beside `dst`.
    void openRegion(double* dst, long long level, Box const& region) override;
    std::string getSliceName(long long index) override;
    std::string getChannelName(long long index) override;
    std::string getId() const override;
    std::string getGroupId() const override;

private:
    ChannelBank& bank_;
    std::vector<std::string> names_;
};

}  // namespace Quivo::tool
