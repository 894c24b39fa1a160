#include "kernels/AreaMean.h"

#include <quivo/core/Vector.h>

#include "core/Arithmetic.h"

#include <algorithm>
#include <cmath>

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

AreaWeights::AreaWeights(long long first, long long last, double factor)
    : firstSource_(firstSourceOf(first, factor)), lastSource_(lastSourceOf(last, factor)) {
    ends_.push_back(0);
    // Counted from 0, because pixels may end where 64 bits end.
    for (long long i = 0; i <= last - first; ++i) {
        long long const pixel = first + i;
        long long const begin = firstSourceOf(pixel, factor);
        long long const numSources = lastSourceOf(pixel, factor) - begin + 1;
        for (long long source = 0; source < numSources; ++source) {
            double const overlap = overlapOf(begin + source, pixel, factor);
            if (overlap >= smallestOverlap) {
                weights_.push_back({begin - firstSource_ + source, overlap});
            }
        }
        ends_.push_back(static_cast<std::ptrdiff_t>(weights_.size()));
    }
}

void averageByArea(double const* src, double* dst, AreaWeights const& columns,
                   AreaWeights const& rows, double* line) noexcept {
    auto const srcWidth = columns.getLastSource() - columns.getFirstSource() + 1;
    auto const width = columns.getSize();
    long long lineRow = -1;  // the source row that `line` holds, shrunk along x
    for (long long y = 0; y < rows.getSize(); ++y) {
        double* const out = dst + y * width;
        std::fill_n(out, width, 0.0);
        for (auto const* row = rows.begin(y); row != rows.end(y); ++row) {
            if (row->source != lineRow) {
                lineRow = row->source;
                double const* const in = src + lineRow * srcWidth;
                for (long long x = 0; x < width; ++x) {
                    double sum = 0.0;
                    for (auto const* column = columns.begin(x); column != columns.end(x);
                         ++column) {
                        sum += column->overlap * in[column->source];
                    }
                    line[x] = sum;
                }
            }
            for (long long x = 0; x < width; ++x) out[x] += row->overlap * line[x];
        }
    }
}

}  // namespace Quivo::detail
