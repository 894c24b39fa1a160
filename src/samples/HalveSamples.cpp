#include <quivo/samples/HalveSamples.h>

#include "samples/MeanRule.h"
#include "samples/Samples.h"

namespace Quivo {

void halveSamples(void const* samples, SampleType type, long long width, long long height,
                  long long numChannels, Metadata const& metadata, void* dst) {
    auto const rule = detail::makeMeanRule(metadata);
    detail::visitSampleType(type, [&](auto zero) {
        using T = decltype(zero);
        detail::RowHalver<T> const halver(rule);
        long long const rowLength = 2 * width;
        auto const getRow = [&](long long channel, long long y) {
            return static_cast<T const*>(samples) + (channel * 2 * height + y) * rowLength;
        };
        auto* out = static_cast<T*>(dst);
        for (long long c = 0; c < numChannels; ++c) {
            for (long long y = 0; y < height; ++y, out += width) {
                // Where nothing weighs the channel, nobody looks at these.
                long long const alpha = rule.isWeighed(c) ? rule.alphaChannel : c;
                halver.halvePlane(c, getRow(c, 2 * y), getRow(c, 2 * y + 1),
                                  {getRow(alpha, 2 * y), getRow(alpha, 2 * y + 1), 1}, out, width);
            }
        }
    });
}

}  // namespace Quivo
