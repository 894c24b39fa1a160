#include <quivo/synthetic/MandelbrotImage.h>

#include <quivo/core/Levels.h>
#include <quivo/image/ChannelNames.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>

namespace Quivo {

namespace {

// ---- from a point to its escape -----------------------------------------------------------------

constexpr int maxIterations = 256;

/// A point has escaped when |z|^2 exceeds this. Far more than the 4 that would do: so far out one
/// step squares |z|, which makes the way between two iteration counts smooth.
constexpr double escapeLimit = 65536.0;
constexpr double escapeLimitLog2 = 16.0;

/// Points are iterated several at a time, in plain loops that the compiler turns into vector code.
constexpr int numLanes = 8;

/// Neighbouring points of one row, and how each of them left.
struct Lanes {
    double re[numLanes];
    double im;
    double numSteps[numLanes];  ///< the iterations for which the point stayed within the limit
    double lastNorm[numLanes];  ///< |z|^2 after the last of them
};

/// Iterates z -> z^2 + c from z = c for all lanes, until each has escaped or the iterations end.
void iterate(Lanes& points) {
    constexpr int stepsPerCheck = 8;
    Lanes p = points;  // a local copy: nothing else can refer to it, so it may live in registers
    double x[numLanes];
    double y[numLanes];
    for (int i = 0; i < numLanes; ++i) {
        x[i] = p.re[i];
        y[i] = p.im;
        p.numSteps[i] = 0.0;
        p.lastNorm[i] = escapeLimit;
    }
    bool anyLeft = true;
    for (int step = 0; step < maxIterations && anyLeft; step += stepsPerCheck) {
        for (int k = 0; k < stepsPerCheck; ++k) {
            for (int i = 0; i < numLanes; ++i) {
                double const xx = x[i] * x[i];
                double const yy = y[i] * y[i];
                double const norm = xx + yy;
                // An escaped point runs off to infinity and never comes back below the limit.
                p.numSteps[i] += norm <= escapeLimit ? 1.0 : 0.0;
                p.lastNorm[i] = norm <= escapeLimit ? norm : p.lastNorm[i];
                y[i] = (x[i] + x[i]) * y[i] + p.im;
                x[i] = xx - yy + p.re[i];
            }
        }
        anyLeft = false;
        for (int i = 0; i < numLanes; ++i) anyLeft |= x[i] * x[i] + y[i] * y[i] <= escapeLimit;
    }
    points = p;
}

/// Whether a point lies in the main cardioid or in the disc to its left, which are most of the set:
/// such points never escape, and iterating them to the end would cost the most.
bool isDeepInside(double x, double y) {
    double const yy = y * y;
    double const a = x - 0.25;
    double const q = a * a + yy;
    bool const inCardioid = q * (q + a) <= 0.25 * yy;
    bool const inDisc = (x + 1.0) * (x + 1.0) + yy <= 0.0625;
    return inCardioid || inDisc;
}

// ---- from an escape to a colour -----------------------------------------------------------------

struct Colour {
    double red;
    double green;
    double blue;
};

constexpr int shadesPerStep = 16;
constexpr int numShades = maxIterations * shadesPerStep;

/// The colours of the escape times in steps of 1 / shadesPerStep, whole numbers; the last one is
/// that of the set itself.
std::array<Colour, numShades + 1> makePalette() {
    struct Stop {
        double time;
        Colour colour;
    };
    static constexpr Stop stops[] = {
        {0, {8, 10, 30}},      {3, {14, 24, 68}},     {6, {28, 66, 132}},   {9, {70, 140, 186}},
        {13, {178, 216, 214}}, {18, {252, 242, 208}}, {26, {248, 190, 92}}, {40, {220, 112, 44}},
        {70, {148, 42, 48}},   {120, {84, 20, 62}},   {256, {40, 10, 50}},
    };
    std::array<Colour, numShades + 1> palette{};
    Stop const* from = stops;
    for (std::size_t i = 0; i < numShades; ++i) {
        double const time = static_cast<double>(i) / shadesPerStep;
        while (time >= from[1].time) ++from;
        double const share = (time - from[0].time) / (from[1].time - from[0].time);
        auto const blend = [share](double a, double b) {
            return static_cast<double>(static_cast<int>(a + share * (b - a) + 0.5));
        };
        Colour const& a = from[0].colour;
        Colour const& b = from[1].colour;
        palette[i] = {blend(a.red, b.red), blend(a.green, b.green), blend(a.blue, b.blue)};
    }
    return palette;
}

/// log2 of a positive number, exact at powers of two and straight lines between them: the exponent
/// and the mantissa of a double, read as one number.
double roughLog2(double value) {
    return static_cast<double>(std::bit_cast<std::int64_t>(value)) * 0x1p-52 - 1023.0;
}

Colour const& getColour(double numSteps, double lastNorm) {
    static std::array<Colour, numShades + 1> const palette = makePalette();
    if (numSteps >= maxIterations) return palette.back();
    // A point that came close to the limit in its last step was about to escape a whole step
    // earlier than one that stayed just close enough to need it.
    double const time = numSteps + 2.0 - roughLog2(lastNorm) * (2.0 / escapeLimitLog2);
    int const shade = static_cast<int>(time * shadesPerStep);
    return palette[static_cast<std::size_t>(std::clamp(shade, 0, numShades - 1))];
}

// ---- from a row of pixels to its colours --------------------------------------------------------

/// The `count` pixels from `first` on of one row; pixel x stands for the point in its middle,
/// left + (x + 0.5) * pitch + im * i.
struct Row {
    double im;
    double left;
    double pitch;
    long long first;
    long long count;
};

/// Writes the colours of a row; `channelStride` is the way from one channel to the next.
void paintRow(double* dst, long long channelStride, Row const& row) {
    Lanes points{};
    points.im = row.im;
    for (long long x = 0; x < row.count; x += numLanes) {
        bool allInside = true;
        for (int i = 0; i < numLanes; ++i) {
            points.re[i] = row.left + (static_cast<double>(row.first + x + i) + 0.5) * row.pitch;
            allInside &= isDeepInside(points.re[i], points.im);
        }
        if (allInside) {
            std::fill_n(points.numSteps, numLanes, maxIterations);
        } else {
            iterate(points);
        }
        long long const used = std::min<long long>(numLanes, row.count - x);
        for (long long i = 0; i < used; ++i) {
            Colour const& colour = getColour(points.numSteps[i], points.lastNorm[i]);
            dst[x + i] = colour.red;
            dst[x + i + channelStride] = colour.green;
            dst[x + i + 2 * channelStride] = colour.blue;
        }
    }
}

}  // namespace

// ---- the image ----------------------------------------------------------------------------------

MandelbrotImage::MandelbrotImage(long long width, long long height) : extent_(width, height, 1) {
    check(width >= 1 && width <= maxSide && height >= 1 && height <= maxSide,
          "a side of the Mandelbrot image must be in 1 ... " + std::to_string(maxSide));
    auto const w = static_cast<double>(width);
    auto const h = static_cast<double>(height);
    pitch_ = std::max(2.9 / w, 2.6 / h);  // the whole set with some air around it
    left_ = -0.72 - 0.5 * w * pitch_;
    upper_ = -0.5 * h * pitch_;
}

std::string MandelbrotImage::getURL() const {
    return "mandelbrot:" + std::to_string(extent_.x) + "x" + std::to_string(extent_.y);
}

Vector MandelbrotImage::getExtent(long long level) const {
    if (level < 0 || level >= getNumLevels()) return {};
    return convertToLevel(extent_, 0, level);
}

long long MandelbrotImage::getNumChannels() const { return 3; }

long long MandelbrotImage::getNumLevels() const { return computeNumPyramidLevels(extent_); }

ValueRange<double> MandelbrotImage::getValueRange() const { return {0.0, 255.0}; }

Vector MandelbrotImage::getVoxelSize(long long) const { return {}; }

Vector MandelbrotImage::getTileExtent() const { return {256, 256, 1}; }

void MandelbrotImage::openTileRegionToPosition(double* dst, long long level,
                                               Vector const& tilePosition, Box const& tileRegion,
                                               Vector const& dstExtent, Vector const& dstPosition) {
    Box const region = tileRegion.translated(tilePosition);
    Box const inside = region.intersected(Box(getExtent(level)));
    Vector const strides = dstExtent.getStrides();
    long long const channelStride = dstExtent.prod();
    Vector const size = region.getExtent();
    double const pitch = pitch_ * static_cast<double>(pow2(level));

    for (long long z = 0; z < size.z; ++z) {
        for (long long y = 0; y < size.y; ++y) {
            double* const out = dst + strides.dot(dstPosition + Vector(0, y, z));
            for (long long c = 0; c < 3; ++c) std::fill_n(out + c * channelStride, size.x, 0.0);
            Vector const start(inside.min.x, region.min.y + y, region.min.z + z);
            if (!inside.contains(start)) continue;
            double const im = upper_ + (static_cast<double>(start.y) + 0.5) * pitch;
            paintRow(out + (start.x - region.min.x), channelStride,
                     {im, left_, pitch, start.x, inside.getExtent().x});
        }
    }
}

std::string MandelbrotImage::getSliceName(long long) { return {}; }

std::string MandelbrotImage::getChannelName(long long index) {
    check(index >= 0 && index < 3, "Invalid channel index. Cannot determine its name.");
    return getUsualChannelName(index, 3);
}

std::string MandelbrotImage::getId() const { return {}; }

std::string MandelbrotImage::getGroupId() const { return {}; }

ContentHash MandelbrotImage::getHash() { return 0; }

Image* MandelbrotImage::getViewableRepresentation() { return displayView_.get(*this); }

}  // namespace Quivo
