#include "commands/Commands.h"
namespace Quivo::tool {
void addVerifyCommand(CLI::App&, Ending&) {}
}  // namespace Quivo::tool
