#pragma once

#include "options/OutputOptions.h"
#include "terminal/Status.h"

#include <quivo/samples/SampleType.h>

#include <optional>
#include <string>
#include <vector>

namespace Quivo {
class CancellationChecker;
class Image;
}  // namespace Quivo

namespace Quivo::tool {

class Input;
class Selection;

/// A pyramid to be written. Plain value.
struct Pyramid {
    std::string output;
    Image* image = nullptr;            ///< its level 0, and perhaps more
    bool takesLevels = false;          ///< they are good as they are; else each from the one before
    std::optional<SampleType> type;    ///< nothing: what suits the value range
    std::vector<Input const*> inputs;  ///< where it comes from
    std::vector<std::string> warnings;  ///< printed when the work begins
};

/// Whether the levels that a pyramid over such an image needs are all stored.
[[nodiscard]] bool areLevelsStored(OutputOptions const& options, Selection const& selection);

/// Writes it and shows the progress and the result as far as wanted.
/// error: CancellationException, and std::runtime_error with what failed.
[[nodiscard]] Status writePyramid(OutputOptions const& options, Pyramid const& pyramid,
                                  CancellationChecker& checker);

}  // namespace Quivo::tool
