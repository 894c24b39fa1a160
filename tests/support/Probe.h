#pragma once

#include <quivo/image/Image.h>
#include <quivo/tiles/TileImage.h>

#include "support/Voxels.h"

#include <atomic>
#include <functional>
#include <utility>

namespace Quivo::Testing {

/// An image made of a formula, which shows what is done to it. Base is `Image` or `TileImage`; how
/// pixels are read is left to the derived class.
template <typename Base>
class Probe : public Base {
public:
    Vector extent{13, 9, 2};
    Vector tileExtent{4, 3, 1};
    long long numLevels = 3;
    ValueRange<double> range{0, 10};
    long long numChannels = 2;
    std::atomic<ContentHash> hash = 0xFEDCBA9876543210U;
    mutable int answersBeforeFailure = -1;  ///< to what is asked once; never fails while negative
    int* deletions;

    explicit Probe(int* deletionCount = nullptr) : deletions(deletionCount) {}
    ~Probe() override {
        if (deletions) ++*deletions;
    }

    static double formula(long long level, long long c, Vector const& p) {
        return 0.25 + static_cast<double>(p.dot({1, 100, 10000}) + c * 1000000 + level * 10000000);
    }
    void answer() const {
        if (answersBeforeFailure >= 0 && answersBeforeFailure-- == 0)
            throw std::runtime_error("no answer");
    }
    /// The formula inside the level, 0 elsewhere.
    double valueAt(long long level, long long c, Vector const& p) const {
        return Box(Probe::getExtent(level)).contains(p) ? formula(level, c, p) : 0.0;
    }

    std::string getURL() const override { return "probe:"; }
    Vector getExtent(long long level) const override {
        answer();
        if (level < 0 || level >= numLevels) return {};
        return {extent.x >> level, extent.y >> level, extent.z};
    }
    long long getNumChannels() const override { return answer(), numChannels; }
    long long getNumLevels() const override { return numLevels; }
    ValueRange<double> getValueRange() const override { return answer(), range; }
    Vector getVoxelSize(long long level) const override { return {250 << level, 240 << level, 9}; }
    Vector getTileExtent() const override { return answer(), tileExtent; }
    std::string getSliceName(long long i) override { return "slice " + std::to_string(i); }
    std::string getChannelName(long long i) override { return "channel " + std::to_string(i); }
    std::string getId() const override { return "id"; }
    std::string getGroupId() const override { return "group"; }
    ContentHash getHash() override { return answer(), hash.load(); }
    Image* getViewableRepresentation() override { return this; }
};

/// The formula or another function, read pixel by pixel; remembers every read.
class ProbeImage : public Probe<Image> {
public:
    using Probe::Probe;
    std::vector<std::pair<long long, Box>> reads;
    std::vector<double*> destinations;
    int readsBeforeFailure = -1;  ///< never fails while negative
    std::function<double(long long level, long long c, Vector const& p)> valueOf =
        [this](auto... at) { return valueAt(at...); };

    void openRegion(double* dst, long long level, Box const& region) override {
        reads.emplace_back(level, region);
        destinations.push_back(dst);
        pixelByPixel(numChannels, region,
                     [&](auto... at) { return *dst++ = valueOf(level, at...); });
        if (readsBeforeFailure >= 0 && readsBeforeFailure-- == 0)
            throw std::runtime_error("no data");
    }
};

}  // namespace Quivo::Testing
