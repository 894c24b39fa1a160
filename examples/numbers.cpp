// What the numbers promise, see docs/numbers.md.

#include <quivo/Quivo.h>

#include <cmath>
#include <cstdio>
#include <limits>
#include <vector>

namespace {

using namespace Quivo;
using Values = std::vector<double>;

Values read(Image& image, long long level, Box const& region) {
    Values values(static_cast<std::size_t>(image.getNumChannels() * region.getSize()), -1.0);
    image.openRegion(values.data(), level, region);
    return values;
}

/// One row of `downsampleBuffer`, for the destination pixels `first` ... `last`, out of x / 3.
Values shrinkRow(double factor, long long first, long long last) {
    Box const dst({first, 0, 0}, {last, 0, 0});
    Box const src = getDownsamplingSrcRegionFromDstRegion(dst, factor);
    Values from;
    for (long long y = src.min.y; y <= src.max.y; ++y) {
        for (long long x = src.min.x; x <= src.max.x; ++x) {
            from.push_back(static_cast<double>(x % 5) / 3.0);
        }
    }
    Values to(static_cast<std::size_t>(dst.getSize()));
    downsampleBuffer(from.data(), to.data(), src.getExtent(), dst.getExtent(), factor, 1, dst.min);
    return to;
}

double largestDifference(Values const& a, Values const& b, std::size_t offset) {
    double largest = 0.0;
    for (std::size_t i = 0; i < b.size(); ++i) {
        largest = std::max(largest, std::abs(a[i + offset] - b[i]));
    }
    return largest;
}

}  // namespace

int main() {
    // Levels in memory are whole numbers, halves up: (1 + 2 + 2 + 1) / 4 = 1.5 becomes 2, and -1.5
    // becomes -1. The odd last column (9) takes no part.
    Values const pixels{1, 2, -1, -2, 9,  //
                        2, 1, -2, -1, 9};
    BufferImage<double> image(pixels.data(), {5, 2, 1}, 1, {-2, 9}, {});
    bool good = read(image, 1, {{-1, 0, 0}, {2, 0, 0}}) == Values{0, 2, -1, 0};

    // Kernels that compute means for pictures to come do not round.
    Values four{1, 2, 2, 1}, mean(1);
    downsampleBuffer(four.data(), mean.data(), {2, 2, 1}, {1, 1, 1}, 0.5, 1, {});
    good = good && mean == Values{1.5};

    // A scale is a product, rounded to a double, and a sum: the same bits on every CPU. What is
    // outside the source is 0 there and the offset here.
    ScaleFilter scaled(&image, 0.1, 0.5, false, false);
    double const product = 2 * 0.1;
    good = good && read(scaled, 0, {{1, 0, 0}, {1, 0, 0}}) == Values{product + 0.5} &&
           read(scaled, 0, {{-1, 0, 0}, {-1, 0, 0}}) == Values{0.5};
    // Rounded: halves up, also below 0.
    ScaleFilter halved(&image, 0.5, true, false);
    good = good && read(halved, 0, {{0, 0, 0}, {4, 0, 0}}) == Values{1, 1, 0, -1, 5};
    // NaN is a value like others: it passes.
    double const nan = std::numeric_limits<double>::quiet_NaN();
    BufferImage<double> holes(&nan, {1, 1, 1}, 1, {0, 1}, {});
    ScaleFilter rounded(&holes, 2.0, true, false);
    good = good && std::isnan(read(rounded, 0, {{0, 0, 0}, {0, 0, 0}})[0]);

    // The filter that shrinks gives the same bits however a region is cut ...
    Values thirds;
    for (int i = 0; i < 100 * 100; ++i) thirds.push_back(i % 17 / 3.0);
    BufferImage<double> large(thirds.data(), {100, 100, 1}, 1, {0, 6}, {});
    ArbitraryDownsampleFilter shrunk(&large, 0.37, false);
    Values const row = read(shrunk, 0, {{0, 20, 0}, {36, 20, 0}});
    for (long long x = 0; x <= 36; ++x) {
        auto const alone = read(shrunk, 0, {{x, 20, 0}, {x, 20, 0}});
        good = good && alone[0] == row[static_cast<std::size_t>(x)];
    }
    // ... and the kernel below it up to rounding: 1e-12 near the origin, more far away.
    double const near = largestDifference(shrinkRow(0.7, 0, 99), shrinkRow(0.7, 31, 99), 31);
    long long const away = 1'000'000'000;
    double const far = largestDifference(shrinkRow(0.7, away, away + 99),
                                         shrinkRow(0.7, away + 31, away + 99), 31);
    good = good && near <= 1e-12 && far <= static_cast<double>(away) * 0x1p-52;

    std::printf("pieces differ by %g, and by %g a thousand million pixels away\n", near, far);
    return good ? 0 : 1;
}
