#include <quivo/samples/ReadSamples.h>

#include <quivo/core/Levels.h>
#include <quivo/core/Strips.h>
#include <quivo/image/Facets.h>
#include <quivo/image/Image.h>
#include <quivo/util/Cancellation.h>

#include "core/Arithmetic.h"
#include "samples/Channels.h"
#include "samples/Samples.h"

#include <numeric>
#include <string>
#include <vector>

namespace Quivo {

namespace {

/// The numbers of the channels that a request names.
std::vector<long long> listChannels(Image const& image, std::span<long long const> channels) {
    long long const count = image.getNumChannels();
    if (channels.empty()) {
        std::vector<long long> all(static_cast<std::size_t>(std::max(count, 0LL)));
        std::iota(all.begin(), all.end(), 0);
        return all;
    }
    for (long long const channel : channels) {
        detail::checkChannel(channel, count);
    }
    return {channels.begin(), channels.end()};
}

bool areAllInOrder(std::span<long long const> channels, long long count) {
    for (long long i = 0; i < std::ssize(channels); ++i) {
        if (channels[static_cast<std::size_t>(i)] != i) return false;
    }
    return std::ssize(channels) == count;
}

/// Reads `region`, at once or, where that takes much memory, in bands of one slice:
/// `read(values, piece)` fills `numPlanes` planes of type In, and plane `planes[i]` of them becomes
/// plane i of `dst`, of type Out.
template <typename In, typename Out, typename Read>
void readConverted(Out* dst, Box const& region, long long numPlanes,
                   std::span<long long const> planes, Read read) {
    constexpr double pieceBytes = 4 << 20;
    Vector const extent = region.getExtent();
    auto const rowBytes = static_cast<double>(extent.x) * static_cast<double>(numPlanes) *
                          static_cast<double>(sizeof(In));
    detail::Bytes values;
    auto const readPiece = [&](Box const& piece) {
        checkCancelled();
        values.resize(detail::elementCount(piece, numPlanes, sizeof(In)) * sizeof(In));
        auto* const in = reinterpret_cast<In*>(values.data());
        read(in, piece);
        long long const count = piece.getSize();
        Vector const place = piece.min - region.min;
        for (long long i = 0; i < std::ssize(planes); ++i) {
            In const* const from = in + planes[static_cast<std::size_t>(i)] * count;
            Out* const to = dst + ((i * extent.z + place.z) * extent.y + place.y) * extent.x;
            detail::convertRow(from, to, count);
        }
    };
    auto const rows = static_cast<double>(extent.y) * static_cast<double>(extent.z);
    if (rowBytes * rows <= pieceBytes) return readPiece(region);
    auto const bandHeight = static_cast<long long>(std::max(pieceBytes / rowBytes, 1.0));
    forEachStrip(region, 2, 1,
                 [&](Box const& slice) { forEachStrip(slice, 1, bandHeight, readPiece); });
}

}  // namespace

SampleSource* findSampleSource(Image& image) {
    auto* source = dynamic_cast<SampleSource*>(&image);
    if (auto const* const facets = source ? nullptr : dynamic_cast<Facets const*>(&image)) {
        source = facets->getSampleSource(image);
    }
    return source && source->getStoredType() ? source : nullptr;
}

void readSamples(Image& image, void* dst, SampleType type, long long level, Box const& region,
                 std::span<long long const> channels) {
    auto const chosen = listChannels(image, channels);
    if (region.isEmpty() || chosen.empty()) return;
    auto* const source = findSampleSource(image);
    long long const numChannels = image.getNumChannels();
    if (source && source->getStoredType() == type) {
        source->openSamples(dst, level, region, chosen);
    } else if (source) {
        std::vector<long long> planes(chosen.size());
        std::iota(planes.begin(), planes.end(), 0);
        detail::visitSampleType(*source->getStoredType(), [&](auto in) {
            detail::visitSampleType(type, [&](auto out) {
                readConverted<decltype(in)>(static_cast<decltype(out)*>(dst), region,
                                            std::ssize(chosen), planes,
                                            [&](void* values, Box const& piece) {
                                                source->openSamples(values, level, piece, chosen);
                                            });
            });
        });
    } else if (type == SampleType::F64 && areAllInOrder(chosen, numChannels)) {
        image.openRegion(static_cast<double*>(dst), level, region);
    } else {
        detail::visitSampleType(type, [&](auto out) {
            readConverted<double>(
                static_cast<decltype(out)*>(dst), region, numChannels, chosen,
                [&](double* values, Box const& piece) { image.openRegion(values, level, piece); });
        });
    }
}

}  // namespace Quivo
