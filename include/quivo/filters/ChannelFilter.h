#pragma once

#include <quivo/core/Export.h>
#include <quivo/filters/Filter.h>
#include <quivo/samples/SampleSource.h>

#include <string>
#include <vector>

namespace Quivo {

/// Some of the channels of the source, in any order, as an image of their own: of a source that has
/// native samples these alone are read, so that one channel of forty costs about one fortieth.
///
/// Immutable after construction; reads are as safe as the source's.
class QUIVO_API ChannelFilter : public Filter, public SampleSource {
public:
    /// Channel i is the source's channel `channels[i]`; a channel may come more than once.
    /// error: std::runtime_error for a channel that the source does not have; a source handed over
    /// with ownership is deleted then too.
    ChannelFilter(Image* source, std::vector<long long> channels, bool takeOwnership);
    ~ChannelFilter() override;

    /// The number of channels that were chosen.
    long long getNumChannels() const override;
    /// Natively where the source can; otherwise all of its channels are read, a few megabytes at a
    /// time.
    /// error: std::bad_alloc, and what the source's read throws.
    void openRegion(double* dst, long long level, Box const& region) override;
    /// The source's name of the channel.
    /// error: std::runtime_error "Invalid channel index. Cannot determine its name." for an index
    /// out of range.
    std::string getChannelName(long long index) override;

    /// The source's type.
    [[nodiscard]] std::optional<SampleType> getStoredType() const override;
    void openSamples(void* dst, long long level, Box const& region,
                     std::span<long long const> channels) override;

private:
    /// The metadata of the source's channels that were chosen.
    class Picked final : public MetadataSource {
    public:
        explicit Picked(ChannelFilter& filter) noexcept : filter_(filter) {}
        [[nodiscard]] Metadata getMetadata() override;

    private:
        ChannelFilter& filter_;
    };

    Picked picked_{*this};
    detail::OwnClass ownClass_ = detail::OwnClass::of<ChannelFilter>();
    std::vector<long long> channels_;
};

}  // namespace Quivo
