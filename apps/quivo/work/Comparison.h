#pragma once

#include "work/Difference.h"

#include <quivo/samples/SampleType.h>

#include <string>
#include <vector>

namespace Quivo {
class ProgressMonitor;
}  // namespace Quivo

namespace Quivo::tool {

class Input;

/// What level 0 of two inputs has in common and has not. Plain value.
struct Comparison {
    /// Why the values cannot be compared: other extents, another number of channels; empty: they
    /// were.
    std::vector<std::string> obstacles;
    SampleType type = SampleType::U8;    ///< in which they were compared
    std::vector<Difference> channels{};  ///< one each

    [[nodiscard]] bool areEqual() const noexcept;
};

/// Compares all values of level 0, in bounded memory.
/// error: std::bad_alloc, and what the reads throw.
[[nodiscard]] Comparison compareValues(Input const& a, Input const& b, ProgressMonitor& progress);

/// What the inputs say differently of their numbers: types, names, sizes, places ...; a line each.
[[nodiscard]] std::vector<std::string> compareMetadata(Input const& a, Input const& b);

}  // namespace Quivo::tool
