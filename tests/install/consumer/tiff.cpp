#include <quivo/image/BufferImage.h>
#include <quivo/tiff/TiffImage.h>
#include <quivo/tiff/TiffWriter.h>

// Writes two pixels to the file that the first argument names, and expects to read the second.
int main(int, char** argv) {
    double const pixels[2] = {3.0, 200.0};
    Quivo::BufferImage<double> image(pixels, {2, 1, 1}, 1, {0.0, 255.0}, {250, 250, 1000});
    Quivo::TiffWriter writer;
    writer.setFilename(argv[1]);
    writer.setSrcImage(&image, false);
    writer.writeImage(nullptr, nullptr);
    double value = 0.0;
    Quivo::TiffImage(argv[1]).openRegion(&value, 0, Quivo::Box({1, 0, 0}, {1, 0, 0}));
    return value == 200.0 ? 0 : 1;
}
