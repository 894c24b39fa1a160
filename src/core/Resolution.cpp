#include <quivo/core/Resolution.h>

#include <quivo/core/Box.h>
#include <quivo/image/Image.h>

#include "core/Arithmetic.h"

#include <algorithm>

namespace Quivo {

bool isValidImagePos(Image const& image, Vector const& position, long long level) {
    return Box(image.getExtent(level)).contains(position);
}

double getResolutionAtLevel(Image const& image, long long level) {
    constexpr double nanometresPerMillimetre = 1e6;
    long long const voxelSize = image.getVoxelSize(level).x;
    return voxelSize > 0 ? nanometresPerMillimetre / static_cast<double>(voxelSize) : 0.0;
}

long long getResolutionLevel(Image const& image, double resolution) {
    double const finest = getResolutionAtLevel(image, 0);
    if (!(finest > 0) || !(resolution > 0)) return 0;
    return std::max(detail::truncated(detail::log2Quotient(finest / resolution) + 0.5), -1LL);
}

double computeAreaInMM2(Vector const& size, Image const& image, long long level) {
    Vector const lengths = size * image.getVoxelSize(level);
    constexpr double squareNanometresPerSquareMillimetre = 1e12;
    return static_cast<double>(detail::wrappingMul(lengths.x, lengths.y)) /
           squareNanometresPerSquareMillimetre;
}

double computeAreaInMM2(long long edge, Image const& image, long long level) {
    return computeAreaInMM2(Vector(edge, edge, 1), image, level);
}

}  // namespace Quivo
