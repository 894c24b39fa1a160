#pragma once

#include <string>

namespace Quivo::tool {

/// The memory that this process could have at best: the machine's, or less where a container sets a
/// limit.
[[nodiscard]] double getMemorySize();

/// error: std::runtime_error "`subject`: ..." when `numBytes` are more than that; it tells how much
/// would be needed and what to do.
void checkFitsIntoMemory(std::string const& subject, double numBytes);

}  // namespace Quivo::tool
