#include "terminal/Json.h"

#include <quivo/chains/Text.h>

#include <algorithm>
#include <cmath>

namespace Quivo::tool {

namespace {

/// `parts` of a list or an object between brackets.
template <typename Part>
std::string join(Json const& parts, std::string const& opening, std::string const& separator,
                 std::string const& closing, Part part) {
    std::string text;
    for (auto const& item : parts.items()) text += (text.empty() ? "" : separator) + part(item);
    return opening + text + closing;
}

/// On one line. Vectors stay close together: they are one thing.
std::string toOneLine(Json const& value) {
    auto const isNumber = [](Json const& item) { return item.is_number(); };
    bool const isVector =
        value.is_array() && value.size() == 3 && std::all_of(value.begin(), value.end(), isNumber);
    if (value.is_object()) {
        return join(value, "{", ", ", "}", [](auto const& item) {
            return Json(item.key()).dump() + ": " + toOneLine(item.value());
        });
    }
    if (!value.is_array() || isVector) return value.dump();
    return join(value, "[", ", ", "]", [](auto const& item) { return toOneLine(item.value()); });
}

}  // namespace

Json toJson(std::string const& text) { return toUtf8(text); }

Json toJson(double value) {
    constexpr double most = 0x1p53;  // up to which doubles hold every whole number
    if (value == std::trunc(value) && std::abs(value) <= most) return static_cast<long long>(value);
    return std::isfinite(value) ? Json(value) : Json();
}

Json toJson(std::optional<double> const& value) { return value ? toJson(*value) : Json(); }

Json toJson(Vector const& vector) { return {vector.x, vector.y, vector.z}; }

std::string toDocument(Json const& object) {
    return join(object, "{\n", ",\n", "\n}\n", [](auto const& item) {
        Json const& value = item.value();
        bool const isList = value.is_array() && !value.empty() && value.front().is_object();
        return "  " + Json(item.key()).dump() + ": " +
               (isList ? join(value, "[\n", ",\n", "\n  ]",
                              [](auto const& part) { return "    " + toOneLine(part.value()); })
                       : toOneLine(value));
    });
}

}  // namespace Quivo::tool
