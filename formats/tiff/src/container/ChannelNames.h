#pragma once

// Names of channels in a TIFF file: the band descriptions that GDAL keeps as XML in tag 42112.

#include "container/LibTiff.h"

#include <string>
#include <string_view>
#include <vector>

namespace Quivo::detail {

/// The XML that says the names; empty when all names are. Characters that XML cannot hold become
/// spaces.
/// error: std::bad_alloc.
[[nodiscard]] std::string toChannelXml(std::vector<std::string> const& names);

/// The names of `numChannels` channels that such XML says, empty where it says none. XML that is
/// damaged, or much larger than names are, says nothing at all.
/// error: std::bad_alloc.
[[nodiscard]] std::vector<std::string> parseChannelXml(std::string_view xml, long long numChannels);

/// Puts the XML into the handle's current directory.
/// error: std::runtime_error as `TiffHandle::check`.
void setChannelXml(TiffHandle& tiff, std::string const& xml);

/// The XML in the handle's current directory, empty when there is none; valid until the handle
/// leaves the directory.
[[nodiscard]] std::string_view getChannelXml(TiffHandle const& tiff) noexcept;

}  // namespace Quivo::detail
