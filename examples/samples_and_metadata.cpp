// One stain of a slide of five as bytes, and what its numbers mean: without reading the other four,
// and without a way through doubles.

#include <quivo/Quivo.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string>
#include <vector>

namespace {

void expect(bool condition, char const* what) {
    if (condition) return;
    std::fprintf(stderr, "wrong: %s\n", what);
    std::exit(1);
}

// A microscope's picture: five stains of 8 bits, of which it knows names and pixel size.
class Slide : public Quivo::Image, public Quivo::SampleSource, public Quivo::MetadataSource {
public:
    int numPlanesRead = 0;

    std::string getURL() const override { return {}; }
    Quivo::Vector getExtent(long long level) const override {
        return level == 0 ? Quivo::Vector(640, 480, 1) : Quivo::Vector();
    }
    long long getNumChannels() const override { return 5; }
    long long getNumLevels() const override { return 1; }
    Quivo::ValueRange<double> getValueRange() const override { return {0.0, 255.0}; }
    Quivo::Vector getVoxelSize(long long) const override { return {253, 253, 0}; }
    Quivo::Vector getTileExtent() const override { return {256, 256, 1}; }
    std::string getSliceName(long long) override { return {}; }
    std::string getChannelName(long long c) override { return names[static_cast<std::size_t>(c)]; }
    std::string getId() const override { return {}; }
    std::string getGroupId() const override { return {}; }
    Quivo::ContentHash getHash() override { return 0; }
    Image* getViewableRepresentation() override { return this; }

    std::optional<Quivo::SampleType> getStoredType() const override {
        return Quivo::SampleType::U8;
    }

    // The one way to the pixels; the one in doubles goes through it.
    void openSamples(void* dst, long long level, Quivo::Box const& region,
                     std::span<long long const> channels) override {
        static constexpr std::array<long long, 5> all{0, 1, 2, 3, 4};
        auto* out = static_cast<unsigned char*>(dst);
        Quivo::Box const inside(getExtent(level));
        for (long long const c : channels.empty() ? std::span<long long const>(all) : channels) {
            ++numPlanesRead;
            for (long long y = region.min.y; y <= region.max.y; ++y) {
                for (long long x = region.min.x; x <= region.max.x; ++x) {
                    bool const isThere = inside.contains({x, y, region.min.z});
                    *out++ = static_cast<unsigned char>(isThere ? (x + y) % 50 + 40 * c : 0);
                }
            }
        }
    }
    void openRegion(double* dst, long long level, Quivo::Box const& region) override {
        Quivo::readSamples(*this, dst, Quivo::SampleType::F64, level, region, {});
    }

    Quivo::Metadata getMetadata() override {
        Quivo::Metadata metadata;
        for (std::string const& name : names) metadata.channels.push_back({name, {}, {}, {}});
        metadata.channels[1].colour = Quivo::Colour{0.0, 1.0, 0.0};
        metadata.channels[1].window = {20.0, 90.0};
        metadata.pixelSize = {252.6, 252.6, 0.0};  // getVoxelSize has whole nanometres
        return metadata;
    }

private:
    std::vector<std::string> names{"DAPI", "FITC", "Cy3", "Cy5", "AF750"};
};

}  // namespace

int main() {
    Slide slide;

    // A box of the slide, and of that one stain; neither touches a value, so samples pass through.
    Quivo::SubImageFilter box(&slide, Quivo::Box({100, 50, 0}, {355, 305, 0}), 0, false);
    Quivo::ChannelFilter stain(&box, {1}, false);

    Quivo::Box const region(stain.getExtent(0));
    std::vector<unsigned char> bytes(static_cast<std::size_t>(region.getSize()));
    Quivo::readSamples(stain, bytes.data(), Quivo::SampleType::U8, 0, region, {});
    expect(bytes[0] == (100 + 50) % 50 + 40, "the first byte");
    expect(slide.numPlanesRead == 1, "one stain of five is read");

    // The same as doubles, and as any other type: the values are the same.
    std::vector<float> floats(bytes.size());
    Quivo::readSamples(stain, floats.data(), Quivo::SampleType::F32, 0, region, {});
    expect(floats[77] == static_cast<float>(bytes[77]), "the same values as floats");

    // What the numbers mean came along, with the pixel size to its last digit.
    Quivo::Metadata const metadata = Quivo::getMetadata(stain);
    expect(metadata.channels[0].name == "FITC", "the name");
    expect(metadata.channels[0].window->max == 90.0, "the display window");
    expect(metadata.pixelSize[0] == 252.6, "the pixel size");

    // Shrunk pixels are larger.
    Quivo::ArbitraryDownsampleFilter overview(&stain, 0.25, false);
    expect(Quivo::getMetadata(overview).pixelSize[0] == 1010.4, "four times the pixel size");
    std::printf("%s, %g nm per pixel\n", metadata.channels[0].name.c_str(), metadata.pixelSize[0]);
    return 0;
}
