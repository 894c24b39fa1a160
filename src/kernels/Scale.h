#pragma once

namespace Quivo::detail {

/// values[i] = values[i] * scale + offset, two roundings each.
void scaleValues(double* values, long long count, double scale, double offset) noexcept;

/// values[i] = floor(values[i] * scale + offset + 0.5).
void scaleAndRoundValues(double* values, long long count, double scale, double offset) noexcept;

}  // namespace Quivo::detail
