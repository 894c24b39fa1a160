#pragma once

/// \file
/// How colours of inks and of the eye become such of the screen (sRGB, IEC 61966-2-1, as it is
/// stored in pictures) without a colour profile: good enough to look at, not to measure or to
/// print. The functions keep no state: any thread.

#include <quivo/core/Export.h>
#include <quivo/metadata/Metadata.h>

namespace Quivo {

/// The white that L*a*b* values are relative to, as tristimulus values with Y = 1. Plain value.
struct WhitePoint {
    double x = 0.0;  ///< X
    double y = 1.0;  ///< Y
    double z = 0.0;  ///< Z
};

/// Daylight of a viewing booth: the white of print, and of colour profiles (ISO 15076-1).
inline constexpr WhitePoint whiteD50{0.9642, 1.0, 0.8249};
/// Daylight of the screen (IEC 61966-2-1).
inline constexpr WhitePoint whiteD65{0.9505, 1.0, 1.0890};

/// Of every wavelength the same: the white of logarithmic luminances (LogLuv).
inline constexpr WhitePoint whiteE{1.0, 1.0, 1.0};

/// Four inks, each in 0 (none) ... 1 (full), what lies outside clamped: every ink takes its part of
/// one light away, and black of all three. So red = (1 - cyan) * (1 - black), and likewise green
/// and blue with magenta and yellow. Real inks are duller.
[[nodiscard]] QUIVO_API Colour convertCmykToRgb(double cyan, double magenta, double yellow,
                                                double black) noexcept;

/// CIE 1976 L*a*b*: `lightness` in 0 ... 100, `a` and `b` about -128 ... 127. The colour of the
/// screen that looks the same, clamped to what the screen has:
/// to X, Y, Z by CIE 15 (8.2.1, inverted): with f(y) = (L + 16) / 116, f(x) = f(y) + a / 500,
/// f(z) = f(y) - b / 200, each t = f^3 where f > 6/29, otherwise 3 (6/29)^2 (f - 4/29), times the
/// white; from there to the white of the screen by the Bradford matrix (ISO 15076-1, annex E); to
/// linear light and to the curve of the screen by IEC 61966-2-1. NaN gives black.
[[nodiscard]] QUIVO_API Colour convertLabToRgb(double lightness, double a, double b,
                                               WhitePoint const& white = whiteD50) noexcept;

/// CIE X, Y and Z, as the light of the screen with 1 as its white: likewise, from the white on.
/// What is brighter is clamped.
[[nodiscard]] QUIVO_API Colour convertXyzToRgb(double x, double y, double z,
                                               WhitePoint const& white = whiteE) noexcept;

}  // namespace Quivo
