#pragma once

/// \file
/// From planar doubles to the bytes of a picture. No state; any thread.

#include <quivo/core/Export.h>

namespace Quivo {

/// Rounds half up and clamps to 0 ... 255; 0 for NaN.
[[nodiscard]] QUIVO_API unsigned char toByte(double value) noexcept;

/// Writes `numChannels` planes of `width * height` values each, one after the other at `planes`, as
/// bytes by the rule of `toByte` to their places in interleaved rows: the value of channel c at
/// (x, y) becomes `dst[(y * rowLength + x) * numChannels + c]`. A row of `dst` has `rowLength`
/// pixels, at least `width`, so that a picture can be filled piece by piece; nothing else is
/// written.
QUIVO_API void interleaveBytes(double const* planes, long long width, long long height,
                               long long numChannels, unsigned char* dst,
                               long long rowLength) noexcept;

}  // namespace Quivo
