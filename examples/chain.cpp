// A buffer, a filter and a read: the values of a picture in memory, brought onto [0, 255].

#include <quivo/Quivo.h>

#include <cstdio>
#include <vector>

int main() {
    // A ramp of 8 x 4 pixels with values 0 ... 7 along x, one channel.
    std::vector<double> pixels;
    for (int i = 0; i < 32; ++i) pixels.push_back(i % 8);
    Quivo::BufferImage<double> image(pixels.data(), {8, 4, 1}, 1, {0.0, 8.0}, {250, 250, 1000});

    // Its range 0 ... 8 becomes 0 ... 256, rounded; `false`: the filter does not own the image.
    Quivo::ScaleFilter scaled(&image, {0.0, 256.0}, true, false);

    // Columns -1 ... 2 of the first row of level 1, where x and y are halved. Outside is 0.
    Quivo::Box const region({-1, 0, 0}, {2, 0, 0});
    std::vector<double> values(static_cast<std::size_t>(region.getSize()));
    scaled.openRegion(values.data(), 1, region);
    for (double value : values) std::printf("%g ", value);
    std::printf("\n");
}
