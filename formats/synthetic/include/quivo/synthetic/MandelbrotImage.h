#pragma once

#include <quivo/core/Export.h>
#include <quivo/image/DisplayView.h>
#include <quivo/tiles/TileImage.h>

#include <string>

namespace Quivo {

/// The Mandelbrot set as an RGB image of any size that needs no file: every pixel is computed when
/// it is read.
///
/// Every level is computed at its own scale, so that a thumbnail of a gigantic image is as cheap as
/// that of a small one. A pixel depends on nothing but its level and its position: the same region
/// gives the same values, in whatever pieces it is read. Values are whole numbers in 0 ... 255.
/// Immutable after construction; any thread.
class QUIVO_API MandelbrotImage : public TileImage {
public:
    /// The longest side: finer pixels than that would meet the end of double precision.
    static constexpr long long maxSide = 1LL << 40;

    /// error: std::runtime_error when a side is not in 1 ... maxSide.
    MandelbrotImage(long long width, long long height);

    /// "mandelbrot:WIDTHxHEIGHT".
    std::string getURL() const override;
    Vector getExtent(long long level) const override;
    long long getNumChannels() const override;
    long long getNumLevels() const override;
    ValueRange<double> getValueRange() const override;
    /// (0, 0, 0): there is no such thing as a nanometre in the complex plane.
    Vector getVoxelSize(long long level) const override;
    Vector getTileExtent() const override;
    /// What lies past the extent of the level is written as 0.0.
    void openTileRegionToPosition(double* dst, long long level, Vector const& tilePosition,
                                  Box const& tileRegion, Vector const& dstExtent,
                                  Vector const& dstPosition) override;
    std::string getSliceName(long long index) override;
    /// "Red", "Green" or "Blue".
    /// error: std::runtime_error "Invalid channel index. Cannot determine its name." for others.
    std::string getChannelName(long long index) override;
    std::string getId() const override;
    std::string getGroupId() const override;
    ContentHash getHash() override;
    Image* getViewableRepresentation() override;

private:
    Vector extent_;
    double left_;   ///< the real part at the left border of the image
    double upper_;  ///< the imaginary part at its upper border
    double pitch_;  ///< the side of a level-0 pixel in the complex plane
    DisplayView displayView_;
};

}  // namespace Quivo
