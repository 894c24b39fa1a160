// Chains of images, see docs/chains.md. Up to the line that it prints, this is the program of the
// README.

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
    bool good = values == std::vector<double>{0, 32, 96, 160};

    // A longer chain, over two slices of the values 100 * z + x. `true` hands each image to the one
    // in front of it: `slice` owns them all.
    std::vector<double> volume;
    for (int i = 0; i < 64; ++i) volume.push_back(i / 32 * 100 + i % 8);
    auto* stored =
        new Quivo::BufferImage<double>(volume.data(), {8, 4, 2}, 1, {0.0, 127.5}, {250, 250, 1000});
    auto* cached = new Quivo::CachedImage(stored, 64, {4, 4, 1}, true);  // 64 MiB of tiles
    auto* fourfold = new Quivo::ScaleFilter(cached, 4.0, false, true);
    Quivo::SliceFilter slice(fourfold, 1, true);
    slice.openRegion(values.data(), 0, region);
    good = good && values == std::vector<double>{0, 400, 404, 408};

    // For display: 0 ... 510 brought onto 0 ... 255. The view belongs to `slice`.
    Quivo::Image* const view = slice.getViewableRepresentation();
    view->openRegion(values.data(), 0, region);
    good = good && values == std::vector<double>{0, 200, 202, 204};

    // Images side by side, as channels of one size. What is read is a buffer of the caller's.
    Quivo::ChannelBank bank(&slice);
    bank.addChannel(&slice, "fourfold", false);
    bank.addChannel(new Quivo::ScaleFilter(&slice, 0.25, false, false), "plain", true);
    auto const buffer = bank.openRegion({"plain", "fourfold"}, region, 0);
    good = good && buffer->getPtr(0)[3] == 102 && buffer->getPtr(1)[3] == 408;
    return good ? 0 : 1;
}
