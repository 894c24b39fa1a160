#pragma once

#include <quivo/core/Export.h>
#include <quivo/core/Vector.h>
#include <quivo/image/Facets.h>
#include <quivo/metadata/Metadata.h>
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
/// The source does not read through the cache above it, neither directly nor by way of other images
/// and caches: the tile step that has asked it is not over. On the thread that asked, such a read
/// is refused; on another thread that the source waits for, it waits for ever. A cache above
/// another cache is no such case.
///
/// Locked inside; any thread. Each tile step (stamp, look-up, source read on a miss, copy) holds
/// the one lock exclusively, so the source's `openRegion` runs on one thread at a time; its
/// `getExtent` and `getHash` may be asked meanwhile. Waiting for the lock is not cancellable, and
/// what a `CancellationScope` asks during a source read it asks with the lock held.
class QUIVO_API CachedImage : public TileImage, public Facets {
public:
    /// `cacheSizeMB` counts units of 1048576 bytes of doubles; at least one tile is always kept,
    /// and a negative size means no limit. The source's level-0 extent and number of channels are
    /// measured once, here: a source that has got another extent needs a new cache. With
    /// `ownsSource` the source is deleted with the cache, otherwise it outlives all reads.
    /// error: std::runtime_error "Tile extent must be at least 1 on every axis".
    /// error: std::bad_alloc, and what the source throws. A source handed over with ownership is
    /// deleted with every error.
    CachedImage(Image* source, long long cacheSizeMB, Vector const& tileExtent, bool ownsSource);
    /// With the source's tile extent, and 1 where that is below.
    /// error: std::bad_alloc, and what the source throws, as above.
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
    /// error: std::runtime_error when the calling thread is in a read that this cache has asked of
    /// its source. Nothing is locked or changed; what the source makes of it is its business.
    /// error: std::runtime_error when a tile is to be read and the source has another number of
    /// channels than at first.
    /// error: std::bad_alloc, and what the source's read throws.
    void openRegion(double* dst, long long level, Box const& region) override;

    /// Serves a part of one tile out of the cache. A tile outside the grid of the level is skipped.
    /// error: as above.
    void openTileRegionToPosition(double* dst, long long level, Vector const& tilePosition,
                                  Box const& tileRegion, Vector const& dstExtent,
                                  Vector const& dstPosition) override;

    /// Drops every tile. Takes no lock: no read of this image may run on another thread at the same
    /// time. The source may call it while it is asked for a tile, which is kept all the same.
    void clearCache();

private:
    /// What the source means: a cache changes nothing.
    class Kept final : public MetadataSource {
    public:
        explicit Kept(CachedImage& cache) noexcept : cache_(cache) {}
        [[nodiscard]] Metadata getMetadata() override;

    private:
        CachedImage& cache_;
    };

    void measure(long long cacheSizeMB);
    [[nodiscard]] bool isInGrid(long long level, Vector const& tile) const noexcept;
    double* findOrRead(long long level, Vector const& tile);

    MaybeOwned<Image> source_;
    Kept kept_{*this};
    detail::OwnClass ownClass_ = detail::OwnClass::of<CachedImage>();
    ContentHash hash_;
    Vector tileExtent_;
    Vector numTiles_;
    long long numChannels_ = 0;
    /// Guards `hash_` and `tiles_`, the tiles' values too. Held over the source's `getHash`,
    /// `getNumChannels` and `openRegion`: locks of what lies below come after it, so none of them
    /// is held when it is taken; those of caches above may be.
    Lock lock_;
    std::unique_ptr<TileStore> tiles_;
};

}  // namespace Quivo
