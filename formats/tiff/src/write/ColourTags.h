#pragma once

#include "write/TagList.h"

#include <quivo/metadata/Metadata.h>
#include <quivo/samples/SampleType.h>

#include <cstdint>
#include <string>
#include <vector>

namespace Quivo::detail {

/// What TIFF calls the channels of a page. Plain value.
struct ColourTags {
    std::uint16_t photometric = 0;
    std::vector<std::uint16_t> extras;  ///< one per channel behind the colours
    TagList tags;                       ///< palettes and inks
    std::vector<std::string> losses;    ///< meanings that TIFF has no word for, as a user says it

    /// Three channels that are red, green and blue.
    [[nodiscard]] bool isPicture() const noexcept;
};

/// Nothing is invented: channels that are no colours of a picture become one of lightness and
/// others that nobody says anything of.
[[nodiscard]] ColourTags chooseColours(Metadata const& metadata, SampleType type);

/// What each channel is called on pages of its own: lightness, whatever it means.
[[nodiscard]] ColourTags describePlanes(Metadata const& metadata);

/// What TIFF alone would call the channels where nothing names them; then names need not be stored.
[[nodiscard]] std::vector<std::string> getImpliedNames(Metadata const& metadata);

}  // namespace Quivo::detail
