#pragma once

#include <quivo/core/Vector.h>

#include <optional>
#include <string>
#include <string_view>

namespace Quivo::tool {

// How the tool writes things for people and for programs. Numbers never depend on the locale.

/// The shortest decimal form that reads back as the same number.
[[nodiscard]] std::string toText(double value);

/// With a fixed number of digits after the point.
[[nodiscard]] std::string toText(double value, int numDecimals);

/// "1024 x 768 x 1".
[[nodiscard]] std::string toText(Vector const& extent);

/// "412.3 MB": powers of 1000, as file managers count.
[[nodiscard]] std::string toSizeText(double numBytes);

/// "0:07", "12:34" or "1:02:03".
[[nodiscard]] std::string toTimeText(double seconds);

/// `text` on one line, whatever it was made of: control characters become spaces.
[[nodiscard]] std::string toLine(std::string text);

/// A string literal of JSON, with its quotes; bytes that are no UTF-8 become U+FFFD.
[[nodiscard]] std::string toJson(std::string_view text);

/// A number of JSON; null for what JSON has no number for.
[[nodiscard]] std::string toJson(double value);

/// The same; null for nothing, too.
[[nodiscard]] std::string toJson(std::optional<double> const& value);

/// "[1024,768,1]".
[[nodiscard]] std::string toJson(Vector const& vector);

}  // namespace Quivo::tool
