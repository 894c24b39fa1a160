#pragma once

#include <quivo/core/Export.h>
#include <quivo/image/Image.h>
#include <quivo/tiles/GenericTileLoader.h>

namespace Quivo {

/// The base of every image whose pixels come from a grid of tiles: implement the accessors and
/// `openTileRegionToPosition`, and any region can be read.
///
/// Neither copied nor moved. Threads: no state of its own; the concrete class decides.
class QUIVO_API TileImage : public Image {
public:
    TileImage();
    ~TileImage() override;

    /// Assembles the region from tiles, see `GenericTileLoader::compileImageRegion`.
    void openRegion(double* dst, long long level, Box const& region) override;

    /// Copies a part of one tile; the contract is that of
    /// `GenericTileLoader::openTileRegionToPosition`.
    virtual void openTileRegionToPosition(double* dst, long long level, Vector const& tilePosition,
                                          Box const& tileRegion, Vector const& dstExtent,
                                          Vector const& dstPosition) = 0;

    /// The tile assembly of one tile image: passes every question on to its owner. As safe as that.
    class QUIVO_API TileImageGenericTileLoaderDouble : public GenericTileLoader<double> {
    public:
        /// Keeps `owner`, which outlives it, and asks it nothing yet.
        explicit TileImageGenericTileLoaderDouble(TileImage* owner) noexcept;
        ~TileImageGenericTileLoaderDouble() override;

        void openTileRegionToPosition(double* dst, long long level, Vector const& tilePosition,
                                      Box const& tileRegion, Vector const& dstExtent,
                                      Vector const& dstPosition) override;
        Vector getExtent(long long level) const override;
        Vector getTileExtent() const override;
        long long getNumChannels() const override;

    private:
        TileImage* owner_;
    };

protected:
    /// What `openRegion` assembles regions with.
    TileImageGenericTileLoaderDouble tileLoader;
};

}  // namespace Quivo
