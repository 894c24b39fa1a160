#pragma once

#include "work/Difference.h"

#include <string>

namespace Quivo {
class ProgressMonitor;
}  // namespace Quivo

namespace Quivo::tool {

class Input;

/// How a stored level looks beside the means of the next finer one. Plain value.
struct LevelCheck {
    Difference difference;
    long long numTelling = 0;  ///< values whose 2 x 2 are not all equal: only these tell a rule
    // Of both, for how alike they are.
    double sumA = 0.0, sumB = 0.0, sumAA = 0.0, sumBB = 0.0, sumAB = 0.0;
    long long numSums = 0;

    /// Whether the level was made by the rule of this library, as far as it is sound.
    [[nodiscard]] bool isOwnRule() const noexcept;
    /// Whether it shows something else altogether.
    [[nodiscard]] bool isOtherPicture() const noexcept;
};

/// Reads `level` (at least 1) of `stored`, and the finer one of `finer`, which is the same file
/// opened again, so that each notes its own damage.
/// error: what the reads throw.
[[nodiscard]] LevelCheck checkLevel(Input const& stored, Input const& finer, long long level,
                                    ProgressMonitor& progress);

}  // namespace Quivo::tool
