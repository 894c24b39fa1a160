#pragma once

#include <string>

namespace Quivo::tool {

/// The memory that this process could have at best: the machine's, or less where a container sets a
/// limit.
[[nodiscard]] double getMemorySize();

/// error: std::runtime_error "`subject`: ..." when `numBytes` are more than that; it tells how much
/// would be needed and what to do.
void checkFitsIntoMemory(std::string const& subject, double numBytes);

/// Lets the process keep freed blocks of usual sizes for the next ones: taking them from the system
/// anew costs as much as copying them. Before the first thread.
void keepFreedMemory();

}  // namespace Quivo::tool
