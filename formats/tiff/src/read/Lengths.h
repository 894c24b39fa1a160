#pragma once

// Numbers and lengths as files spell them.

#include <optional>
#include <string>
#include <string_view>

namespace Quivo::detail {

/// `text` without spaces at its ends.
[[nodiscard]] std::string_view trim(std::string_view text) noexcept;

/// A decimal number times 10^`exponent`, rounded once: "0.2526" micrometres are 252.6 nanometres.
/// A comma may stand for the point; what C libraries print for infinities and for what is no number
/// counts. Nothing where `text` is anything else, spaces at its ends aside.
[[nodiscard]] std::optional<double> parseDecimal(std::string_view text, int exponent = 0);

/// What a unit of length is in nanometres: `factor` * 10^`exponent`.
struct LengthUnit {
    double factor;
    int exponent;
};

/// The unit of a name or sign such as "um", "micron", "inch"; nothing for one that is none.
[[nodiscard]] std::optional<LengthUnit> findLengthUnit(std::string_view name);

/// A length in nanometres; 0 where there is none, or none that makes sense.
[[nodiscard]] double parseLength(std::string_view number, std::string_view unit);

/// Text in UTF-8 as it is, any other as Latin-1; without control characters but line ends and tabs.
[[nodiscard]] std::string toUtf8(std::string_view text);

}  // namespace Quivo::detail
