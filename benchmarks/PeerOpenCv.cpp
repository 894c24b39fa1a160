// The same jobs by OpenCV, on one thread.

#include "Yardstick.h"

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

namespace Quivo::Benchmarks {

namespace {

void openCvPyramid(benchmark::State& state) {
    cv::Mat level0(8192, 8192, CV_8U);
    cv::randu(level0, 0, 256);
    std::vector<cv::Mat> levels{level0};
    for (int edge = 4096; edge > 0; edge /= 2) levels.emplace_back(edge, edge, CV_8U);
    double const values = 8192.0 * 8192.0;
    measure(state, 0, values, CopyYardstick(values * 5 / 3), [&] {
        for (std::size_t i = 0; i + 1 < levels.size(); ++i) {
            cv::resize(levels[i], levels[i + 1], levels[i + 1].size(), 0, 0, cv::INTER_AREA);
        }
    });
}

void openCvShrink(benchmark::State& state, int edge, double factor) {
    cv::Mat src(edge, edge, CV_64F);
    cv::randu(src, 0, 256);
    cv::Mat dst;
    double const values = static_cast<double>(edge) * edge;
    measure(state, 0, values, CopyYardstick(8 * values * (1 + factor * factor)), [&] {
        auto const dstEdge = static_cast<int>(edge * factor);
        cv::resize(src, dst, cv::Size(dstEdge, dstEdge), 0, 0, cv::INTER_AREA);
    });
}

void openCvRead(benchmark::State& state, int edge) {
    cv::Mat src(edge, edge, CV_8U);
    cv::randu(src, 0, 256);
    cv::Mat dst;
    double const values = static_cast<double>(edge) * edge;
    measure(state, 0, values, CopyYardstick(9 * values), [&] { src.convertTo(dst, CV_64F); });
}

}  // namespace

void addOpenCvBenchmarks() {
    cv::setNumThreads(1);
    add("pyramid/u8/8192/OpenCV", openCvPyramid);
    for (auto const* factor : {"0.5", "0.25", "0.125", "0.55", "0.7", "0.9", "0.3"}) {
        for (int const edge : {4096, 256}) {
            add(std::string("downsample/") + factor + "/" + std::to_string(edge) + "/OpenCV",
                [=](auto& state) { openCvShrink(state, edge, std::stod(factor)); });
        }
    }
    for (int const edge : {4096, 512, 256}) {
        add("read/u8/" + std::to_string(edge) + "/OpenCV",
            [=](auto& state) { openCvRead(state, edge); });
    }
}

}  // namespace Quivo::Benchmarks
