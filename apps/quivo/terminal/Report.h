#pragma once

#include "terminal/Status.h"

#include <string>

namespace Quivo::tool {

/// "quivo: warning: SUBJECT: TEXT" on standard error, on one line.
void warn(std::string const& subject, std::string const& text);

/// Warns of `damage`, unless it is empty; the status that the program ends with.
[[nodiscard]] Status reportDamage(std::string const& subject, std::string const& damage);

}  // namespace Quivo::tool
