#include "commands/Commands.h"
namespace Quivo::tool {
void addCompareCommand(CLI::App&, Ending&) {}
}  // namespace Quivo::tool
