// A tile source of one's own, see docs/tile-source.md: a pattern that is computed when it is read
// and that can change, behind a tile cache that notices.

#include <quivo/Quivo.h>

#include <atomic>
#include <cstdio>
#include <vector>

namespace {

using namespace Quivo;

/// x + y, moved by an amount that can be changed. Any thread.
class SlopeImage final : public TileImage {
public:
    /// The content first, the stamp after it: whoever sees the new stamp reads the new content.
    void moveTo(long long amount) {
        amount_ = amount;
        ++hash_;
    }

    [[nodiscard]] long long getTilesRead() const { return tilesRead_; }

    ContentHash getHash() override { return hash_; }

    void openTileRegionToPosition(double* dst, long long level, Vector const& tilePosition,
                                  Box const& tileRegion, Vector const& dstExtent,
                                  Vector const& dstPosition) override {
        if (tileRegion.isEmpty()) return;
        ++tilesRead_;
        long long const amount = amount_;
        Box const inside(getExtent(level));
        Vector at;
        for (at.z = tileRegion.min.z; at.z <= tileRegion.max.z; ++at.z) {
            for (at.y = tileRegion.min.y; at.y <= tileRegion.max.y; ++at.y) {
                for (at.x = tileRegion.min.x; at.x <= tileRegion.max.x; ++at.x) {
                    Vector const p = tilePosition + at;
                    Vector const to = dstPosition + at - tileRegion.min;
                    // Tiles at the border reach past the image: there it is 0.
                    double const value = static_cast<double>(pow2(level) * (p.x + p.y) + amount);
                    dst[dstExtent.getStrides().dot(to)] = inside.contains(p) ? value : 0.0;
                }
            }
        }
    }

    std::string getURL() const override { return "slope:"; }
    Vector getExtent(long long level) const override {
        if (level < 0 || level >= getNumLevels()) return {};
        return convertToLevel(Vector(1000, 600, 1), 0, level);
    }
    long long getNumChannels() const override { return 1; }
    long long getNumLevels() const override { return computeNumPyramidLevels(1000, 600); }
    ValueRange<double> getValueRange() const override { return {0.0, 2000.0}; }
    Vector getVoxelSize(long long level) const override {
        return convertToLevel(Vector(250, 250, 0), level, 0);
    }
    Vector getTileExtent() const override { return {64, 64, 1}; }
    std::string getSliceName(long long) override { return {}; }
    std::string getChannelName(long long) override { return "Slope"; }
    std::string getId() const override { return "slope"; }
    std::string getGroupId() const override { return {}; }
    Image* getViewableRepresentation() override { return displayView_.get(*this); }

private:
    std::atomic<long long> amount_{0};
    std::atomic<ContentHash> hash_{1};
    std::atomic<long long> tilesRead_{0};
    DisplayView displayView_;
};

/// Bytes that stay bytes: tiles of the parity of x + y, assembled without a way through doubles.
class ParityLoader final : public GenericTileLoader<unsigned char> {
public:
    void openTileRegionToPosition(unsigned char* dst, long long, Vector const& tilePosition,
                                  Box const& tileRegion, Vector const& dstExtent,
                                  Vector const& dstPosition) override {
        for (long long y = tileRegion.min.y; y <= tileRegion.max.y; ++y) {
            for (long long x = tileRegion.min.x; x <= tileRegion.max.x; ++x) {
                Vector const to = dstPosition + Vector(x, y, 0) - tileRegion.min;
                bool const odd = (tilePosition.x + x + tilePosition.y + y) % 2 != 0;
                dst[dstExtent.getStrides().dot(to)] = odd ? 1 : 0;
            }
        }
    }
    Vector getExtent(long long) const override { return {100, 100, 1}; }
    Vector getTileExtent() const override { return {16, 16, 1}; }
    long long getNumChannels() const override { return 1; }
};

double readAt(Image& image, long long level, Vector const& position) {
    double value = -1.0;
    image.openRegion(&value, level, {position, position});
    return value;
}

}  // namespace

int main() {
    SlopeImage slope;
    CachedImage cached(&slope, 16, false);  // 16 MiB of tiles, in the source's own tile extent

    // Any region, over any number of tiles; outside is 0.
    Box const region({990, 100, 0}, {1009, 199, 0});
    std::vector<double> values(static_cast<std::size_t>(region.getSize()));
    cached.openRegion(values.data(), 0, region);
    bool good = values[0] == 1090.0 && values[9] == 1099.0 && values[10] == 0.0;
    good = good && readAt(cached, 2, {5, 7, 0}) == 48.0 && readAt(cached, 99, {0, 0, 0}) == 0.0;

    // What was read once is not asked for again, until the stamp changes.
    long long const tilesBefore = slope.getTilesRead();
    cached.openRegion(values.data(), 0, region);
    good = good && slope.getTilesRead() == tilesBefore;
    slope.moveTo(7);
    cached.openRegion(values.data(), 0, region);
    good = good && values[0] == 1097.0 && slope.getTilesRead() > tilesBefore;

    ParityLoader parity;
    std::vector<unsigned char> bytes(20);
    parity.compileImageRegion(bytes.data(), 0, {{11, 0, 0}, {30, 0, 0}});
    good = good && bytes[0] == 1 && bytes[1] == 0 && bytes[19] == 0;

    std::printf("%lld tiles read\n", slope.getTilesRead());
    return good ? 0 : 1;
}
