#include <quivo/util/Color.h>

#include <algorithm>
#include <cmath>

namespace Quivo {

void convertRGBToHSV(double r, double g, double b, double& h, double& s, double& v) {
    // Ties go to blue before green before red.
    double max = b;
    double min = r > g ? g : r;
    double offset = 4;
    double numerator = r - g;
    if (r > g && r > b) {
        max = r;
        min = std::min(g, b);
        offset = 0;
        numerator = g - b;
    } else if (!(r > g) && g > b) {
        max = g;
        min = std::min(r, b);
        offset = 2;
        numerator = b - r;
    }
    double const delta = max - min;
    h = delta > 0 ? (offset + numerator / delta) * 60 : 0;
    if (h < 0) h += 360;
    s = max > 0 ? delta / max : 0;
    v = max;
}

void convertHSVToRGB(double h, double s, double v, double& r, double& g, double& b) {
    if (s == 0) {
        r = g = b = v;
        return;
    }
    double const x = h == 360 ? 0 : h / 60;
    double const sector = std::floor(x);
    double const f = x - sector;
    double const p = (1 - s) * v;
    double const q = (1 - f * s) * v;
    double const t = (1 - (1 - f) * s) * v;
    if (!(sector >= 0 && sector <= 5)) return;
    double const colours[6][3] = {{v, t, p}, {q, v, p}, {p, v, t}, {p, q, v}, {t, p, v}, {v, p, q}};
    auto const* const colour = colours[static_cast<int>(sector)];
    r = colour[0];
    g = colour[1];
    b = colour[2];
}

}  // namespace Quivo
