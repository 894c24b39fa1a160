#include "Yardstick.h"

int main(int argc, char** argv) {
    using namespace Quivo::Benchmarks;
    addPyramidBenchmarks();
    addDownsamplingBenchmarks();
    addReadBenchmarks();
    addCacheBenchmarks();
    addPeerBenchmarks();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
