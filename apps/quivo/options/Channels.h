#pragma once

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace Quivo {
class Image;
}  // namespace Quivo

namespace Quivo::tool {

/// The channel of `image` that `text` means: by its name, or, where none has that name, by its
/// number from 0.
/// error: std::runtime_error that starts with `input`, also for a name that several have.
[[nodiscard]] long long findChannel(std::string const& input, Image& image,
                                    std::string const& text);

/// The channels that `texts` mean together, in their order: each is one, or several with commas
/// between.
/// error: as above, and when one comes twice.
[[nodiscard]] std::vector<long long> findChannels(std::string const& input, Image& image,
                                                  std::vector<std::string> const& texts);

/// The option --channels A,B, whose texts are stored in `*texts`.
void addChannelsOption(CLI::App& app, std::vector<std::string>* texts, std::string const& help);

/// What to call a channel: its name in quotation marks, or its number.
[[nodiscard]] std::string nameChannel(Image& image, long long channel);

}  // namespace Quivo::tool
