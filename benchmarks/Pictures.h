#pragma once

// The picture that lies in files, for every reader that is measured: it is the same on every run.

#include "Yardstick.h"

#include <functional>
#include <string>
#include <vector>

namespace Quivo::Benchmarks {

/// A square RGB image of slow waves and camera noise, as planes of bytes.
class Picture {
public:
    explicit Picture(int edge);

    [[nodiscard]] int getEdge() const noexcept { return edge_; }
    [[nodiscard]] unsigned char const* getData() const noexcept { return values_.data(); }

    /// Row by row, as planes: what any reader that keeps decoded tiles does at least.
    void copyWindow(unsigned char* dst, Window const& at, int size) const;

    /// Whether a window that somebody has read differs from the picture by `tolerance` at most, in
    /// the mean. It lies in `data` as planes, or pixel by pixel.
    enum class Order { Planes, Pixels };
    [[nodiscard]] bool isWindow(unsigned char const* data, Window const& at, int size, Order order,
                                double tolerance = 0.0) const;

private:
    int edge_;
    std::vector<unsigned char> values_;
};

/// The picture of that edge, made when it is first asked for.
Picture const& pictureOf(int edge);

enum class Packing { Deflate, Jpeg };

/// The picture as a pyramid of 256-tiles; the file is made when it is first asked for and removed
/// when the program ends.
std::string const& fileOf(int edge, Packing packing);

/// The path of a file of that name which is removed when the program ends.
std::string makePath(std::string const& name);

/// How far samples of the file are from the picture's in the mean, at most.
constexpr double toleranceOf(Packing packing) { return packing == Packing::Jpeg ? 5.0 : 0.0; }

/// What reading decoded tiles is: enough windows to need nearly all of them, so that a reader that
/// cannot keep the whole picture shows.
constexpr int nativeWindow = 512;
inline std::vector<Window> makeNativeWindows(int edge) {
    return makeWindows(edge, nativeWindow, edge > 2048 ? 256 : 64);
}

/// What reading cold is: one window in every square of four tiles by four, so that no tile is
/// needed twice.
constexpr int coldEdge = 8192;
constexpr int coldWindow = 256;
std::vector<Window> makeColdWindows();

/// The same by GDAL, where it is installed: opens the file and reads all cold windows. Empty when
/// it reads something else than the picture.
std::function<void()> makeColdGdal(Packing packing);

}  // namespace Quivo::Benchmarks
