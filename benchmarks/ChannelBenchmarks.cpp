// One channel of forty against all of them: out of files, and out of a bank of images in memory.

#include <quivo/channels/BankImage.h>
#include <quivo/channels/ChannelBank.h>
#include <quivo/filters/ChannelFilter.h>
#include <quivo/image/BufferImage.h>
#include <quivo/samples/ReadSamples.h>
#include <quivo/tiff/TiffImage.h>

#include "Memory.h"
#include "Pictures.h"

#include <tiffio.h>

#include <functional>
#include <memory>

namespace Quivo::Benchmarks {

namespace {

constexpr long long numChannels = 40;
constexpr long long chosen = 23;
constexpr int edge = 1024;
constexpr int tileEdge = 256;
constexpr int window = 512;
constexpr auto planeSize = static_cast<std::size_t>(edge) * edge;
constexpr auto windowSize = static_cast<std::size_t>(window) * window;
// One fortieth, and a fifth of that for what is not copying.
constexpr double share = 1.2 / numChannels;

std::vector<unsigned char> const& planes() {
    static auto const values = makeNoise<unsigned char>(numChannels * planeSize);
    return values;
}

/// The planes as a file of tiles; our own writer does not write separate planes.
std::string writeTiles(bool separate) {
    auto path = makePath(separate ? "planes.tif" : "interleaved.tif");
    TIFF* const tiff = TIFFOpen(path.c_str(), "w");
    if (!tiff) return {};
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, edge);
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, edge);
    TIFFSetField(tiff, TIFFTAG_TILEWIDTH, tileEdge);
    TIFFSetField(tiff, TIFFTAG_TILELENGTH, tileEdge);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 8);
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, static_cast<int>(numChannels));
    std::vector<std::uint16_t> const extra(numChannels - 1, EXTRASAMPLE_UNSPECIFIED);
    TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, static_cast<int>(extra.size()), extra.data());
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
    TIFFSetField(tiff, TIFFTAG_PLANARCONFIG,
                 separate ? PLANARCONFIG_SEPARATE : PLANARCONFIG_CONTIG);
    long long const perTile = separate ? 1 : numChannels;
    std::vector<unsigned char> tile(static_cast<std::size_t>(perTile) * tileEdge * tileEdge);
    bool isWritten = true;
    for (long long first = 0; first < numChannels; first += perTile) {
        for (long long top = 0; top < edge; top += tileEdge) {
            for (long long left = 0; left < edge; left += tileEdge) {
                auto* out = tile.data();
                for (long long y = top; y < top + tileEdge; ++y) {
                    for (long long x = left; x < left + tileEdge; ++x) {
                        for (long long c = first; c < first + perTile; ++c) {
                            *out++ = planes()[static_cast<std::size_t>((c * edge + y) * edge + x)];
                        }
                    }
                }
                auto const number = TIFFComputeTile(
                    tiff, static_cast<std::uint32_t>(left), static_cast<std::uint32_t>(top), 0,
                    static_cast<std::uint16_t>(separate ? first : 0));
                isWritten =
                    isWritten && TIFFWriteEncodedTile(tiff, number, tile.data(),
                                                      static_cast<tmsize_t>(tile.size())) > 0;
            }
        }
    }
    TIFFClose(tiff);
    return isWritten ? path : std::string();
}

/// An image of forty channels, and what it stands on.
struct Source {
    std::vector<std::unique_ptr<Image>> kept;
    std::unique_ptr<ChannelBank> bank;
    std::unique_ptr<Image> image;
};

std::unique_ptr<Source> openFile(bool separate) {
    static std::string const paths[] = {writeTiles(false), writeTiles(true)};
    auto source = std::make_unique<Source>();
    source->image = std::make_unique<TiffImage>(paths[separate ? 1 : 0]);
    return source;
}

std::unique_ptr<Source> makeBank() {
    auto source = std::make_unique<Source>();
    for (std::size_t c = 0; c < numChannels; ++c) {
        source->kept.push_back(std::make_unique<BufferImage<unsigned char>>(
            planes().data() + c * planeSize, Vector(edge, edge, 1), 1,
            ValueRange<double>{0.0, 255.0}, Vector(250, 250, 0)));
    }
    source->bank = std::make_unique<ChannelBank>(source->kept.front().get());
    for (std::size_t c = 0; c < numChannels; ++c) {
        source->bank->addChannel(source->kept[c].get(), std::to_string(c), false);
    }
    source->image = std::make_unique<BankImage>(*source->bank);
    return source;
}

/// Reads windows of one channel or of all, as bytes or doubles, into a buffer of its own.
template <typename T>
class Reader {
public:
    Reader(Image& image, bool all) : image_(image), one_(&image, {chosen}, false), all_(all) {}

    [[nodiscard]] std::size_t getCount() const { return (all_ ? numChannels : 1) * windowSize; }

    void read(T* dst, Window const& at) {
        Box const region = Box(Vector(window, window, 1)).translated({at.x, at.y, 0});
        Image& image = all_ ? image_ : one_;
        if constexpr (std::is_same_v<T, double>) {
            image.openRegion(dst, 0, region);
        } else {
            readSamples(image, dst, SampleType::U8, 0, region, {});
        }
    }

    [[nodiscard]] bool isRight(T const* dst, Window const& at) const {
        for (long long c = all_ ? 0 : chosen; c <= (all_ ? numChannels - 1 : chosen); ++c) {
            for (long long y = at.y; y < at.y + window; ++y, dst += window) {
                if (!std::equal(dst, dst + window,
                                planes().begin() + (c * edge + y) * edge + at.x)) {
                    return false;
                }
            }
        }
        return true;
    }

private:
    Image& image_;
    ChannelFilter one_;
    bool all_;
};

using MakeSource = std::function<std::unique_ptr<Source>()>;

/// Reads some windows of one channel and of all; whether they are right. The image is hot then.
template <typename T>
bool warmUp(Reader<T>& one, Reader<T>& all, std::vector<Window> const& windows) {
    std::vector<T> dst(all.getCount());
    for (auto* const reader : {&one, &all}) {
        for (auto const& at : windows) {
            reader->read(dst.data(), at);
            if (!reader->isRight(dst.data(), at)) return false;
        }
    }
    return true;
}

template <typename T>
void readOne(benchmark::State& state, MakeSource const& make) {
    auto const source = make();
    Reader<T> one(*source->image, false), all(*source->image, true);
    auto const windows = makeWindows(edge, window, 8);
    if (!warmUp(one, all, windows)) return state.SkipWithError("a window is not that of its plane");
    std::vector<T> dst(one.getCount()), dstOfAll(all.getCount());
    std::size_t next = 0, nextOfAll = 0;
    auto const readAll = [&] { all.read(dstOfAll.data(), windows[nextOfAll++ % windows.size()]); };
    measure(state, share, windowSize, readAll,
            [&] { one.read(dst.data(), windows[next++ % windows.size()]); });
}

/// The peak of reading one window, with its result.
template <typename T>
double peakOf(Reader<T>& reader, Window const& at) {
    HeapMeter const meter;
    std::unique_ptr<T[]> const dst(new T[reader.getCount()]);
    reader.read(dst.get(), at);
    return meter.getPeak();
}

void reportMemory(benchmark::State& state, double goal, double bytes, double yardstick) {
    for (auto _ : state) state.SetIterationTime(1e-9);
    state.counters["x_memcpy"] = bytes / yardstick;
    state.counters["goal"] = goal;
    state.counters["MB"] = bytes / 1e6;
}

/// What reading one channel takes, over all of them or over its result alone.
template <typename T>
void measureMemory(benchmark::State& state, MakeSource const& make, bool overResult) {
    auto const source = make();
    Reader<T> one(*source->image, false), all(*source->image, true);
    auto const windows = makeWindows(edge, window, 8);
    if (!warmUp(one, all, windows)) return state.SkipWithError("a window is not that of its plane");
    double const taken = peakOf(one, windows[0]);
    if (overResult) {
        reportMemory(state, 1.05, taken, static_cast<double>(one.getCount() * sizeof(T)));
    } else {
        reportMemory(state, share, taken, peakOf(all, windows[0]));
    }
}

/// The same for images of which nothing was read before: what they keep counts too.
void measureFirstMemory(benchmark::State& state, MakeSource const& make) {
    double peaks[2];
    Window const at{100, 100};
    for (bool const isAll : {false, true}) {
        auto const source = make();
        Reader<unsigned char> reader(*source->image, isAll);
        peaks[isAll ? 1 : 0] = peakOf(reader, at);
        std::vector<unsigned char> dst(reader.getCount());
        reader.read(dst.data(), at);
        if (!reader.isRight(dst.data(), at)) return state.SkipWithError("a window is wrong");
    }
    reportMemory(state, share, peaks[0], peaks[1]);
}

}  // namespace

void addChannelBenchmarks() {
    struct {
        char const* name;
        MakeSource make;
        bool isInterleaved;
    } const sources[] = {{"planes", [] { return openFile(true); }, false},
                         {"interleaved", [] { return openFile(false); }, true},
                         {"bank", makeBank, false}};
    for (auto const& source : sources) {
        std::string const start = std::string("channels/") + source.name;
        auto const& make = source.make;
        bool const isInterleaved = source.isInterleaved;
        add(start + "/u8", [=](auto& state) { readOne<unsigned char>(state, make); });
        add(start + "/u8/memory",
            [=](auto& state) { measureMemory<unsigned char>(state, make, isInterleaved); });
        add(start + "/f64", [=](auto& state) { readOne<double>(state, make); });
        add(start + "/f64/memory",
            [=](auto& state) { measureMemory<double>(state, make, isInterleaved); });
    }
    add("channels/planes/first/memory",
        [make = sources[0].make](auto& state) { measureFirstMemory(state, make); });
}

}  // namespace Quivo::Benchmarks
