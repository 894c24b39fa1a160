#pragma once

/// \file
/// Byte strings: no locale, no character set; a multi-byte character is several bytes. No state;
/// any thread.

#include <quivo/core/Export.h>

#include <initializer_list>
#include <map>
#include <string>
#include <vector>

namespace Quivo {

/// A number as a default-formatted stream of the classic locale writes it: doubles with 6
/// significant digits ("0.5", "1e-05", "1.23457e+06").
///@{
[[nodiscard]] QUIVO_API std::string str(int value);
[[nodiscard]] QUIVO_API std::string str(long value);
[[nodiscard]] QUIVO_API std::string str(long long value);
[[nodiscard]] QUIVO_API std::string str(unsigned value);
[[nodiscard]] QUIVO_API std::string str(unsigned long value);
[[nodiscard]] QUIVO_API std::string str(unsigned long long value);
[[nodiscard]] QUIVO_API std::string str(double value);
///@}

/// Whether `text` begins with all of `prefix`; an empty one begins everything.
[[nodiscard]] QUIVO_API bool startsWith(std::string const& text, std::string const& prefix);
/// Whether `text` ends with all of `suffix`; an empty one ends everything.
[[nodiscard]] QUIVO_API bool endsWith(std::string const& text, std::string const& suffix);

/// Whether `text` ends with at least one of `suffixes`. Texts in braces are always such a list.
///@{
[[nodiscard]] QUIVO_API bool endsWith(std::string const& text,
                                      std::vector<std::string> const& suffixes);
[[nodiscard]] QUIVO_API bool endsWith(std::string const& text,
                                      std::initializer_list<std::string> suffixes);
///@}

/// Whether an element of `list` equals `value`.
[[nodiscard]] QUIVO_API bool contains(std::vector<std::string> const& list,
                                      std::string const& value);

/// The parts of `text` between occurrences of `delimiter` (a whole byte sequence) that do not
/// directly follow `escape` (empty: nothing is escaped). Escapes stay in the tokens. `skipEmpty`
/// drops empty tokens, except the one after the last delimiter, which always stands. An empty
/// `delimiter` gives the whole text as one token.
[[nodiscard]] QUIVO_API std::vector<std::string> splitString(std::string const& text,
                                                             std::string const& delimiter,
                                                             bool skipEmpty,
                                                             std::string const& escape);

/// The parameters "key=value&..." after the first "?" of `url`, which is cut there. Ampersands
/// after a backslash do not separate; of equal keys the first wins; pieces that are no pair of key
/// and value are left out; nothing is decoded. Without a "?" the whole string is parsed and `url`
/// stays. The flag has no effect.
[[nodiscard]] QUIVO_API std::map<std::string, std::string> splitUrlParams(std::string& url, bool);

/// `text` without the first byte of each occurrence of `escape`; all of it when `escape` is empty.
[[nodiscard]] QUIVO_API std::string unescapeString(std::string const& text,
                                                   std::string const& escape);

/// Every byte but ASCII letters, digits, '-', '.', '_' and '~' becomes '%' and two lowercase
/// hexadecimal digits (RFC 3986).
[[nodiscard]] QUIVO_API std::string urlEncode(std::string const& text);

/// Removes the nine characters " * / : < > ? \ | from `text`.
QUIVO_API void removeInvalidFileCharacters(std::string& text);

}  // namespace Quivo
