// Random windows out of GDAL's block cache: bytes in the cache, doubles out, as planes.

#include "Yardstick.h"

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

}  // namespace

void addGdalBenchmarks() {
    for (int const edge : {2048, 1024}) {
        add("cache/hits/" + std::to_string(edge) + "/GDAL",
            [=](auto& state) { readHits(state, edge); });
    }
}

}  // namespace Quivo::Benchmarks
