#include "Pieces.h"

#include <vector>

namespace Quivo::tool {

Vector choosePieceExtent(long long numChannels) noexcept {
    constexpr long long width = 2048;
    constexpr long long maxValues = 1 << 21;
    return {width, std::clamp(maxValues / (width * std::max(numChannels, 1LL)), 1LL, 256LL), 1};
}

PiecewiseFilter::PiecewiseFilter(Image* source, Vector const& pieceExtent,
                                 CancellationChecker& checker, bool takeOwnership) noexcept
    : Filter(source, takeOwnership), pieceExtent_(pieceExtent), checker_(checker) {}

void PiecewiseFilter::openRegion(double* dst, long long level, Box const& region) {
    if (region.isEmpty()) return;
    Vector const extent = region.getExtent();
    long long const numChannels = getNumChannels();
    std::vector<double> values;
    auto const readPiece = [&](Box const& piece) {
        checker_.checkCancelled();
        if (piece == region) {
            getSource()->openRegion(dst, level, region);
            return;
        }
        Vector const size = piece.getExtent();
        Vector const to = piece.min - region.min;
        auto const count = static_cast<std::size_t>(size.prod() * numChannels);
        if (values.size() < count) values.resize(count);
        getSource()->openRegion(values.data(), level, piece);
        double const* src = values.data();
        for (long long c = 0; c < numChannels; ++c) {
            for (long long y = 0; y < size.y; ++y, src += size.x) {
                long long const row = (c * extent.z + to.z) * extent.y + to.y + y;
                std::copy_n(src, size.x, dst + row * extent.x + to.x);
            }
        }
    };
    forEachStrip(region, 2, 1, [&](Box const& slice) {
        forEachStrip(slice, 1, pieceExtent_.y,
                     [&](Box const& band) { forEachStrip(band, 0, pieceExtent_.x, readPiece); });
    });
}

}  // namespace Quivo::tool
