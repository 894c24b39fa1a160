#pragma once

#include <quivo/core/Box.h>
#include <quivo/image/Image.h>
#include <quivo/samples/SampleSource.h>

#include <algorithm>
#include <cstddef>
#include <vector>

namespace Quivo::detail {

/// Calls `handle(piece)` for parts of `region` of one slice and at most two million values each, row
/// of pieces after row of pieces.
template <typename Handler>
void forEachPiece(Box const& region, long long numChannels, Handler handle) {
    if (region.isEmpty()) return;
    constexpr long long width = 2048, maxValues = 1 << 21;
    long long const height =
        std::clamp(maxValues / (width * std::max(numChannels, 1LL)), 1LL, 256LL);
    Vector const last = region.getExtent() - Vector(1);
    Vector at;  // from the corner: the ends of 64 bits are no matter
    for (at.z = 0; at.z <= last.z; ++at.z) {
        for (at.y = 0; at.y <= last.y; at.y += height) {
            for (at.x = 0; at.x <= last.x; at.x += width) {
                Vector const end(std::min(at.x + (width - 1), last.x),
                                 std::min(at.y + (height - 1), last.y), at.z);
                handle(Box(region.min + at, region.min + end));
            }
        }
    }
}

/// Reads chosen channels of an image as doubles; no others where the image gives its samples. One
/// thread at a time.
class ChannelReader {
public:
    /// `image` outlives it, `channels` are some of its own.
    ChannelReader(Image& image, std::vector<long long> channels);

    /// How many channels a read takes memory for.
    [[nodiscard]] long long getNumChannelsRead() const noexcept;

    /// The planes of the channels in their order, which are valid until the next call.
    /// error: as the image's read.
    [[nodiscard]] double const* read(long long level, Box const& region);

private:
    template <typename T>
    void readSamples(long long level, Box const& region);
    void readAll(long long level, Box const& region);

    Image& image_;
    SampleSource* samples_;
    std::vector<long long> channels_;
    std::vector<double> values_;
    std::vector<double> all_;  ///< all channels of an image without samples, or the samples
};

}  // namespace Quivo::detail
