#include "kernels/Scale.h"

#include <cmath>

namespace Quivo::detail {

void scaleValues(double* values, long long count, double scale, double offset) noexcept {
    for (long long i = 0; i < count; ++i) values[i] = values[i] * scale + offset;
}

void scaleAndRoundValues(double* values, long long count, double scale, double offset) noexcept {
    for (long long i = 0; i < count; ++i) {
        values[i] = std::floor(values[i] * scale + offset + 0.5);
    }
}

}  // namespace Quivo::detail
