#include <quivo/display/ColourConversion.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace Quivo {

namespace {

using Triple = std::array<double, 3>;
using Matrix = std::array<Triple, 3>;

// From X, Y, Z to the answers of three kinds of cones, and back: the Bradford matrix of ISO
// 15076-1, annex E, and its inverse.
constexpr Matrix toCones{
    {{0.8951, 0.2664, -0.1614}, {-0.7502, 1.7135, 0.0367}, {0.0389, -0.0685, 1.0296}}};
constexpr Matrix fromCones{{{0.9869929, -0.1470543, 0.1599627},
                            {0.4323053, 0.5183603, 0.0492912},
                            {-0.0085287, 0.0400428, 0.9684867}}};
// From X, Y, Z under D65 to linear light of the screen: IEC 61966-2-1, amendment 1.
constexpr Matrix toScreen{{{3.2406255, -1.5372080, -0.4986286},
                           {-0.9689307, 1.8757561, 0.0415175},
                           {0.0557101, -0.2040211, 1.0569959}}};

constexpr Triple operator*(Matrix const& m, Triple const& v) noexcept {
    Triple result{};
    for (std::size_t i = 0; i < 3; ++i)
        result[i] = m[i][0] * v[0] + m[i][1] * v[1] + m[i][2] * v[2];
    return result;
}

/// In 0 ... 1; 0 for NaN.
double clampToUnit(double value) noexcept { return value > 0.0 ? std::min(value, 1.0) : 0.0; }

/// The part of full light, by CIE 15, 8.2.1 the other way round.
double getLight(double f) noexcept {
    constexpr double knee = 6.0 / 29.0;
    return f > knee ? f * f * f : 3.0 * knee * knee * (f - 4.0 / 29.0);
}

/// The curve of the screen: IEC 61966-2-1, 5.2.
double encode(double linear) noexcept {
    double const light = clampToUnit(linear);
    return light <= 0.0031308 ? 12.92 * light : 1.055 * std::pow(light, 1.0 / 2.4) - 0.055;
}

}  // namespace

Colour convertCmykToRgb(double cyan, double magenta, double yellow, double black) noexcept {
    double const light = 1.0 - clampToUnit(black);
    return {(1.0 - clampToUnit(cyan)) * light, (1.0 - clampToUnit(magenta)) * light,
            (1.0 - clampToUnit(yellow)) * light};
}

Colour convertXyzToRgb(double x, double y, double z, WhitePoint const& white) noexcept {
    Triple cones = toCones * Triple{x, y, z};
    Triple const from = toCones * Triple{white.x, white.y, white.z};
    Triple const to = toCones * Triple{whiteD65.x, whiteD65.y, whiteD65.z};
    for (std::size_t i = 0; i < 3; ++i) cones[i] *= to[i] / from[i];
    Triple const linear = toScreen * (fromCones * cones);
    return {encode(linear[0]), encode(linear[1]), encode(linear[2])};
}

Colour convertLabToRgb(double lightness, double a, double b, WhitePoint const& white) noexcept {
    double const fy = (lightness + 16.0) / 116.0;
    return convertXyzToRgb(getLight(fy + a / 500.0) * white.x, getLight(fy) * white.y,
                           getLight(fy - b / 200.0) * white.z, white);
}

}  // namespace Quivo
