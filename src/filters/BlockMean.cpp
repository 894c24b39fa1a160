#include "filters/BlockMean.h"

#include "kernels/Mean.h"

#include <algorithm>

namespace Quivo {

template <typename T, typename U>
void downsampleBufferFullLevel(T* src, U* dst, Vector srcExtent, long long numChannels,
                               long long numHalvings) noexcept {
    if (srcExtent.x < 1 || srcExtent.y < 1 || srcExtent.z < 1) return;
    if (numChannels < 1 || numHalvings > 62) return;
    long long const edge = 1LL << numHalvings;
    Vector const dstExtent = srcExtent / Vector(edge, edge, 1);
    if (numHalvings == 0) {
        if (dst != src) std::copy_n(src, numChannels * srcExtent.prod(), dst);
        return;
    }
    // Destinations are written in ascending order, none past the first source value that a later
    // block reads: that is what makes src == dst work.
    for (long long plane = 0; plane < numChannels * srcExtent.z; ++plane) {
        for (long long y = 0; y < dstExtent.y; ++y) {
            detail::averageBlocks(src + (plane * srcExtent.y + y * edge) * srcExtent.x, srcExtent.x,
                                  dst + (plane * dstExtent.y + y) * dstExtent.x, dstExtent.x, edge);
        }
    }
}

template void downsampleBufferFullLevel<double, double>(double*, double*, Vector, long long,
                                                        long long) noexcept;

}  // namespace Quivo
