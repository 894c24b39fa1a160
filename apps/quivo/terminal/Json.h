#pragma once

#include <quivo/core/Vector.h>

#include <nlohmann/json.hpp>

#include <optional>
#include <string>

namespace Quivo::tool {

/// Members keep their order.
using Json = nlohmann::ordered_json;

/// A string; bytes that are no UTF-8 become U+FFFD.
[[nodiscard]] Json toJson(std::string const& text);

/// A number, a whole one without a point; null for what JSON has no number for.
[[nodiscard]] Json toJson(double value);

/// The same; null for nothing, too.
[[nodiscard]] Json toJson(std::optional<double> const& value);

/// [1024,768,1].
[[nodiscard]] Json toJson(Vector const& vector);

/// An object for programs that people can read as well: a line for every member, and for every one
/// of the objects in a list.
[[nodiscard]] std::string toDocument(Json const& object);

}  // namespace Quivo::tool
