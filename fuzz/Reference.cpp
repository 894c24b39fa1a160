#include "Reference.h"

#include <algorithm>
#include <cmath>

namespace Quivo::Fuzzing {

namespace {

/// Where a value lies among those of a planar read of `region`.
std::size_t indexOf(Box const& region, long long c, Vector const& p) {
    Vector const e = region.getExtent(), at = p - region.min;
    return static_cast<std::size_t>(((c * e.z + at.z) * e.y + at.y) * e.x + at.x);
}

long long countLevels(Vector const& extent) {
    long long count = 0;
    for (long long edge = std::min(extent.x, extent.y); edge >= 1; edge /= 2) ++count;
    return count;
}

class BufferReference : public Reference {
public:
    BufferReference(Vector const& extent, std::function<double(long long, Vector const&)> valueOf)
        : extent_(extent), valueOf_(std::move(valueOf)) {}

    Vector getExtent(long long level) const override {
        if (level < 0 || level >= countLevels(extent_)) return {};
        return {atLevel(extent_.x, level), atLevel(extent_.y, level), extent_.z};
    }
    Values read(long long level, Box const& region) const override {
        return readEach(region, [&](long long c, Vector const& p) {
            return Box(getExtent(level)).contains(p) ? valueAt(level, c, p) : 0.0;
        });
    }

private:
    double valueAt(long long level, long long c, Vector const& p) const {
        if (level == 0) return valueOf_(c, p);
        Vector const q(2 * p.x, 2 * p.y, p.z);
        auto const below = [&](long long x, long long y) {
            return valueAt(level - 1, c, q + Vector(x, y, 0));
        };
        return std::floor((below(0, 0) + below(1, 0) + below(0, 1) + below(1, 1)) * 0.25 + 0.5);
    }

    Vector extent_;
    std::function<double(long long, Vector const&)> valueOf_;
};

class FormulaReference : public Reference {
public:
    FormulaReference(Vector const& extent, long long numLevels,
                     std::function<double(long long, long long, Vector const&)> valueOf)
        : extent_(extent), numLevels_(numLevels), valueOf_(std::move(valueOf)) {}

    Vector getExtent(long long level) const override {
        if (level < 0 || level >= numLevels_) return {};
        return {atLevel(extent_.x, level), atLevel(extent_.y, level), extent_.z};
    }
    long long getNumLevels() const override { return numLevels_; }
    Values read(long long level, Box const& region) const override {
        return readEach(region, [&](long long c, Vector const& p) {
            return Box(getExtent(level)).contains(p) ? valueOf_(level, c, p) : 0.0;
        });
    }

private:
    Vector extent_;
    long long numLevels_;
    std::function<double(long long, long long, Vector const&)> valueOf_;
};

/// What all views of another image share.
class Derived : public Reference {
public:
    explicit Derived(ReferencePtr source) : source_(std::move(source)) {
        numChannels = source_->numChannels;
        range = source_->range;
        tolerance = source_->tolerance;
        bound = source_->bound;
        dependsOnRegion = source_->dependsOnRegion;
        hasOutside = source_->hasOutside;
    }
    Vector getExtent(long long level) const override { return source_->getExtent(level); }
    long long getNumLevels() const override { return source_->getNumLevels(); }

protected:
    ReferencePtr source_;
};

class ScaleReference : public Derived {
public:
    ScaleReference(ReferencePtr source, double scale, double offset, bool rounds)
        : Derived(std::move(source)), scale_(scale), offset_(offset), rounds_(rounds) {
        range = {range.min * scale + offset, range.max * scale + offset};
        bound = bound * std::abs(scale) + std::abs(offset) + 1;
        tolerance = tolerance * std::abs(scale) + (tolerance > 0 ? 1e-15 * bound : 0);
        // A value near a half may go either way.
        if (rounds && tolerance > 0) tolerance = std::numeric_limits<double>::infinity();
        hasOutside = true;
    }
    Values read(long long level, Box const& region) const override {
        Values values = source_->read(level, region);
        for (double& value : values) {
            value = value * scale_ + offset_;
            if (rounds_) value = std::floor(value + 0.5);
        }
        return values;
    }

private:
    double scale_;
    double offset_;
    bool rounds_;
};

class ChannelsReference : public Derived {
public:
    ChannelsReference(ReferencePtr source, std::vector<long long> channels)
        : Derived(std::move(source)), channels_(std::move(channels)) {
        numChannels = static_cast<long long>(channels_.size());
    }
    Values read(long long level, Box const& region) const override {
        Values const all = source_->read(level, region);
        return readEach(region, [&](long long c, Vector const& p) {
            return all[indexOf(region, channels_[static_cast<std::size_t>(c)], p)];
        });
    }

private:
    std::vector<long long> channels_;
};

class SubImageReference : public Derived {
public:
    SubImageReference(ReferencePtr source, Box const& bounds, long long level)
        : Derived(std::move(source)), base_(std::min(level, source_->getNumLevels() - 1)) {
        Box const whole(source_->getExtent(base_));
        bounds_ = bounds.isEmpty() ? whole : bounds.intersected(whole);
        if (bounds_.isEmpty()) bounds_ = bounds.isEmpty() ? whole : Box();
        hasOutside = false;
    }
    Vector getExtent(long long level) const override {
        Vector const e = bounds_.getExtent();
        return {atLevel(e.x, level), atLevel(e.y, level), e.z};
    }
    long long getNumLevels() const override { return countLevels(bounds_.getExtent()); }
    Values read(long long level, Box const& region) const override {
        Vector const corner(atLevel(bounds_.min.x, level), atLevel(bounds_.min.y, level),
                            bounds_.min.z);
        Box const there = region.translated(corner);
        // At the ends of 64 bits there is nothing to be had.
        if (there.isEmpty()) return readEach(region, [](auto const&...) { return 0.0; });
        auto const srcLevel = static_cast<long long>(static_cast<unsigned long long>(level) +
                                                     static_cast<unsigned long long>(base_));
        Values const values = source_->read(srcLevel, there);
        return readEach(region, [&](long long c, Vector const& p) {
            return Box(getExtent(level)).contains(p) ? values[indexOf(region, c, p)] : 0.0;
        });
    }

private:
    long long base_;
    Box bounds_;
};

class CacheReference : public Derived {
public:
    CacheReference(ReferencePtr source, Vector const& tileExtent)
        : Derived(std::move(source)), tile_(tileExtent) {
        dependsOnRegion |= hasOutside;
    }
    ReferencePtr getView() const override { return source_->getView(); }
    Values read(long long level, Box const& region) const override {
        Values values = readEach(region, [](auto const&...) { return 0.0; });
        Box const touched = Box(getExtent(level)).intersected(region);
        if (level < 0) return values;
        // Indices are truncated toward zero: tile 0 is also asked for what lies just below it.
        Vector const whole = getExtent(0), last = touched.max / tile_;
        Vector tile;
        for (tile.z = touched.min.z / tile_.z; tile.z <= last.z; ++tile.z) {
            for (tile.y = touched.min.y / tile_.y; tile.y <= last.y; ++tile.y) {
                for (tile.x = touched.min.x / tile_.x; tile.x <= last.x; ++tile.x) {
                    bool const isInGrid = tile.x < countTiles(whole.x, tile_.x, level) &&
                                          tile.y < countTiles(whole.y, tile_.y, level) &&
                                          tile.z < countTiles(whole.z, tile_.z, 0);
                    if (isInGrid) copyTile(values, level, region, tile);
                }
            }
        }
        return values;
    }

private:
    /// So many tiles in level 0, and half of them, rounded up, for each further level.
    static long long countTiles(long long extent, long long edge, long long level) {
        long long count = extent > 0 ? (extent - 1) / edge + 1 : 0;
        for (long long i = 0; i < std::min(level, 64LL); ++i) count = count / 2 + count % 2;
        return count;
    }
    void copyTile(Values& values, long long level, Box const& region, Vector const& tile) const {
        Box const box = Box(tile_).translated(tile * tile_);
        Values const read = source_->read(level, box);
        forEachPixel(numChannels, box.intersected(region), [&](long long c, Vector const& p) {
            values[indexOf(region, c, p)] = read[indexOf(box, c, p)];
        });
    }

    Vector tile_;
};

class ShrunkReference : public Derived {
public:
    ShrunkReference(ReferencePtr source, double factor)
        : Derived(std::move(source)), factor_(factor) {
        tolerance += 1e-12 * bound;
        hasOutside = true;
    }
    Vector getExtent(long long level) const override {
        Vector const e = source_->getExtent(level);
        return {scaled(e.x), scaled(e.y), e.z};
    }
    long long getNumLevels() const override { return countLevels(getExtent(0)); }
    Values read(long long level, Box const& region) const override {
        if (region.isEmpty()) return {};
        Box const src(Vector(under(region.min.x), under(region.min.y), region.min.z),
                      Vector(under(region.max.x + 1), under(region.max.y + 1), region.max.z));
        Values const values = source_->read(level, src);
        return readEach(region, [&](long long c, Vector const& p) {
            double sum = 0;
            for (long long y = under(p.y); y <= under(p.y + 1); ++y) {
                for (long long x = under(p.x); x <= under(p.x + 1); ++x) {
                    double const weight = overlap(x, p.x) * overlap(y, p.y);
                    if (weight > 0) sum += weight * values[indexOf(src, c, {x, y, p.z})];
                }
            }
            return sum;
        });
    }

private:
    long long scaled(long long v) const {
        return static_cast<long long>(static_cast<double>(v) * factor_);
    }
    long long under(long long v) const {
        return static_cast<long long>(static_cast<double>(v) / factor_);
    }
    double overlap(long long source, long long pixel) const {
        double const start = static_cast<double>(source) * factor_;
        auto const at = static_cast<double>(pixel);
        double const common = std::min(start + factor_, at + 1) - std::max(start, at);
        return common >= 1e-12 ? common : 0.0;
    }

    double factor_;
};

template <typename R, typename... Arguments>
std::shared_ptr<R> make(Arguments&&... arguments) {
    return std::make_shared<R>(std::forward<Arguments>(arguments)...);
}

/// The largest magnitude of level 0 is that of all levels, but for rounding.
void setFacts(Reference& image, long long numChannels, ValueRange<double> range, double bound) {
    image.numChannels = numChannels;
    image.range = range;
    image.bound = bound + 1;
}

double findBound(Values const& values) {
    double bound = 0;
    for (double const value : values) {
        bound = std::isfinite(value) ? std::max(bound, std::abs(value))
                                     : std::numeric_limits<double>::infinity();
    }
    return bound;
}

}  // namespace

long long atLevel(long long value, long long level) {
    if (level >= 63 || level <= -63) return 0;
    for (; level > 0; --level) value /= 2;
    for (; level < 0; ++level)
        value = static_cast<long long>(2 * static_cast<std::uint64_t>(value));
    return value;
}

long long Reference::getNumLevels() const { return countLevels(getExtent(0)); }

ReferencePtr Reference::getView() const {
    ValueRange<double> const display(0.0, 255.0);
    return range == display ? shared_from_this() : makeScale(shared_from_this(), display, false);
}

ReferencePtr makeBuffer(Vector const& extent, long long numChannels, ValueRange<double> range,
                        std::function<double(long long, Vector const&)> valueOf) {
    auto const image = make<BufferReference>(extent, std::move(valueOf));
    image->numChannels = numChannels;
    setFacts(*image, numChannels, range, findBound(image->read(0, Box(extent))));
    return image;
}

ReferencePtr makeFormula(Vector const& extent, long long numChannels, long long numLevels,
                         ValueRange<double> range,
                         std::function<double(long long, long long, Vector const&)> valueOf) {
    auto const image = make<FormulaReference>(extent, numLevels, std::move(valueOf));
    image->numChannels = numChannels;
    double bound = 0;
    for (long long level = 0; level < numLevels; ++level) {
        bound = std::max(bound, findBound(image->read(level, Box(image->getExtent(level)))));
    }
    setFacts(*image, numChannels, range, bound);
    return image;
}

ReferencePtr makeScale(ReferencePtr source, double scale, double offset, bool rounds) {
    return make<ScaleReference>(std::move(source), scale, offset, rounds);
}

ReferencePtr makeScale(ReferencePtr source, ValueRange<double> target, bool rounds) {
    double const scale = (target.max - target.min) / (source->range.max - source->range.min);
    double const offset = target.min - scale * source->range.min;
    return makeScale(std::move(source), scale, offset, rounds);
}

ReferencePtr makeSubImage(ReferencePtr source, Box const& bounds, long long level) {
    return make<SubImageReference>(std::move(source), bounds, level);
}

ReferencePtr makeSlice(ReferencePtr source, long long slice) {
    Vector const extent = source->getExtent(0);
    Box const bounds(Vector(0, 0, slice), Vector(extent.x - 1, extent.y - 1, slice));
    return makeSubImage(std::move(source), bounds, 0);
}

ReferencePtr makeChannels(ReferencePtr source, std::vector<long long> channels) {
    return make<ChannelsReference>(std::move(source), std::move(channels));
}

ReferencePtr makeCache(ReferencePtr source, Vector const& tileExtent) {
    return make<CacheReference>(std::move(source), tileExtent);
}

ReferencePtr makeShrunk(ReferencePtr source, double factor) {
    return make<ShrunkReference>(std::move(source), factor);
}

}  // namespace Quivo::Fuzzing
