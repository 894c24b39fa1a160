#include <quivo/Quivo.h>

// Makes a pyramid, looks at it through its display view, and expects white where the data is 1.
int main() {
    double const pixels[4] = {1.0, 1.0, 1.0, 1.0};
    Quivo::BufferImage<double> image(pixels, {2, 2, 1}, 1, {0.0, 1.0}, {250, 250, 1000});
    double value = 0.0;
    image.getViewableRepresentation()->openRegion(&value, 1, Quivo::Box(Quivo::Vector(1)));
    return value == 255.0 ? 0 : 1;
}
