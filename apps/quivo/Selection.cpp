#include "Selection.h"

#include "Pieces.h"
#include "Source.h"
#include "terminal/Memory.h"
#include "terminal/Text.h"

#include <quivo/core/Levels.h>
#include <quivo/filters/ArbitraryDownsampleFilter.h>
#include <quivo/filters/SliceFilter.h>
#include <quivo/filters/SubImageFilter.h>
#include <quivo/tiles/CachedImage.h>

#include <algorithm>
#include <limits>
#include <optional>
#include <stdexcept>

namespace Quivo::tool {

namespace {

/// The side of the pieces in which a source is shrunk: the scratch memory for one stays small, and
/// rows of them lie within what a TiffImage keeps of its decoded blocks.
constexpr double sourcePieceSide = 1024.0;

long long getPieceSide(double factor) noexcept {
    return std::max(static_cast<long long>(sourcePieceSide * factor), 1LL);
}

/// The tiles in which pixels of `image` are kept: its own, or parts of those that are huge; none
/// where not even these are small beside the cache.
std::optional<Vector> chooseCacheTile(Image const& image, long long cacheSizeMB) {
    constexpr long long maxSide = 1024, minTiles = 8;
    Vector const own = image.getTileExtent();
    Vector const tile(std::min(own.x, maxSide), std::min(own.y, maxSide), 1);
    auto const tileBytes = static_cast<double>(tile.prod()) * sizeof(double) *
                           static_cast<double>(image.getNumChannels());
    if (tileBytes * minTiles > static_cast<double>(cacheSizeMB) * 1048576.0) return std::nullopt;
    return tile;
}

std::string toText(Vector const& extent, char const* unit) {
    return std::to_string(extent.x) + " x " + std::to_string(extent.y) + unit;
}

}  // namespace

CLI::Option* ScaleOptions::addTo(CLI::App& app) {
    auto const store = [this](std::string const& text) { factor = parseScale(text); };
    CLI::Option* const option =
        app.add_option_function<std::string>(
               "--scale", store,
               "shrink by this factor: every pixel becomes the mean of all those under it; a "
               "coarser --level is cheaper where the factor is small")
            ->type_name("F");
    addInteger(app, "--cache-mb", &cacheSizeMB, {0, 1LL << 40},
               "memory for pixels that shrinking needs again, where they are slow to read; 256 "
               "without it, 0 for none");
    return option;
}

Selection::Selection(Source const& source, RegionOptions const& region, Border border)
    : source_(source), baseLevel_(region.getLevel()), slice_(region.slice) {
    Box const wanted = region.getRegion(source);
    Vector const extent = source.getImage().getExtent(baseLevel_);
    Box const whole(Vector(extent.x, extent.y, 1));
    frame_ = Box(Vector(wanted.min.x, wanted.min.y, 0), Vector(wanted.max.x, wanted.max.y, 0));
    Box const inside = frame_.intersected(whole);
    if (region.level || region.box) {
        box_ = frame_;
        box_->max.z = extent.z - 1;
    }
    if (border == Border::Cut) {
        if (inside.isEmpty()) {
            throw std::runtime_error(source.getInput() + ": --box lies outside level " +
                                     std::to_string(baseLevel_) + ", which has " +
                                     toText(extent, " pixels"));
        }
        frame_ = inside;
    }
    // Where nothing is inside, all positions are alike.
    frame_ = frame_.translated(inside.isEmpty() ? -frame_.min : -inside.min);
    build(nullptr, 0);
}

void Selection::scale(double factor, long long level, long long cacheSizeMB,
                      CancellationChecker& checker) {
    Vector const before = getFrame(level).getExtent();
    factor_ = factor;
    Vector const after = getFrame(level).getExtent();
    if (after.x < 1 || after.y < 1) {
        throw std::runtime_error(source_.getInput() + ": of " + toText(before, " pixels") +
                                 " nothing remains when they are scaled by " +
                                 tool::toText(factor));
    }
    double const pixelSide = 1.0 / factor + 2.0;
    checkFitsIntoMemory(source_.getInput(),
                        pixelSide * pixelSide * sizeof(double) *
                            static_cast<double>(source_.getImage().getNumChannels()));
    // Shrinking asks for the pixels on the border of every piece twice. That is dear where a TIFF
    // computes the level out of much finer ones: one more row of pixels is one more row of its
    // blocks, each made of 4^n tiles. Over fewer than three levels, copying into the cache costs
    // more than it saves (measured). What is stored waits in the TiffImage's own cache of decoded
    // blocks, and what has no file behind it computes the pixels of the border and nothing else.
    bool const cachesSource = source_.countComputedLevels(baseLevel_ + level) >= 3;
    build(&checker, cachesSource ? cacheSizeMB : 0);
}

void Selection::expectTiles(long long tileSide, long long cacheSizeMB) {
    // The rows under a row of tiles may be more than a TiffImage keeps decoded. Tiles of the file
    // do not mind, but strips would be decoded once for every tile. What they become is kept then,
    // which is 1 / factor^2 times smaller than what they are: bands as wide as the image, each made
    // of one row of pieces.
    if (!factor_ || !source_.isInStrips() || tileSide <= getPieceSide(*factor_)) return;
    Vector const band(top_->getExtent(0).x, getPieceSide(*factor_), 1);
    auto const numBytes = static_cast<double>(band.x) * static_cast<double>(tileSide + 2 * band.y) *
                          static_cast<double>(top_->getNumChannels()) * sizeof(double);
    // Half a row of tiles is worth nothing: it would be gone whenever it is needed again.
    if (numBytes > static_cast<double>(cacheSizeMB) * 1048576.0) return;
    add<CachedImage>(cacheSizeMB, band);
}

Box Selection::getFrame(long long level) const {
    Vector min = convertToLevel(frame_.min, 0, level);
    Vector extent = convertToLevel(frame_.getExtent(), 0, level);
    if (factor_) {
        min = scalePosition(min, *factor_);
        extent = scalePosition(extent, *factor_);
    }
    return Box(extent).translated(min);
}

long long Selection::getBandHeight() const noexcept {
    return factor_ ? getPieceSide(*factor_) : std::numeric_limits<long long>::max();
}

bool Selection::isLevelStored(long long level) const noexcept {
    // A box that begins inside a pixel of the level shows it moved, not as it is stored.
    auto const isOnGrid = [&](long long corner) {
        return std::max(corner, 0LL) % pow2(level) == 0;
    };
    bool const fits = !box_ || (isOnGrid(box_->min.x) && isOnGrid(box_->min.y));
    return !factor_ && fits && source_.isLevelStored(baseLevel_ + level);
}

void Selection::build(CancellationChecker* checker, long long cacheSizeMB) {
    filters_.clear();
    top_ = &source_.getImage();
    if (auto const tile = chooseCacheTile(*top_, cacheSizeMB)) add<CachedImage>(cacheSizeMB, *tile);
    if (box_) add<SubImageFilter>(*box_, baseLevel_);
    if (slice_) add<SliceFilter>(*slice_);
    if (!factor_) return;
    add<ArbitraryDownsampleFilter>(*factor_);
    long long const side = getPieceSide(*factor_);
    add<PiecewiseFilter>(Vector(side, side, 1), *checker);
}

}  // namespace Quivo::tool
