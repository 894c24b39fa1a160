#include "filters/AreaMean.h"

#include <quivo/core/Vector.h>

#include "core/Arithmetic.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace Quivo::detail {

namespace {

constexpr double smallestOverlap = 1e-12;

/// How much of source pixel `source` lies in destination pixel `pixel`.
double overlapOf(long long source, long long pixel, double factor) {
    double const start = static_cast<double>(source) * factor;
    double const startPixel = std::floor(start);
    double const inStartPixel = std::min(1.0 - (start - startPixel), factor);
    auto const wanted = static_cast<double>(pixel);
    if (startPixel == wanted) return inStartPixel;
    return startPixel + 1.0 == wanted ? factor - inStartPixel : 0.0;
}

}  // namespace

long long firstSourceOf(long long pixel, double factor) noexcept {
    return truncated(static_cast<double>(pixel) / factor);
}

long long lastSourceOf(long long pixel, double factor) noexcept {
    return truncated((static_cast<double>(pixel) + 1.0) / factor);
}

Box sourceOf(Box const& region, double factor) noexcept {
    return {Vector(firstSourceOf(region.min.x, factor), firstSourceOf(region.min.y, factor),
                   region.min.z),
            Vector(lastSourceOf(region.max.x, factor), lastSourceOf(region.max.y, factor),
                   region.max.z)};
}

AreaWeights::AreaWeights(long long numPixels) : pixels_(static_cast<std::size_t>(numPixels)) {}

void AreaWeights::makeRoom(long long maxSources) {
    numWeights_ = (maxSources + weightsPerStep - 1) / weightsPerStep * weightsPerStep;
    weights_.resize(pixels_.size() * static_cast<std::size_t>(numWeights_));
}

void AreaWeights::add(long long i, long long source, double weight) noexcept {
    Pixel& p = pixels_[static_cast<std::size_t>(i)];
    if (p.numSources == 0) p.source = source;
    weights_[static_cast<std::size_t>(i * numWeights_ + source - p.source)] = weight;
    p.numSources = source - p.source + 1;
    end_ = std::max(end_, source + 1);
}

AreaWeights AreaWeights::ofPixels(long long first, long long last, double factor) {
    AreaWeights result(last - first + 1);
    // Up to here a pixel plus 1.0 is the next pixel, in doubles too: its first source is the last
    // one of the pixel before, and divisions are dear.
    constexpr long long exactPixels = 1LL << 53;
    bool const isExact = first > -exactPixels && last < exactPixels;
    long long const firstSource = firstSourceOf(first, factor);
    long long begin = firstSource;
    long long maxSources = 1;
    long long pixel = first;
    for (Pixel& used : result.pixels_) {
        if (!isExact) begin = firstSourceOf(pixel, factor);
        long long const end = lastSourceOf(pixel, factor);
        used = {begin, end - begin + 1};
        maxSources = std::max(maxSources, used.numSources);
        begin = end;
        pixel = wrappingAdd(pixel, 1);  // pixels may end where 64 bits end
    }
    result.makeRoom(maxSources);
    for (long long i = 0; i < result.getSize(); ++i) {
        // What the pixel may use becomes what it does use.
        Pixel const used = std::exchange(result.pixels_[static_cast<std::size_t>(i)], {});
        for (long long n = 0; n < used.numSources; ++n) {
            double const overlap = overlapOf(used.source + n, first + i, factor);
            if (overlap >= smallestOverlap) result.add(i, used.source + n - firstSource, overlap);
        }
    }
    return result;
}

AreaWeights AreaWeights::ofShares(long long numSources, long long numPixels, double factor,
                                  double phase) {
    // Wider than half a pixel, sources reach a pixel three at a time, and four where rounding
    // leaves a sliver on either side.
    AreaWeights result(numPixels);
    result.makeRoom(weightsPerStep);
    for (long long source = 0; source < numSources; ++source) {
        double const start = static_cast<double>(source) * factor - phase;
        double const pixel = std::floor(start);
        double const toFirst = std::min(factor, 1.0 - start + pixel);
        double const toSecond = factor - toFirst;
        long long const first = truncated(pixel);
        if (first >= 0 && first < numPixels) result.add(first, source, toFirst);
        if (toSecond > 0.0 && first >= -1 && first + 1 < numPixels) {
            result.add(first + 1, source, toSecond);
        }
    }
    return result;
}

namespace {

/// A run of columns, short so that its sources stay in the nearer caches where factors are not
/// tiny, and what they need of a source row.
class Strip {
public:
    Strip(AreaWeights const& columns, long long first, long long count)
        : first_(first),
          weights_(columns.getWeights(first)),
          firstSource_(columns.getSource(first)) {
        long long end = firstSource_;
        sources_.reserve(static_cast<std::size_t>(count));
        for (long long i = first; i < first + count; ++i) {
            bool const isEmpty = columns.getNumSources(i) == 0;
            sources_.push_back(isEmpty ? 0 : columns.getSource(i) - firstSource_);
            end = std::max(end, columns.getSourceEnd(i));
        }
        numSources_ = end - firstSource_;
        line_.resize(static_cast<std::size_t>(numSources_ + columns.getNumWeights()));
    }

    void computeRow(double const* src, long long srcStride, AreaWeights const& rows, long long y,
                    long long numWeights, double* dst) {
        auto const rowAt = [&](long long row) { return src + row * srcStride + firstSource_; };
        combineRows(rowAt(rows.getSource(y)), srcStride, rows.getWeights(y), rows.getNumSources(y),
                    line_.data(), numSources_);
        // The rows that the next one adds to these: the first and the last of them.
        long long const next = std::min(y + 1, rows.getSize() - 1);
        long long const last = std::max(rows.getSourceEnd(next) - 1, 0LL);
        combineColumns(line_.data(), sources_.data(), weights_, numWeights, dst + first_,
                       static_cast<long long>(sources_.size()),
                       rowAt(std::min(rows.getSourceEnd(y), last)), rowAt(last));
    }

private:
    long long first_;
    double const* weights_;
    long long firstSource_;
    long long numSources_ = 0;
    std::vector<long long> sources_;
    std::vector<double> line_;
};

}  // namespace

void averageByArea(PlanesView const& src, double* dst, long long numPlanes,
                   AreaWeights const& columns, AreaWeights const& rows) {
    constexpr long long pixelsPerStrip = 4096;
    long long const width = columns.getSize();
    long long const height = rows.getSize();
    for (long long x = 0; x < width; x += pixelsPerStrip) {
        Strip strip(columns, x, std::min(pixelsPerStrip, width - x));
        for (long long plane = 0; plane < numPlanes; ++plane) {
            double const* const values = src.values + plane * src.planeStride;
            for (long long y = 0; y < height; ++y) {
                strip.computeRow(values, src.rowStride, rows, y, columns.getNumWeights(),
                                 dst + (plane * height + y) * width);
            }
        }
    }
}

}  // namespace Quivo::detail
