#pragma once

/// \file
/// The names that go without saying. No state; any thread.

#include <quivo/core/Export.h>

#include <string>

namespace Quivo {

/// What channel `index` of `count` is called where nobody says otherwise: "Gray" for one channel;
/// "Red", "Green", "Blue" for three, and "Alpha" as the last of four; else empty, as for an index
/// that no channel has.
[[nodiscard]] QUIVO_API std::string getUsualChannelName(long long index, long long count);

}  // namespace Quivo
