#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace Quivo::tool {

/// The help texts, on lines that a terminal shows whole. What an option excludes is said in its
/// text, and not once more beside its name. Plain value.
class HelpText final : public CLI::Formatter {
public:
    std::string make_option_opts(CLI::Option const* option) const override;
    std::string make_option_desc(CLI::Option const* option) const override;
    std::string make_footer(CLI::App const* app) const override;
};

}  // namespace Quivo::tool
