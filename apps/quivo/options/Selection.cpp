#include "options/Selection.h"

#include "options/Input.h"
#include "terminal/Memory.h"

#include <quivo/chains/ReadPlan.h>
#include <quivo/chains/Text.h>
#include <quivo/core/Levels.h>
#include <quivo/filters/ChannelFilter.h>
#include <quivo/filters/PiecewiseFilter.h>
#include <quivo/filters/SliceFilter.h>
#include <quivo/filters/SubImageFilter.h>
#include <quivo/filters/WeighedDownsampleFilter.h>
#include <quivo/tiles/CachedImage.h>

#include <algorithm>
#include <limits>
#include <optional>
#include <stdexcept>
#include <utility>

namespace Quivo::tool {

namespace {

std::string toPixelText(Vector const& extent) {
    return std::to_string(extent.x) + " x " + std::to_string(extent.y) + " pixels";
}

}  // namespace

CLI::Option* ScaleOptions::addTo(CLI::App& app) {
    auto const parse = [this](std::string const& text) { factor = parseScale(text); };
    CLI::Option* const option =
        addParsed(app, "--scale", parse,
                  "shrink by this factor: every pixel becomes the mean of all those under it; a "
                  "coarser --level is cheaper where the factor is small")
            ->type_name("F");
    addInteger(app, "--cache-mb", &cacheSizeMB, {0, 1LL << 40},
               "memory for pixels that shrinking needs again, where they are slow to read; 256 "
               "without it, 0 for none");
    return option;
}

Selection::Selection(Input const& input, RegionOptions const& region, Border border,
                     std::vector<long long> channels)
    : input_(input),
      channels_(std::move(channels)),
      baseLevel_(region.getLevel()),
      slice_(region.slice) {
    Box const wanted = region.getRegion(input);
    Vector const extent = input.getImage().getExtent(baseLevel_);
    Box const whole(Vector(extent.x, extent.y, 1));
    frame_ = Box(Vector(wanted.min.x, wanted.min.y, 0), Vector(wanted.max.x, wanted.max.y, 0));
    Box const inside = frame_.intersected(whole);
    if (region.level || region.box) {
        box_ = frame_;
        box_->max.z = extent.z - 1;
    }
    if (border == Border::Cut) {
        if (inside.isEmpty()) {
            throw std::runtime_error(input.getName() + ": --box lies outside level " +
                                     std::to_string(baseLevel_) + ", which has " +
                                     toPixelText(extent));
        }
        frame_ = inside;
    }
    // Where nothing is inside, all positions are alike.
    frame_ = frame_.translated(inside.isEmpty() ? -frame_.min : -inside.min);
    build(std::nullopt, 0);
}

void Selection::scale(double factor, long long level, long long cacheSizeMB) {
    Vector const before = getFrame(level).getExtent();
    factor_ = factor;
    Vector const after = getFrame(level).getExtent();
    if (after.x < 1 || after.y < 1) {
        throw std::runtime_error(input_.getName() + ": of " + toPixelText(before) +
                                 " nothing remains when they are scaled by " + toText(factor));
    }
    double const pixelSide = 1.0 / factor + 2.0;
    checkFitsIntoMemory(input_.getName(), pixelSide * pixelSide * sizeof(double) *
                                              static_cast<double>(top_->getNumChannels()));
    build(input_.getPlan().chooseCacheTile(baseLevel_ + level, cacheSizeMB), cacheSizeMB);
}

void Selection::expectTiles(long long tileSide, long long cacheSizeMB) {
    if (!factor_) return;
    auto const band =
        input_.getPlan().chooseBand(top_->getExtent(0), *factor_, tileSide, cacheSizeMB);
    if (band) add<CachedImage>(cacheSizeMB, *band);
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
    return factor_ ? ReadPlan::getPieceSide(*factor_) : std::numeric_limits<long long>::max();
}

bool Selection::isLevelStored(long long level) const noexcept {
    // A box that begins inside a pixel of the level shows it moved, not as it is stored.
    auto const isOnGrid = [&](long long corner) {
        return std::max(corner, 0LL) % pow2(level) == 0;
    };
    bool const fits = !box_ || (isOnGrid(box_->min.x) && isOnGrid(box_->min.y));
    return !factor_ && fits && input_.getPlan().isLevelStored(baseLevel_ + level);
}

void Selection::build(std::optional<Vector> const& cacheTile, long long cacheSizeMB) {
    filters_.clear();
    top_ = &input_.getImage();
    if (!channels_.empty()) add<ChannelFilter>(channels_);
    if (cacheTile) add<CachedImage>(cacheSizeMB, *cacheTile);
    if (box_) add<SubImageFilter>(*box_, baseLevel_);
    if (slice_) add<SliceFilter>(*slice_);
    if (!factor_) return;
    add<WeighedDownsampleFilter>(*factor_);
    long long const side = ReadPlan::getPieceSide(*factor_);
    add<PiecewiseFilter>(Vector(side, side, 1));
}

}  // namespace Quivo::tool
