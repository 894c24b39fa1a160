#include <quivo/chains/ReadPlan.h>

#include <quivo/image/Image.h>
#include <quivo/image/StoredLayout.h>

#include <algorithm>

namespace Quivo {

namespace {

/// The side of the pieces in which a source is shrunk: the scratch memory for one stays small, and
/// rows of them lie within what a TiffImage keeps of its decoded blocks.
constexpr double sourcePieceSide = 1024.0;

double getCacheBytes(long long cacheSizeMB) noexcept {
    return static_cast<double>(cacheSizeMB) * 1048576.0;
}

}  // namespace

ReadPlan::ReadPlan(Image const& image) noexcept
    : image_(image), layout_(dynamic_cast<StoredLayout const*>(&image)) {}

bool ReadPlan::isLevelStored(long long level) const noexcept {
    return layout_ && layout_->isLevelStored(level);
}

long long ReadPlan::countComputedLevels(long long level) const noexcept {
    long long count = 0;
    while (layout_ && count < level && !layout_->isLevelStored(level - count)) ++count;
    return count;
}

bool ReadPlan::isInStrips() const noexcept { return layout_ && !layout_->isTiled(); }

std::optional<Vector> ReadPlan::chooseCacheTile(long long level, long long cacheSizeMB) const {
    // Shrinking asks for the pixels on the border of every piece twice. That is dear where a TIFF
    // computes the level out of much finer ones: one more row of pixels is one more row of its
    // blocks, each made of 4^n tiles. Over fewer than three levels, copying into the cache costs
    // more than it saves (measured). What is stored waits in the TiffImage's own cache of decoded
    // blocks, and what has no file behind it computes the pixels of the border and nothing else.
    if (countComputedLevels(level) < 3) return std::nullopt;
    // Its own tiles, or parts of those that are huge, where they are small beside the cache.
    constexpr long long maxSide = 1024, minTiles = 8;
    Vector const own = image_.getTileExtent();
    Vector const tile(std::min(own.x, maxSide), std::min(own.y, maxSide), 1);
    auto const tileBytes = static_cast<double>(tile.prod()) * sizeof(double) *
                           static_cast<double>(image_.getNumChannels());
    if (tileBytes * minTiles > getCacheBytes(cacheSizeMB)) return std::nullopt;
    return tile;
}

std::optional<Vector> ReadPlan::chooseBand(Vector const& extent, double factor, long long tileSide,
                                           long long cacheSizeMB) const {
    // The rows under a row of tiles may be more than a TiffImage keeps decoded. Tiles of the file
    // do not mind, but strips would be decoded once for every tile. What they become is kept then,
    // which is 1 / factor^2 times smaller than what they are: bands as wide as the image, each made
    // of one row of pieces.
    if (!isInStrips() || tileSide <= getPieceSide(factor)) return std::nullopt;
    Vector const band(extent.x, getPieceSide(factor), 1);
    auto const numBytes = static_cast<double>(band.x) * static_cast<double>(tileSide + 2 * band.y) *
                          static_cast<double>(image_.getNumChannels()) * sizeof(double);
    // Half a row of tiles is worth nothing: it would be gone whenever it is needed again.
    if (numBytes > getCacheBytes(cacheSizeMB)) return std::nullopt;
    return band;
}

long long ReadPlan::getPieceSide(double factor) noexcept {
    return std::max(static_cast<long long>(sourcePieceSide * factor), 1LL);
}

Vector ReadPlan::choosePieceExtent(long long numChannels) noexcept {
    constexpr long long width = 2048;
    constexpr long long maxValues = 1 << 21;
    return {width, std::clamp(maxValues / (width * std::max(numChannels, 1LL)), 1LL, 256LL), 1};
}

}  // namespace Quivo
