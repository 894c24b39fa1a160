// Random windows out of OpenImageIO's image cache, as interleaved floats.

#include "Pictures.h"

#include <OpenImageIO/imagecache.h>
#include <OpenImageIO/imageio.h>

#include <filesystem>

namespace Quivo::Benchmarks {

namespace {

constexpr int window = 512;

std::string makeTiles(int edge) {
    auto const path =
        (std::filesystem::temp_directory_path() / ("quivo-tiles-" + std::to_string(edge) + ".tif"))
            .string();
    OIIO::ImageSpec layout(edge, edge, 3, OIIO::TypeDesc::UINT8);
    layout.tile_width = layout.tile_height = 256;
    layout.attribute("compression", "none");
    auto const noise = makeNoise<unsigned char>(std::size_t{3} * edge * edge);
    auto const out = OIIO::ImageOutput::create("tiff");
    bool const isWritten = out && out->open(path, layout) &&
                           out->write_image(OIIO::TypeDesc::UINT8, noise.data()) && out->close();
    return isWritten ? path : std::string();
}

void readHits(benchmark::State& state, int edge) {
    std::string const path = makeTiles(edge);
    auto* const cache = OIIO::ImageCache::create(false);
    cache->attribute("max_memory_MB", 1024.0F);
    std::vector<float> dst(std::size_t{3} * window * window);
    auto const windows = makeWindows(edge, window, 64);
    std::size_t next = 0;
    bool isRead = !path.empty();
    OIIO::ustring const name(path);
    auto const read = [&] {
        auto const at = windows[next++ % windows.size()];
        isRead = isRead && cache->get_pixels(name, 0, 0, at.x, at.x + window, at.y, at.y + window,
                                             0, 1, OIIO::TypeDesc::FLOAT, dst.data());
    };
    for (std::size_t i = 0; i < windows.size(); ++i) read();
    if (isRead) {
        measure(state, 0, window * window, CopyYardstick(8.0 * 3 * window * window), read);
    } else {
        state.SkipWithError("OpenImageIO cannot read its tiles");
    }
    OIIO::ImageCache::destroy(cache);
    std::filesystem::remove(path);
}

#ifdef QUIVO_BENCHMARK_FILES

void readDecoded(benchmark::State& state, int edge) {
    OIIO::ustring const name(fileOf(edge, Packing::Deflate));
    auto const& picture = pictureOf(edge);
    auto* const cache = OIIO::ImageCache::create(false);
    cache->attribute("max_memory_MB", 1024.0F);
    // Bytes stay bytes in the cache.
    cache->attribute("forcefloat", 0);
    std::vector<unsigned char> dst(std::size_t{3} * window * window);
    auto const windows = makeNativeWindows(edge);
    auto const read = [&](Window const& at) {
        return cache->get_pixels(name, 0, 0, at.x, at.x + window, at.y, at.y + window, 0, 1,
                                 OIIO::TypeDesc::UINT8, dst.data());
    };
    bool isRead = true;
    for (auto const& at : windows) {
        isRead =
            isRead && read(at) && picture.isWindow(dst.data(), at, window, Picture::Order::Pixels);
    }
    std::size_t next = 0, nextCopy = 0;
    if (isRead) {
        measure(
            state, 0, window * window,
            [&] { picture.copyWindow(dst.data(), windows[nextCopy++ % windows.size()], window); },
            [&] { read(windows[next++ % windows.size()]); });
    } else {
        state.SkipWithError("OpenImageIO cannot read the file");
    }
    OIIO::ImageCache::destroy(cache);
}

#endif

}  // namespace

void addOpenImageIoBenchmarks() {
    for (int const edge : {2048, 1024}) {
        add("cache/hits/" + std::to_string(edge) + "/OpenImageIO",
            [=](auto& state) { readHits(state, edge); });
    }
#ifdef QUIVO_BENCHMARK_FILES
    for (int const edge : {2048, 8192}) {
        add("native/hits/" + std::to_string(edge) + "/OpenImageIO",
            [=](auto& state) { readDecoded(state, edge); });
    }
#endif
}

}  // namespace Quivo::Benchmarks
