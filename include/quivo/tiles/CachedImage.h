#pragma once

#include <quivo/core/Export.h>
#include <quivo/core/Vector.h>
#include <quivo/tiles/TileImage.h>
#include <quivo/util/Lock.h>
#include <quivo/util/MaybeOwned.h>

#include <memory>

namespace Quivo {

class TileStore;

/// A bounded cache of whole tiles, least recently used out first, in front of any image that is
/// slow to read: each tile is read from the source once while it stays cached.
///
/// The cache empties itself when the source's `getHash()` changes; nothing else invalidates it. A
/// read that fails enters nothing, what was evicted for it stays evicted, and the cache goes on
/// working. Slice names and identifiers are empty; everything else is the source's answer.
///
/// Locked inside; any thread. Each tile step (stamp, look-up, source read on a miss, copy) holds
/// the one lock exclusively, so the source's `openRegion` runs on one thread at a time; its
/// `getExtent` and `getHash` may be asked meanwhile. Waiting for the lock is not cancellable, and
/// what a `CancellationScope` asks during a source read it asks with the lock held.
class QUIVO_API CachedImage : public TileImage {
public:
    /// `cacheSizeMB` counts units of 1048576 bytes of doubles; at least one tile is always kept,
    /// and a negative size means no limit. `tileExtent` has at least 1 on every axis (not checked).
    /// The source's level-0 extent and number of channels are asked once, here. With `ownsSource`
    /// the source is deleted with the cache, otherwise it outlives all reads.
    /// error: std::bad_alloc, and what the source throws; a source handed over with ownership is
    /// deleted then too.
    CachedImage(Image* source, long long cacheSizeMB, Vector const& tileExtent, bool ownsSource);
    /// With the source's tile extent, and 1 where that is below.
    /// error: as above.
    CachedImage(Image* source, long long cacheSizeMB, bool ownsSource);
    ~CachedImage() override;

    std::string getURL() const override;
    Vector getExtent(long long level) const override;
    long long getNumChannels() const override;
    long long getNumLevels() const override;
    ValueRange<double> getValueRange() const override;
    Vector getVoxelSize(long long level) const override;
    /// The extent of the cached tiles.
    Vector getTileExtent() const override;
    std::string getSliceName(long long index) override;
    std::string getChannelName(long long index) override;
    std::string getId() const override;
    std::string getGroupId() const override;
    ContentHash getHash() override;
    /// The source's own view: it does not read through this cache.
    Image* getViewableRepresentation() override;

    /// Assembles the region from cached tiles, each in a step of its own: where the source changes
    /// meanwhile, one region may hold tiles from before and after.
    /// error: std::bad_alloc, and what the source's read throws.
    void openRegion(double* dst, long long level, Box const& region) override;

    /// Serves a part of one tile out of the cache. A tile outside the grid of the level is skipped.
    /// error: as above.
    void openTileRegionToPosition(double* dst, long long level, Vector const& tilePosition,
                                  Box const& tileRegion, Vector const& dstExtent,
                                  Vector const& dstPosition) override;

    /// Drops every tile. Takes no lock: no read of this image may run at the same time.
    void clearCache();

private:
    void measure(long long cacheSizeMB);
    [[nodiscard]] bool isInGrid(long long level, Vector const& tile) const noexcept;
    double* findOrRead(long long level, Vector const& tile);

    MaybeOwned<Image> source_;
    ContentHash hash_;
    Vector tileExtent_;
    Vector numTiles_;
    long long numChannels_ = 0;
    Lock lock_;
    std::unique_ptr<TileStore> tiles_;
};

}  // namespace Quivo
