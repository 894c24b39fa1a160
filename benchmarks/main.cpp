#include "Yardstick.h"

int main(int argc, char** argv) {
    using namespace Quivo::Benchmarks;
    addPyramidBenchmarks();
    addDownsamplingBenchmarks();
    addReadBenchmarks();
    addCacheBenchmarks();
#ifdef QUIVO_BENCHMARK_FILES
    addTiffBenchmarks();
    addChannelBenchmarks();
#endif
#ifdef QUIVO_PEER_OPENCV
    addOpenCvBenchmarks();
#endif
#ifdef QUIVO_PEER_GDAL
    addGdalBenchmarks();
#endif
#ifdef QUIVO_PEER_OPENIMAGEIO
    addOpenImageIoBenchmarks();
#endif
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
