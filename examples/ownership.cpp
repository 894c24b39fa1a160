// Who deletes what, see docs/ownership.md: images that count their ends.

#include <quivo/Quivo.h>

#include <cstdio>
#include <memory>
#include <stdexcept>
#include <vector>

namespace {

using namespace Quivo;

int numDeleted = 0;

class CountedImage final : public BufferImage<double> {
public:
    explicit CountedImage(double const* pixels)
        : BufferImage(pixels, {4, 4, 1}, 1, {0.0, 1.0}, {}) {}
    ~CountedImage() override { ++numDeleted; }
};

}  // namespace

int main() {
    std::vector<double> const pixels(16, 0.5);
    auto const make = [&pixels] { return new CountedImage(pixels.data()); };
    CountedImage kept(pixels.data());
    bool good = true;
    auto const expectDeleted = [&good](int count, auto action) {
        int const before = numDeleted;
        action();
        good = good && numDeleted - before == count;
    };

    // By the flag: the filter's, or still the caller's.
    expectDeleted(1, [&] { ScaleFilter filter(make(), 2.0, false, true); });
    expectDeleted(0, [&] { ScaleFilter filter(&kept, 2.0, false, false); });
    // One end of a chain that owns itself takes all of it along.
    expectDeleted(1, [&] { SliceFilter slice(new CachedImage(make(), 1, true), 0, true); });

    // A constructor that refuses has taken over nevertheless: exactly one deletion.
    expectDeleted(1, [&] {
        try {
            ArbitraryDownsampleFilter filter(make(), 1.5, true);
        } catch (std::runtime_error const&) {
        }
    });
    // A refused channel is the other way round: it stays the caller's.
    ChannelBank bank(&kept);
    bank.addChannel(&kept, "a", false);
    std::unique_ptr<Image> refused(make());
    expectDeleted(0, [&] {
        try {
            bank.addChannel(refused.get(), "a", true);
        } catch (std::runtime_error const&) {
        }
    });

    // A view belongs to its image: never delete it, never use it longer.
    auto owner = std::make_unique<ScaleFilter>(make(), 2.0, false, true);
    Image* const view = owner->getViewableRepresentation();
    good = good && view != owner.get() && view == owner->getViewableRepresentation();
    expectDeleted(1, [&] { owner.reset(); });

    // The same rule for classes of one's own: replaced and ended, one deletion each.
    expectDeleted(2, [&] {
        MaybeOwned<Image> image(make(), true);
        image.reset(make(), true);       // the first one is deleted here
        image.reset(image.get(), true);  // the same again: nothing happens
    });

    // Buffers are read during the call, or belong to whoever asked for them.
    std::vector<double> source(16, 3.0);
    Buffer<double> const copy(source.data(), Vector(4, 4, 1), 0, 1);
    source.assign(16, 4.0);
    good = good && copy.getPtr(0)[15] == 3.0;

    std::printf("%d images deleted\n", numDeleted);
    return good ? 0 : 1;
}
