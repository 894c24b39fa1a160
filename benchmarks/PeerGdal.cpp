// Random windows out of GDAL's block cache: bytes in the cache, doubles out, as planes.

#include "Pictures.h"

#include <gdal_priv.h>

namespace Quivo::Benchmarks {

namespace {

constexpr int window = 512;

GDALDataset* makeTiles(int edge) {
    GDALAllRegister();
    GDALSetCacheMax64(GIntBig{1} << 30);
    char tiled[] = "TILED=YES";
    char* options[] = {tiled, nullptr};
    auto* const data = GetGDALDriverManager()->GetDriverByName("GTiff")->Create(
        "/vsimem/tiles.tif", edge, edge, 3, GDT_Byte, options);
    auto noise = makeNoise<unsigned char>(static_cast<std::size_t>(edge) * edge);
    for (int band = 1; band <= 3; ++band) {
        if (data->GetRasterBand(band)->RasterIO(GF_Write, 0, 0, edge, edge, noise.data(), edge,
                                                edge, GDT_Byte, 0, 0) != CE_None) {
            return nullptr;
        }
    }
    data->FlushCache(false);
    return data;
}

void readHits(benchmark::State& state, int edge) {
    auto* const data = makeTiles(edge);
    std::vector<double> dst(std::size_t{3} * window * window);
    auto const windows = makeWindows(edge, window, 64);
    std::size_t next = 0;
    bool isRead = data != nullptr;
    auto const read = [&] {
        auto const at = windows[next++ % windows.size()];
        isRead = isRead && data->RasterIO(GF_Read, at.x, at.y, window, window, dst.data(), window,
                                          window, GDT_Float64, 3, nullptr, 0, 0, 0) == CE_None;
    };
    for (std::size_t i = 0; i < windows.size(); ++i) read();
    if (!isRead) return state.SkipWithError("GDAL cannot read its tiles");
    measure(state, 0, window * window, CopyYardstick(16.0 * 3 * window * window), read);
    GDALClose(data);
}

#ifdef QUIVO_BENCHMARK_FILES

GDALDataset* open(std::string const& path) {
    GDALAllRegister();
    GDALSetCacheMax64(GIntBig{1} << 30);
    return static_cast<GDALDataset*>(GDALOpen(path.c_str(), GA_ReadOnly));
}

/// A window as bytes, as planes or pixel by pixel.
bool readWindow(GDALDataset& data, unsigned char* dst, Window const& at, int size,
                Picture::Order order) {
    bool const inPlanes = order == Picture::Order::Planes;
    GSpacing const pixel = inPlanes ? 1 : 3;
    return data.RasterIO(GF_Read, at.x, at.y, size, size, dst, size, size, GDT_Byte, 3, nullptr,
                         pixel, pixel * size, inPlanes ? GSpacing{size} * size : 1) == CE_None;
}

void readDecoded(benchmark::State& state, int edge, Picture::Order order) {
    auto* const data = open(fileOf(edge, Packing::Deflate));
    auto const& picture = pictureOf(edge);
    auto const windows = makeNativeWindows(edge);
    std::vector<unsigned char> dst(std::size_t{3} * window * window);
    bool isRead = data != nullptr;
    for (auto const& at : windows) {
        isRead = isRead && readWindow(*data, dst.data(), at, window, order) &&
                 picture.isWindow(dst.data(), at, window, order);
    }
    if (!isRead) return state.SkipWithError("GDAL cannot read the file");
    std::size_t next = 0, nextCopy = 0;
    measure(
        state, 0, window * window,
        [&] { picture.copyWindow(dst.data(), windows[nextCopy++ % windows.size()], window); },
        [&] { readWindow(*data, dst.data(), windows[next++ % windows.size()], window, order); });
    GDALClose(data);
}

#endif

}  // namespace

#ifdef QUIVO_BENCHMARK_FILES

std::function<void()> makeColdGdal(Packing packing) {
    auto const& path = fileOf(coldEdge, packing);
    auto const order = Picture::Order::Pixels;
    std::vector<unsigned char> dst(std::size_t{3} * coldWindow * coldWindow);
    auto* const checked = open(path);
    for (auto const& at : makeColdWindows()) {
        if (!checked || !readWindow(*checked, dst.data(), at, coldWindow, order) ||
            !pictureOf(coldEdge).isWindow(dst.data(), at, coldWindow, order,
                                          toleranceOf(packing))) {
            return {};
        }
    }
    GDALClose(checked);
    return [&path, dst, windows = makeColdWindows()]() mutable {
        auto* const data = open(path);
        for (auto const& at : windows) readWindow(*data, dst.data(), at, coldWindow, order);
        GDALClose(data);
    };
}

#endif

void addGdalBenchmarks() {
    for (int const edge : {2048, 1024}) {
        add("cache/hits/" + std::to_string(edge) + "/GDAL",
            [=](auto& state) { readHits(state, edge); });
    }
#ifdef QUIVO_BENCHMARK_FILES
    for (int const edge : {2048, 8192}) {
        std::string const name = "native/hits/" + std::to_string(edge);
        add(name + "/GDAL bands",
            [=](auto& state) { readDecoded(state, edge, Picture::Order::Planes); });
        add(name + "/GDAL pixels",
            [=](auto& state) { readDecoded(state, edge, Picture::Order::Pixels); });
    }
#endif
}

}  // namespace Quivo::Benchmarks
