// Levels, voxel sizes and areas, see docs/levels-and-areas.md.

#include <quivo/Quivo.h>

#include <cstdio>
#include <vector>

int main() {
    using namespace Quivo;
    // 1000 x 601 pixels of 0.25 micrometres, two slices one micrometre apart.
    Vector const extent(1000, 601, 2);
    std::vector<unsigned char> const pixels(static_cast<std::size_t>(extent.prod()));
    BufferImage<unsigned char> const image(pixels.data(), extent, 1, {0, 255}, {250, 250, 1000});

    for (long long level = 0; level < image.getNumLevels(); ++level) {
        std::printf("level %lld: %s pixels of %s nm, %g per mm\n", level,
                    image.getExtent(level).toString().c_str(),
                    image.getVoxelSize(level).toString().c_str(),
                    getResolutionAtLevel(image, level));
    }
    // The last level is the last at which x and y are at least 1; odd columns and rows are left
    // out.
    bool good = image.getNumLevels() == 10 && image.getExtent(1) == Vector(500, 300, 2) &&
                image.getExtent(9) == Vector(1, 1, 2) && image.getExtent(10) == Vector() &&
                image.getVoxelSize(3) == Vector(2000, 2000, 1000);

    // Which level to show at 900 pixels per millimetre? The nearest by powers of two: 1000.
    long long const level = getResolutionLevel(image, 900.0);
    good = good && getResolutionAtLevel(image, 0) == 4000.0 && level == 2;
    // And which one for a thumbnail of at most 128 x 128? The first that fits into it.
    good = good && getThumbnailLevel(image.getExtent(0), {128, 128, 1}) == 3;

    // The same place on two levels. Boxes keep their corner and scale their extent.
    Box const found({100, 40, 0}, {163, 79, 0});  // 64 x 40 pixels of level 0
    Box const coarse = convertToLevel(found, 0, level);
    good = good && coarse == Box({25, 10, 0}, {40, 19, 0}) &&
           convertToLevel(coarse, level, 0) == found && convertToLevel(-3LL, 0, 1) == -1;
    // Never past the border: ask the image before reading where a click went.
    good = good && isValidImagePos(image, coarse.max, level) &&
           !isValidImagePos(image, {250, 0, 0}, level);

    // 16 micrometres x 10 micrometres, whatever the level says it in.
    double const area = computeAreaInMM2(found.getExtent(), image, 0);
    good = good && area == 0.00016 && computeAreaInMM2(coarse.getExtent(), image, level) == area;
    std::printf("%g square millimetres\n", area);
    return good ? 0 : 1;
}
