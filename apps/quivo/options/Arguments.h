#pragma once

#include <quivo/core/ValueRange.h>

#include <CLI/CLI.hpp>

#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Quivo::tool {

// Options of kinds that several subcommands share. A value that does not fit throws
// CLI::ValidationError, which ends the program as a wrong call.

/// Every number, and every number from 1 on.
inline constexpr ValueRange<long long> anyInteger(std::numeric_limits<long long>::min(),
                                                  std::numeric_limits<long long>::max());
inline constexpr ValueRange<long long> positiveInteger(1, anyInteger.max);

/// A decimal number with nothing around it; nothing when it is anything else or too large.
[[nodiscard]] std::optional<long long> parseInteger(std::string_view text) noexcept;

/// The four numbers of --box.
struct Rectangle {
    long long x = 0;
    long long y = 0;
    long long width = 0;   ///< at least 1, and x + width - 1 does not overflow
    long long height = 0;  ///< likewise
};

/// error: CLI::ValidationError.
[[nodiscard]] Rectangle parseRectangle(std::string const& text);

/// The factor of --scale, above 0 and below 1.
/// error: CLI::ValidationError.
[[nodiscard]] double parseScale(std::string const& text);

/// A number of `range` that was given for the option `name`.
/// error: CLI::ValidationError.
[[nodiscard]] long long parseInteger(std::string const& name, std::string const& text,
                                     ValueRange<long long> range);

/// An argument or option that stores the name of a file or image, never empty, in `*path`.
CLI::Option* addPath(CLI::App& app, std::string const& name, std::string* path,
                     std::string const& help);

/// An option that stores a whole number of `range` in `*value` (a `long long` or an optional one),
/// which outlives the parse.
template <typename T>
CLI::Option* addInteger(CLI::App& app, std::string const& name, T* value,
                        ValueRange<long long> range, std::string const& help) {
    auto const store = [name, value, range](std::string const& text) {
        *value = parseInteger(name, text, range);
    };
    return app.add_option_function<std::string>(name, store, help)->type_name("N");
}

/// An option that stores the choice of that name in `*value`.
template <typename T, typename Choice>
CLI::Option* addChoice(CLI::App& app, std::string const& name, T* value,
                       std::vector<std::pair<std::string, Choice>> const& choices,
                       std::string const& help) {
    std::string names;
    for (auto const& choice : choices) names += (names.empty() ? "" : "|") + choice.first;
    auto const store = [name, names, value, choices](std::string const& text) {
        for (auto const& choice : choices) {
            if (choice.first == text) {
                *value = choice.second;
                return;
            }
        }
        throw CLI::ValidationError(name, "\"" + text + "\" is none of " + names);
    };
    return app.add_option_function<std::string>(name, store, help)->type_name(names);
}

}  // namespace Quivo::tool
