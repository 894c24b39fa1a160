#pragma once

#include <string>

namespace Quivo::tool {

class Input;

/// Checks before any work whether `output` can be written: it is not the file of `input` (null:
/// none), and what is there is to be replaced and can be.
/// error: std::runtime_error.
void checkTarget(std::string const& output, Input const* input, bool force);

}  // namespace Quivo::tool
