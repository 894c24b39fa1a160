#include "work/Difference.h"

#include "work/Samples.h"

#include <quivo/chains/Text.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>

namespace Quivo::tool {

namespace {

template <typename T>
void see(ValueRange<double>& seen, T const* values, long long count) {
    for (long long i = 0; i < count; ++i) {
        double const value = toDouble(values[i]);
        if (!std::isfinite(value)) continue;
        seen = {std::min(seen.min, value), std::max(seen.max, value)};
    }
}

template <typename T>
void addPlane(Difference& sum, T const* a, T const* b, Box const& piece) {
    long long const count = piece.getSize();
    sum.numValues += count;
    if (!std::is_integral_v<T>) {
        see(sum.seen, a, count);
        see(sum.seen, b, count);
    }
    if (std::memcmp(a, b, static_cast<std::size_t>(count) * sizeof(T)) == 0) return;
    for (long long i = 0; i < count; ++i) {
        if (isSame(a[i], b[i])) continue;
        if (!sum.first) {
            Vector const extent = piece.getExtent();
            sum.first =
                piece.min + Vector(i % extent.x, i / extent.x % extent.y, i / extent.x / extent.y);
        }
        ++sum.numDifferent;
        double const difference = std::abs(toDouble(a[i]) - toDouble(b[i]));
        if (!std::isfinite(difference)) {
            sum.most = std::numeric_limits<double>::infinity();
            continue;
        }
        sum.most = std::max(sum.most, difference);
        sum.sum += difference;
        sum.sumOfSquares += difference * difference;
    }
}

}  // namespace

void Difference::add(SampleType type, void const* a, void const* b, Box const& piece) {
    visitSamples(type, [&](auto zero) {
        using T = decltype(zero);
        addPlane(*this, static_cast<T const*>(a), static_cast<T const*>(b), piece);
    });
}

double Difference::getPsnr(SampleType type) const noexcept {
    ValueRange<double> const range = isInteger(type) ? getDefaultValueRange(type) : seen;
    double const peak = range.max > range.min ? range.max - range.min : 1.0;
    return 10.0 * std::log10(peak * peak * static_cast<double>(numValues) / sumOfSquares);
}

std::string Difference::describe(SampleType type) const {
    std::string text = std::to_string(numDifferent) + " of " + std::to_string(numValues) +
                       (numDifferent == 1 ? " values differs, by " : " values differ, by ") +
                       toRoundText(most, 6) + " at most and " +
                       toRoundText(sum / static_cast<double>(numValues), 4) + " on average";
    if (first) {
        text += ", first at " + std::to_string(first->x) + "," + std::to_string(first->y) +
                " of slice " + std::to_string(first->z);
    }
    return text + (sumOfSquares > 0.0 ? ", PSNR " + toText(getPsnr(type), 1) + " dB" : "");
}

}  // namespace Quivo::tool
