#pragma once

#include <quivo/metadata/Metadata.h>

#include <string>

namespace Quivo::tool {

class Input;

/// What an image is, in lines for people.
[[nodiscard]] std::string describeForPeople(Input const& input);

/// The same, and more of it, as one JSON object.
[[nodiscard]] std::string describeAsJson(Input const& input);

/// "none", "grey", "rgb" ...: the name for programs.
[[nodiscard]] std::string toString(ColourModel model);

/// "none", "unassociated" or "associated".
[[nodiscard]] std::string toString(AlphaKind alpha);

/// "#rrggbb".
[[nodiscard]] std::string toString(Colour const& colour);

}  // namespace Quivo::tool
