#pragma once

/// \file
/// Numbers, boxes and sizes as people type them, and how numbers and texts are written for them.
/// Nothing depends on the locale. No state; any thread.

#include <quivo/core/Export.h>
#include <quivo/core/ValueRange.h>
#include <quivo/core/Vector.h>

#include <limits>
#include <optional>
#include <string>
#include <string_view>

namespace Quivo {

/// Every number of 64 bits.
inline constexpr ValueRange<long long> anyInteger(std::numeric_limits<long long>::min(),
                                                  std::numeric_limits<long long>::max());
/// Every one from 1 on.
inline constexpr ValueRange<long long> positiveInteger(1, anyInteger.max);

/// A decimal number with nothing around it; nothing when it is anything else or too large.
[[nodiscard]] QUIVO_API std::optional<long long> parseInteger(std::string_view text) noexcept;

/// The same, of `range`.
/// error: std::runtime_error, one line with the text and the range.
[[nodiscard]] QUIVO_API long long parseInteger(std::string_view text, ValueRange<long long> range);

/// A region of pixels. Plain value.
struct Rectangle {
    long long x = 0;       ///< of the left upper corner
    long long y = 0;       ///< of the left upper corner
    long long width = 0;   ///< at least 1, and x + width - 1 does not overflow
    long long height = 0;  ///< likewise
    /// Whether all four are the same.
    bool operator==(Rectangle const&) const = default;
};

/// "X,Y,W,H".
/// error: std::runtime_error, one line with the text, when it is something else or ends past the
/// largest coordinate.
[[nodiscard]] QUIVO_API Rectangle parseRectangle(std::string_view text);

/// A factor to shrink by, above 0 and below 1.
/// error: std::runtime_error, one line with the text.
[[nodiscard]] QUIVO_API double parseScale(std::string_view text);

/// "WIDTHxHEIGHT", whole numbers of which nothing more is checked; nothing when it is anything
/// else. z is 1.
[[nodiscard]] QUIVO_API std::optional<Vector> parseSize(std::string_view text) noexcept;

/// The shortest decimal form that reads back as the same number.
[[nodiscard]] QUIVO_API std::string toText(double value);

/// With a fixed number of digits after the point, 0 ... 80.
[[nodiscard]] QUIVO_API std::string toText(double value, int numDecimals);

/// With at most `numDigits` (1 ... 17) digits that count, and none that say nothing: "0.2526",
/// "1.2e-05".
[[nodiscard]] QUIVO_API std::string toRoundText(double value, int numDigits);

/// A length in nanometres, with four digits that count, in the unit that suits it: "252.6 nm",
/// "6.35 um", "0.35 mm", "30 m".
[[nodiscard]] QUIVO_API std::string toLengthText(double nanometres);

/// "1024 x 768 x 1".
[[nodiscard]] QUIVO_API std::string toText(Vector const& extent);

/// "412.3 MB": powers of 1000, as file managers count.
[[nodiscard]] QUIVO_API std::string toSizeText(double numBytes);

/// "0:07", "12:34" or "1:02:03".
[[nodiscard]] QUIVO_API std::string toTimeText(double seconds);

/// `text` on one line, whatever it was made of: control characters become spaces.
[[nodiscard]] QUIVO_API std::string toLine(std::string text);

/// `text` with U+FFFD for each byte that is no UTF-8: names of files may be any bytes.
[[nodiscard]] QUIVO_API std::string toUtf8(std::string_view text);

}  // namespace Quivo
