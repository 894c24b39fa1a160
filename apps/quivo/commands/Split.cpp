#include "commands/Commands.h"
namespace Quivo::tool {
void addSplitCommand(CLI::App&, Ending&) {}
}  // namespace Quivo::tool
