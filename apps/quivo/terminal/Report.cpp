#include "terminal/Report.h"

#include <quivo/chains/Text.h>

#include <iostream>

namespace Quivo::tool {

void warn(std::string const& subject, std::string const& text) {
    std::cerr << toLine("quivo: warning: " + subject + ": " + text) << '\n';
}

Status reportDamage(std::string const& subject, std::string const& damage) {
    if (damage.empty()) return Success;
    warn(subject, damage);
    return Filled;
}

}  // namespace Quivo::tool
