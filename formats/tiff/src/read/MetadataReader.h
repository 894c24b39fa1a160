#pragma once

// What a file says beside its pixels, as metadata of the image shown.

#include "container/Directory.h"
#include "read/PyramidLayout.h"

#include <quivo/metadata/Metadata.h>

#include <string>
#include <utility>
#include <vector>

namespace Quivo::detail {

/// The metadata of an image, with one entry for each of its channels.
/// error: std::runtime_error "PATH: reason" when the system fails.
[[nodiscard]] Metadata readMetadata(DirectoryReader& directories, PyramidLayout const& layout);

/// Pairs of a word and a text.
using Facts = std::vector<std::pair<std::string, std::string>>;

/// What is worth knowing of how the image is stored.
/// error: as above.
[[nodiscard]] Facts readFacts(DirectoryReader& directories, PyramidLayout const& layout,
                              Metadata const& metadata);

}  // namespace Quivo::detail
