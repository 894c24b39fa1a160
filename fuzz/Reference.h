#pragma once

// What every image of the library is, written down once more: slowly, pixel by pixel, in plain
// loops over whole numbers, sharing nothing with the library but the types of its interface.

#include <quivo/core/Box.h>
#include <quivo/core/ValueRange.h>
#include <quivo/core/Vector.h>

#include <functional>
#include <limits>
#include <memory>
#include <vector>

namespace Quivo::Fuzzing {

using Values = std::vector<double>;

/// A coordinate of level 0 at another level: halved, toward zero, or doubled.
[[nodiscard]] long long atLevel(long long value, long long level);

/// Calls `visit(channel, position)` in the order of the planar layout.
template <typename Visit>
void forEachPixel(long long numChannels, Box const& region, Visit visit) {
    Vector p;
    Vector const e = region.getExtent();
    for (long long c = 0; c < numChannels; ++c)
        for (long long z = 0; z < e.z; ++z)
            for (long long y = 0; y < e.y; ++y)
                for (long long x = 0; x < e.x; ++x) visit(c, p = region.min + Vector(x, y, z));
}

class Reference;
using ReferencePtr = std::shared_ptr<Reference const>;

/// An image as its header describes it.
class Reference : public std::enable_shared_from_this<Reference> {
public:
    long long numChannels = 0;
    ValueRange<double> range;
    /// How far values may lie from those of the library: 0 where they are the same to the bit.
    double tolerance = 0;
    /// The largest magnitude among the values.
    double bound = 0;
    /// Whether what a read gives outside the extent depends on the region: tiles that it touches
    /// show what the source has there, the others are 0.
    bool dependsOnRegion = false;
    /// Whether there is anything but 0 outside the extent.
    bool hasOutside = false;

    virtual ~Reference() = default;
    [[nodiscard]] virtual Vector getExtent(long long level) const = 0;
    [[nodiscard]] virtual long long getNumLevels() const;
    [[nodiscard]] virtual Values read(long long level, Box const& region) const = 0;
    /// The image for display.
    [[nodiscard]] virtual ReferencePtr getView() const;

protected:
    /// `valueOf(channel, position)` for all pixels of a region.
    template <typename ValueOf>
    [[nodiscard]] Values readEach(Box const& region, ValueOf valueOf) const {
        Values values;
        forEachPixel(numChannels, region,
                     [&](long long c, Vector const& p) { values.push_back(valueOf(c, p)); });
        return values;
    }
};

/// Pixels in memory: `valueOf(channel, position)` is level 0, every further level the rounded mean.
[[nodiscard]] ReferencePtr makeBuffer(Vector const& extent, long long numChannels,
                                      ValueRange<double> range,
                                      std::function<double(long long, Vector const&)> valueOf);

/// As many levels as it is told, each with values of its own.
[[nodiscard]] ReferencePtr makeFormula(
    Vector const& extent, long long numChannels, long long numLevels, ValueRange<double> range,
    std::function<double(long long, long long, Vector const&)> valueOf);

[[nodiscard]] ReferencePtr makeScale(ReferencePtr source, double scale, double offset, bool rounds);
[[nodiscard]] ReferencePtr makeScale(ReferencePtr source, ValueRange<double> target, bool rounds);
[[nodiscard]] ReferencePtr makeSubImage(ReferencePtr source, Box const& bounds, long long level);
[[nodiscard]] ReferencePtr makeSlice(ReferencePtr source, long long slice);
[[nodiscard]] ReferencePtr makeChannels(ReferencePtr source, std::vector<long long> channels);
[[nodiscard]] ReferencePtr makeCache(ReferencePtr source, Vector const& tileExtent);
[[nodiscard]] ReferencePtr makeShrunk(ReferencePtr source, double factor);

}  // namespace Quivo::Fuzzing
