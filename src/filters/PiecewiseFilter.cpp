#include <quivo/filters/PiecewiseFilter.h>

#include <quivo/core/Strips.h>
#include <quivo/samples/ReadSamples.h>
#include <quivo/util/Cancellation.h>

#include "samples/Samples.h"

#include <algorithm>

namespace Quivo {

PiecewiseFilter::PiecewiseFilter(Image* source, Vector const& pieceExtent,
                                 bool takeOwnership) noexcept
    : Filter(source, takeOwnership), pieceExtent_(pieceExtent) {}

PiecewiseFilter::~PiecewiseFilter() = default;

template <typename T, typename Read>
void PiecewiseFilter::readPieces(T* dst, Box const& region, long long numPlanes, Read read) {
    Vector const extent = region.getExtent();
    detail::Bytes values;
    auto const readPiece = [&](Box const& piece) {
        checkCancelled();
        if (piece == region) {  // nothing to put together
            read(dst, piece);
            return;
        }
        Vector const size = piece.getExtent();
        Vector const to = piece.min - region.min;
        values.resize(static_cast<std::size_t>(size.prod() * numPlanes) * sizeof(T));
        T const* src = reinterpret_cast<T const*>(values.data());
        read(reinterpret_cast<T*>(values.data()), piece);
        for (long long i = 0; i < numPlanes; ++i) {
            for (long long y = 0; y < size.y; ++y, src += size.x) {
                std::copy_n(
                    src, size.x,
                    dst + i * extent.prod() + extent.getStrides().dot(to + Vector(0, y, 0)));
            }
        }
    };
    forEachStrip(region, 2, 1, [&](Box const& slice) {
        forEachStrip(slice, 1, std::max(pieceExtent_.y, 1LL), [&](Box const& band) {
            forEachStrip(band, 0, std::max(pieceExtent_.x, 1LL), readPiece);
        });
    });
}

void PiecewiseFilter::openRegion(double* dst, long long level, Box const& region) {
    readPieces(dst, region, getNumChannels(), [&](double* values, Box const& piece) {
        getSource()->openRegion(values, level, piece);
    });
}

std::optional<SampleType> PiecewiseFilter::getStoredType() const {
    auto const* const source =
        ownClass_.isClassOf(*this) ? findSampleSource(*getSource()) : nullptr;
    return source ? source->getStoredType() : std::nullopt;
}

void PiecewiseFilter::openSamples(void* dst, long long level, Box const& region,
                                  std::span<long long const> channels) {
    auto& source = *findSampleSource(*getSource());
    long long const numPlanes = channels.empty() ? getNumChannels() : std::ssize(channels);
    detail::visitSampleType(*source.getStoredType(), [&](auto zero) {
        readPieces(static_cast<decltype(zero)*>(dst), region, numPlanes,
                   [&](void* values, Box const& piece) {
                       source.openSamples(values, level, piece, channels);
                   });
    });
}

}  // namespace Quivo
