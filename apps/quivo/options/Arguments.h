#pragma once

#include <quivo/chains/Text.h>
#include <quivo/core/ValueRange.h>

#include <CLI/CLI.hpp>

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace Quivo::tool {

// Options of kinds that several subcommands share. A value that does not fit throws
// CLI::ValidationError, which ends the program as a wrong call.

/// An option of one value that `parse` makes of the text and stores.
/// error: std::runtime_error of `parse` becomes CLI::ValidationError.
template <typename Parse>
CLI::Option* addParsed(CLI::App& app, std::string const& name, Parse parse,
                       std::string const& help) {
    auto const store = [name, parse](std::string const& text) {
        try {
            parse(text);
        } catch (std::runtime_error const& refusal) {
            throw CLI::ValidationError(name, refusal.what());
        }
    };
    return app.add_option_function<std::string>(name, store, help);
}

/// An argument or option that stores the name of a file or image, never empty, in `*path`.
CLI::Option* addPath(CLI::App& app, std::string const& name, std::string* path,
                     std::string const& help);

/// An option that stores a whole number of `range` in `*value` (a `long long` or an optional one),
/// which outlives the parse.
template <typename T>
CLI::Option* addInteger(CLI::App& app, std::string const& name, T* value,
                        ValueRange<long long> range, std::string const& help) {
    auto const parse = [value, range](std::string const& text) {
        *value = parseInteger(text, range);
    };
    return addParsed(app, name, parse, help)->type_name("N");
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
