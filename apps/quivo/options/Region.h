#pragma once

#include "options/Arguments.h"

#include <quivo/chains/Text.h>
#include <quivo/core/Box.h>

#include <optional>
#include <string>

namespace Quivo::tool {

class Input;

/// Which part of an image a subcommand works on: the options --level, --box and --slice.
struct RegionOptions {
    std::optional<long long> level;
    std::optional<Rectangle> box;
    std::optional<long long> slice;

    /// Adds the options to `app`; this object outlives the parse. `atBorder` says what happens to a
    /// box that reaches outside the image, `withoutSlice` what is taken without --slice.
    /// Returns --slice.
    CLI::Option* addTo(CLI::App& app, std::string const& atBorder, std::string const& withoutSlice);

    /// The level, 0 without one.
    [[nodiscard]] long long getLevel() const noexcept { return level.value_or(0); }

    /// The box in the slice, the whole level without one and the first slice without one.
    /// error: std::runtime_error when the input has no such level or slice.
    [[nodiscard]] Box getRegion(Input const& input) const;
};

/// What --help says about a box that reaches outside, where it may.
inline constexpr char const* zerosAtBorder = "outside the image there is 0";

}  // namespace Quivo::tool
