#pragma once

#include "options/OutputOptions.h"

#include <quivo/core/Vector.h>
#include <quivo/filters/HalvedLevels.h>

#include <string>

namespace Quivo {
class CancellationChecker;
}  // namespace Quivo

namespace Quivo::tool {

/// How many levels of an image of `extent` are worth being written.
[[nodiscard]] long long countLevels(OutputOptions const& options, Vector const& extent);

/// Writes the pyramid, with its levels as they are or each computed from the one before, and shows
/// the progress and the result as far as wanted. `warning` may be empty.
/// error: CancellationException, and std::runtime_error with what failed.
void writePyramid(OutputOptions const& options, HalvedLevels& pyramid, bool takesLevels,
                  std::string const& warning, CancellationChecker& checker);

}  // namespace Quivo::tool
