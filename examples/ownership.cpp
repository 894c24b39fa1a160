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

/// The number of images that `action` deletes.
template <typename Action>
int countDeleted(Action action) {
    int const before = numDeleted;
    action();
    return numDeleted - before;
}

}  // namespace

int main() {
    std::vector<double> const pixels(16, 0.5);
    auto const make = [&pixels] { return new CountedImage(pixels.data()); };
    CountedImage kept(pixels.data());
    bool good = true;

    // By the flag: the filter's, or still the caller's.
    good = good && countDeleted([&] { ScaleFilter(make(), 2.0, false, true); }) == 1;
    good = good && countDeleted([&] { ScaleFilter(&kept, 2.0, false, false); }) == 0;
    // One end of a chain that owns itself takes all of it along.
    good =
        good && countDeleted([&] { SliceFilter(new CachedImage(make(), 1, true), 0, true); }) == 1;

    // A constructor that refuses has taken over nevertheless: exactly one deletion.
    good = good && countDeleted([&] {
                       try {
                           ArbitraryDownsampleFilter(make(), 1.5, true);
                       } catch (std::runtime_error const&) {
                       }
                   }) == 1;
    // A refused channel is the other way round: it stays the caller's.
    good = good && countDeleted([&] {
                       ChannelBank bank(&kept);
                       bank.addChannel(make(), "a", true);
                       auto second = std::unique_ptr<Image>(make());
                       try {
                           bank.addChannel(second.get(), "a", true);
                       } catch (std::runtime_error const&) {
                       }
                   }) == 2;

    // A view belongs to its image: never delete it, never use it longer.
    auto owner = std::make_unique<ScaleFilter>(make(), 2.0, false, true);
    Image* const view = owner->getViewableRepresentation();
    good = good && view != owner.get() && view == owner->getViewableRepresentation();
    good = good && countDeleted([&] { owner.reset(); }) == 1;

    // The same rule for classes of one's own: replaced and ended, one deletion each.
    good = good && countDeleted([&] {
                       MaybeOwned<Image> image(make(), true);
                       image.reset(make(), true);
                       image.reset(image.get(), true);  // the same again: nothing happens
                   }) == 2;

    // Buffers are read during the call, or belong to whoever asked for them.
    std::vector<double> source(16, 3.0);
    Buffer<double> const copy(source.data(), Vector(4, 4, 1), 0, 1);
    source.assign(16, 4.0);
    good = good && copy.getPtr(0)[15] == 3.0;

    std::printf("%d images deleted\n", numDeleted);
    return good ? 0 : 1;
}
