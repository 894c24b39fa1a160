#include "options/HelpText.h"

#include <cstddef>

namespace Quivo::tool {

namespace {

constexpr std::size_t lineWidth = 95;

/// The text with line feeds for spaces, so that no line is longer than `width` unless a word is.
std::string breakLines(std::string text, std::size_t width) {
    std::size_t lineStart = 0;
    while (lineStart + width < text.size()) {
        std::size_t const lineEnd = text.find('\n', lineStart);
        if (lineEnd <= lineStart + width) {
            lineStart = lineEnd + 1;
            continue;
        }
        std::size_t space = text.rfind(' ', lineStart + width);
        if (space == std::string::npos || space <= lineStart) {
            space = text.find_first_of(" \n", lineStart + width);
        }
        if (space == std::string::npos) break;
        text[space] = '\n';
        lineStart = space + 1;
    }
    return text;
}

}  // namespace

std::string HelpText::make_option_opts(CLI::Option const* option) const {
    std::string const text = CLI::Formatter::make_option_opts(option);
    return text.substr(0, text.find(" " + get_label("Excludes") + ":"));
}

std::string HelpText::make_option_desc(CLI::Option const* option) const {
    return breakLines(CLI::Formatter::make_option_desc(option),
                      lineWidth - get_column_width());  // where the names of options end
}

std::string HelpText::make_footer(CLI::App const* app) const {
    return breakLines(CLI::Formatter::make_footer(app), lineWidth);
}

}  // namespace Quivo::tool
