// A filter of one's own, see docs/filter.md: every pixel becomes the mean of the 3 x 3 pixels
// around it.

#include <quivo/Quivo.h>

#include <cstdio>
#include <vector>

namespace {

using namespace Quivo;

/// Pixels outside the source count as what the source reads there: 0. As safe as the source.
class Mean3x3 final : public Filter {
public:
    Mean3x3(Image* source, bool takeOwnership) : Filter(source, takeOwnership) {}

    void openRegion(double* dst, long long level, Box const& region) override {
        if (region.isEmpty()) return;
        // One pixel more on each side in x and y; all channels at once.
        Buffer<double> around(region.expanded({1, 1, 0}), level, getNumChannels());
        getSource()->openRegion(around.getPtr(0), level, around.getBounds());

        Vector const from = around.getBounds().getExtent();
        Vector const to = region.getExtent();
        for (long long plane = 0; plane < getNumChannels() * to.z; ++plane) {
            for (long long y = 0; y < to.y; ++y) {
                double const* const rows = around.getPtr(0) + (plane * from.y + y) * from.x;
                double* const out = dst + (plane * to.y + y) * to.x;
                for (long long x = 0; x < to.x; ++x) {
                    // Added in one order, wherever the region begins: pieces equal the whole.
                    double sum = 0.0;
                    for (long long j = 0; j < 3; ++j) {
                        for (long long i = 0; i < 3; ++i) sum += rows[j * from.x + x + i];
                    }
                    out[x] = sum / 9.0;
                }
            }
        }
    }
};

}  // namespace

int main() {
    // A single pixel of 9 in the middle of 40 x 40, then thirds, which are not exact.
    std::vector<double> pixels(2 * 40 * 40);
    pixels[20 * 40 + 20] = 9.0;
    for (std::size_t i = 1600; i < pixels.size(); ++i) pixels[i] = static_cast<double>(i % 7) / 3.0;
    Mean3x3 mean(new BufferImage<double>(pixels.data(), {40, 40, 1}, 2, {0.0, 9.0}, {}), true);

    auto const read = [&mean](Box const& region) {
        std::vector<double> values(static_cast<std::size_t>(2 * region.getSize()));
        mean.openRegion(values.data(), 0, region);
        return values;
    };
    std::vector<double> const around = read({{18, 20, 0}, {22, 20, 0}});
    bool good =
        std::vector(around.begin(), around.begin() + 5) == std::vector{0.0, 1.0, 1.0, 1.0, 0.0};

    // Each pixel read alone equals what the whole says of it, to the bit.
    Box const region({-1, -1, 0}, {40, 40, 0});
    std::vector<double> const whole = read(region);
    std::size_t index = 0;
    for (long long y = -1; y <= 40; ++y) {
        for (long long x = -1; x <= 40; ++x, ++index) {
            auto const alone = read({{x, y, 0}, {x, y, 0}});
            good = good && alone[0] == whole[index] && alone[1] == whole[index + whole.size() / 2];
        }
    }
    std::printf("%g %g\n", around[1], around[6]);
    return good ? 0 : 1;
}
