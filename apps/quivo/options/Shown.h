#pragma once

#include <quivo/core/ValueRange.h>
#include <quivo/metadata/Metadata.h>

#include <CLI/CLI.hpp>

#include <optional>
#include <string>
#include <vector>

namespace Quivo::tool {

class Input;

/// A channel as it is to be shown: what a user said of it. Plain value.
struct ShownRequest {
    long long channel = 0;
    std::optional<Colour> colour;
    std::optional<ValueRange<double>> window;
};

/// How values become colours: the options --channels and --range of pictures.
struct ShownOptions {
    std::vector<std::string> channels;  ///< NAME[=COLOUR[:MIN,MAX]] each
    std::optional<ValueRange<double>> range;

    /// Adds the options to `app`; this object outlives the parse.
    void addTo(CLI::App& app);

    /// What `channels` say of the channels of the input.
    /// error: CLI::ValidationError for what is no such text, std::runtime_error for a channel that
    /// the input does not have.
    [[nodiscard]] std::vector<ShownRequest> findShown(Input const& input) const;
};

}  // namespace Quivo::tool
