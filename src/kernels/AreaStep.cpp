#include "kernels/AreaStep.h"

#include <algorithm>
#include <cmath>

namespace Quivo::detail {

AreaShares::AreaShares(long long srcSize, long long numPixels, double factor, double phase)
    : dstSize(numPixels) {
    shares.reserve(static_cast<std::size_t>(std::max(srcSize, 0LL)));
    for (long long i = 0; i < srcSize; ++i) {
        double const start = static_cast<double>(i) * factor - phase;
        double const pixel = std::floor(start);
        double const toFirst = std::min(factor, 1.0 - start + pixel);
        shares.push_back({static_cast<long long>(pixel), toFirst, factor - toFirst});
    }
}

void resampleByArea(double const* src, double* dst, AreaShares const& columns,
                    AreaShares const& rows, double* line) noexcept {
    auto const isInside = [](long long i, long long size) { return i >= 0 && i < size; };
    auto const width = columns.dstSize;
    std::fill_n(dst, width * rows.dstSize, 0.0);
    for (auto const& row : rows.shares) {
        std::fill_n(line, width, 0.0);
        for (auto const& column : columns.shares) {
            double const value = *src++;
            if (isInside(column.first, width)) line[column.first] += column.toFirst * value;
            if (isInside(column.first + 1, width))
                line[column.first + 1] += column.toSecond * value;
        }
        auto const addTo = [&](long long y, double share) {
            if (!isInside(y, rows.dstSize)) return;
            double* const out = dst + y * width;
            for (long long x = 0; x < width; ++x) out[x] += share * line[x];
        };
        addTo(row.first, row.toFirst);
        addTo(row.first + 1, row.toSecond);
    }
}

}  // namespace Quivo::detail
