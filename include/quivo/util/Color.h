#pragma once

/// \file
/// One colour between RGB and HSV, in double precision. Red, green and blue are in any common unit;
/// hue is in degrees (0 red, 120 green, 240 blue), saturation in [0, 1], value in the unit of RGB.
/// Nothing is scaled or clamped. The functions keep no state: any thread.

#include <quivo/core/Export.h>

namespace Quivo {

/// From RGB: hue in [0, 360], 360 only where rounding makes it of a red with hardly any blue; hue
/// and saturation of greys are 0. Components are not negative; others give no meaningful colour.
QUIVO_API void convertRGBToHSV(double r, double g, double b, double& h, double& s, double& v);

/// To RGB. Hue 360 counts as 0. With saturation 0 all three components are `v` whatever the hue;
/// with any other, a hue outside [0, 360] (or NaN) leaves `r`, `g` and `b` as they were.
QUIVO_API void convertHSVToRGB(double h, double s, double v, double& r, double& g, double& b);

}  // namespace Quivo
