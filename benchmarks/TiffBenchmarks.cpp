// Windows out of TIFF pyramids, as bytes: decoded before, or not; and opening one of many tiles.

#include <quivo/core/Box.h>
#include <quivo/image/BufferImage.h>
#include <quivo/samples/ReadSamples.h>
#include <quivo/tiff/TiffImage.h>
#include <quivo/tiff/TiffWriter.h>
#if __has_include(<quivo/tiles/MemoryBudget.h>)
#include <quivo/tiles/MemoryBudget.h>
#define QUIVO_HAS_BUDGET 1
#endif

#include "Pictures.h"

#include <tiffio.h>

#include <memory>
#include <thread>

namespace Quivo::Benchmarks {

namespace {

constexpr int window = nativeWindow;

/// An image that keeps what it decodes, up to half a gigabyte where that can be asked for.
std::unique_ptr<TiffImage> openKeeping(std::string const& path) {
#ifdef QUIVO_HAS_BUDGET
    return std::make_unique<TiffImage>(
        path, OpenOptions{std::make_shared<MemoryBudget>(std::size_t{512} << 20)});
#else
    return std::make_unique<TiffImage>(path);
#endif
}

void readWindow(Image& image, unsigned char* dst, Window const& at, int size) {
    Box const region = Box(Vector(size, size, 1)).translated({at.x, at.y, 0});
    readSamples(image, dst, SampleType::U8, 0, region, {});
}

/// The picture's file, opened, with its windows read once.
struct Decoded {
    explicit Decoded(int edge)
        : picture(pictureOf(edge)),
          image(openKeeping(fileOf(edge, Packing::Deflate))),
          windows(makeNativeWindows(edge)) {
        std::vector<unsigned char> dst(std::size_t{3} * window * window);
        for (int pass = 0; pass < 2; ++pass) {
            for (auto const& at : windows) {
                readWindow(*image, dst.data(), at, window);
                isRight = isRight && (pass == 0 || picture.isWindow(dst.data(), at, window,
                                                                    Picture::Order::Planes));
            }
        }
    }

    Picture const& picture;
    std::unique_ptr<TiffImage> image;
    std::vector<Window> windows;
    bool isRight = true;
};

void readHits(benchmark::State& state, int edge) {
    Decoded file(edge);
    if (!file.isRight) return state.SkipWithError("a window is not the picture's");
    std::vector<unsigned char> dst(std::size_t{3} * window * window);
    std::size_t next = 0, nextCopy = 0;
    auto const& windows = file.windows;
    measure(
        state, 1.3, window * window,
        [&] { file.picture.copyWindow(dst.data(), windows[nextCopy++ % windows.size()], window); },
        [&] { readWindow(*file.image, dst.data(), windows[next++ % windows.size()], window); });
}

void readHitsWithTwoThreads(benchmark::State& state, int edge) {
    Decoded file(edge);
    if (!file.isRight) return state.SkipWithError("a window is not the picture's");
    std::vector<unsigned char> buffers[2];
    for (auto& buffer : buffers) buffer.resize(std::size_t{3} * window * window);
    auto const readAll = [&](std::size_t first, std::size_t step) {
        for (std::size_t i = first; i < file.windows.size(); i += step) {
            readWindow(*file.image, buffers[first].data(), file.windows[i], window);
        }
    };
    measure(
        state, 1 / 1.8, static_cast<double>(file.windows.size()) * window * window,
        [&] { std::thread(readAll, 0, 1).join(); },
        [&] {
            std::thread even(readAll, 0, 2), odd(readAll, 1, 2);
            even.join();
            odd.join();
        });
}

/// All windows out of an image opened for them, beside GDAL in turn.
void readCold(benchmark::State& state, Packing packing) {
    auto const& path = fileOf(coldEdge, packing);
    auto const windows = makeColdWindows();
    std::vector<unsigned char> dst(std::size_t{3} * coldWindow * coldWindow);
    TiffImage checked(path);
    for (auto const& at : windows) {
        readWindow(checked, dst.data(), at, coldWindow);
        if (!pictureOf(coldEdge).isWindow(dst.data(), at, coldWindow, Picture::Order::Planes,
                                          toleranceOf(packing))) {
            return state.SkipWithError("a window is not the picture's");
        }
    }
    double const pixels = static_cast<double>(windows.size()) * coldWindow * coldWindow;
    auto const readAll = [&] {
        TiffImage image(path);
        for (auto const& at : windows) readWindow(image, dst.data(), at, coldWindow);
    };
#ifdef QUIVO_PEER_GDAL
    auto const peer = makeColdGdal(packing);
    if (!peer) return state.SkipWithError("GDAL cannot read the file");
    measure(state, 1.0, pixels, peer, readAll);
#else
    measure(state, 0, pixels, CopyYardstick(2 * 3 * pixels), readAll);
#endif
}

/// Reads every directory of a file with libtiff; how many tiles they list.
long long countTiles(std::string const& path) {
    TIFF* const tiff = TIFFOpen(path.c_str(), "r");
    if (!tiff) return 0;
    long long count = 0;
    do {
        count += TIFFNumberOfTiles(tiff);
        benchmark::DoNotOptimize(TIFFGetStrileOffset(tiff, 0));
    } while (TIFFReadDirectory(tiff));
    TIFFClose(tiff);
    return count;
}

void openManyTiles(benchmark::State& state) {
    // 320 x 240 tiles of the smallest size, and a third more in the levels.
    Vector const extent(5120, 3840, 1);
    auto const path = makePath("many-tiles.tif");
    TiffWriter writer;
    writer.setSrcImage(new BufferImage<unsigned char>(
                           makeNoise<unsigned char>(static_cast<std::size_t>(extent.prod())).data(),
                           extent, 1, {0.0, 255.0}, {250, 250, 0}),
                       true);
    writer.setUseSrcImagePyramid(false);
    writer.setTileExtent({16, 16, 1});
    writer.setCompression(TiffCompression::None);
    writer.setFilename(path);
    writer.writeImage(nullptr, nullptr);
    long long const numTiles = countTiles(path);
    TiffImage const checked(path);
    if (numTiles < 100000 || checked.getExtent(0) != extent || !checked.isLevelStored(3)) {
        return state.SkipWithError("the pyramid is not all there");
    }
    measure(
        state, 1.2, static_cast<double>(numTiles),
        [&] { benchmark::DoNotOptimize(countTiles(path)); },
        [&] { benchmark::DoNotOptimize(TiffImage(path).getNumLevels()); });
}

}  // namespace

void addTiffBenchmarks() {
    for (int const edge : {2048, 8192}) {
        std::string const suffix = std::to_string(edge);
        add("native/hits/" + suffix, [=](auto& state) { readHits(state, edge); });
#ifndef QUIVO_HAS_BUDGET
        if (edge > 2048) continue;  // two threads decode for minutes what cannot be kept
#endif
        add("native/threads/" + suffix, [=](auto& state) { readHitsWithTwoThreads(state, edge); });
    }
    add("cold/jpeg", [](auto& state) { readCold(state, Packing::Jpeg); });
    add("cold/deflate", [](auto& state) { readCold(state, Packing::Deflate); });
    add("open/tiles", openManyTiles);
}

}  // namespace Quivo::Benchmarks
