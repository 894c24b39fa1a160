#include "kernels/Scale.h"

#include <cmath>

namespace Quivo::detail {

namespace {

QUIVO_KERNEL_BODY scaleValuesBody(double* values, long long count, double scale, double offset) {
    for (long long i = 0; i < count; ++i) values[i] = values[i] * scale + offset;
}

QUIVO_KERNEL_BODY scaleAndRoundValuesBody(double* values, long long count, double scale,
                                          double offset) {
    for (long long i = 0; i < count; ++i) {
        values[i] = std::floor(values[i] * scale + offset + 0.5);
    }
}

}  // namespace

QUIVO_DEFINE_VARIANTS(scaleValues, (double* values, long long count, double scale, double offset),
                      (values, count, scale, offset))
QUIVO_DEFINE_VARIANTS(scaleAndRoundValues,
                      (double* values, long long count, double scale, double offset),
                      (values, count, scale, offset))

}  // namespace Quivo::detail
