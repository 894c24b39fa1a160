#include "Pictures.h"

#include <quivo/image/BufferImage.h>
#include <quivo/tiff/TiffWriter.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <stdexcept>

namespace Quivo::Benchmarks {

namespace {

constexpr int numChannels = 3;

/// A folder of this process alone.
class Folder {
public:
    Folder() : path_((std::filesystem::temp_directory_path() / "quivo-bench-XXXXXX").string()) {
        if (!::mkdtemp(path_.data())) throw std::runtime_error(path_ + ": cannot be made");
    }
    Folder(Folder const&) = delete;
    Folder& operator=(Folder const&) = delete;
    ~Folder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }

    [[nodiscard]] std::string const& getPath() const noexcept { return path_; }

private:
    std::string path_;
};

void write(Picture const& picture, Packing packing, std::string const& path) {
    TiffWriter writer;
    Vector const extent(picture.getEdge(), picture.getEdge(), 1);
    writer.setSrcImage(new BufferImage<unsigned char>(picture.getData(), extent, numChannels,
                                                      {0.0, 255.0}, {250, 250, 0}),
                       true);
    writer.setUseSrcImagePyramid(false);
    writer.setTileExtent({256, 256, 1});
    writer.setFilename(path);
    bool const isJpeg = packing == Packing::Jpeg;
    writer.setCompression(isJpeg ? TiffCompression::Jpeg : TiffCompression::Deflate);
    writer.writeImage(nullptr, nullptr);
    if (writer.getOutcome() != TiffWriter::Outcome::Complete) {
        throw std::runtime_error(writer.getFailure());
    }
}

}  // namespace

Picture::Picture(int edge) : edge_(edge) {
    std::vector<double> waves;
    for (int i = 0; i < edge; ++i)
        waves.push_back(40 * std::sin(i / 31.0) + 20 * std::sin(i / 7.0));
    values_ = makeNoise<unsigned char>(std::size_t{numChannels} * static_cast<std::size_t>(edge) *
                                       static_cast<std::size_t>(edge));
    std::size_t i = 0;
    for (int c = 0; c < numChannels; ++c) {
        for (int y = 0; y < edge; ++y) {
            for (int x = 0; x < edge; ++x, ++i) {
                auto const& across = waves[static_cast<std::size_t>((x + 50 * c) % edge)];
                double const value = 120 + across + waves[static_cast<std::size_t>(y)];
                values_[i] = static_cast<unsigned char>(std::clamp(value, 0.0, 240.0) +
                                                        static_cast<double>(values_[i] % 8));
            }
        }
    }
}

void Picture::copyWindow(unsigned char* dst, Window const& at, int size) const {
    for (long long c = 0; c < numChannels; ++c) {
        for (long long y = at.y; y < at.y + size; ++y, dst += size) {
            std::copy_n(values_.data() + (c * edge_ + y) * edge_ + at.x, size, dst);
        }
    }
}

bool Picture::isWindow(unsigned char const* data, Window const& at, int size, Order order,
                       double tolerance) const {
    long long const numPixels = static_cast<long long>(size) * size;
    std::vector<unsigned char> expected(static_cast<std::size_t>(numChannels * numPixels));
    copyWindow(expected.data(), at, size);
    double difference = 0.0;
    for (long long c = 0; c < numChannels; ++c) {
        for (long long i = 0; i < numPixels; ++i) {
            auto const got =
                order == Order::Planes ? data[c * numPixels + i] : data[i * numChannels + c];
            difference += std::abs(got - expected[static_cast<std::size_t>(c * numPixels + i)]);
        }
    }
    return difference <= tolerance * static_cast<double>(numChannels * numPixels);
}

Picture const& pictureOf(int edge) {
    static std::map<int, Picture> pictures;
    return pictures.try_emplace(edge, edge).first->second;
}

std::string makePath(std::string const& name) {
    static Folder const folder;
    return folder.getPath() + "/" + name;
}

std::string const& fileOf(int edge, Packing packing) {
    static std::map<std::pair<int, Packing>, std::string> files;
    auto& path = files[{edge, packing}];
    if (path.empty()) {
        auto const made = makePath(std::to_string(edge) +
                                   (packing == Packing::Jpeg ? "-jpeg.tif" : "-deflate.tif"));
        write(pictureOf(edge), packing, made);
        path = made;
    }
    return path;
}

std::vector<Window> makeColdWindows() {
    constexpr int square = 4 * 256;
    constexpr int perRow = coldEdge / square;
    auto windows = makeWindows(square, coldWindow, perRow * perRow);
    for (int i = 0; i < perRow * perRow; ++i) {
        auto& at = windows[static_cast<std::size_t>(i)];
        // Not in reading order: 27 and 64 have no common factor.
        int const place = i * 27 % (perRow * perRow);
        at.x += place % perRow * square;
        at.y += place / perRow * square;
    }
    return windows;
}

}  // namespace Quivo::Benchmarks
