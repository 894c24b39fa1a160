#pragma once

#include "kernels/CpuVariants.h"

namespace Quivo::detail {

/// values[i] = values[i] * scale + offset, two roundings each.
QUIVO_DECLARE_VARIANTS(scaleValues, (double* values, long long count, double scale, double offset));

/// values[i] = floor(values[i] * scale + offset + 0.5).
QUIVO_DECLARE_VARIANTS(scaleAndRoundValues,
                       (double* values, long long count, double scale, double offset));

}  // namespace Quivo::detail
