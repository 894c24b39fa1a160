#pragma once

// What a file says beside its pixels, as metadata of the image shown.

#include "container/Directory.h"
#include "container/GdalMetadata.h"
#include "read/PyramidLayout.h"

#include <quivo/metadata/Metadata.h>

#include <string>
#include <utility>
#include <vector>

namespace Quivo::detail {

/// What a file says of the image shown. A header may claim many channels: they are described when
/// somebody asks. Plain value.
struct ToldMetadata {
    Metadata image;                               ///< without channels
    std::vector<std::string> names;               ///< of the channels of a page, or none at all
    std::vector<GdalMetadata::Channel> channels;  ///< likewise
};

/// error: std::runtime_error "PATH: reason" when the system fails.
[[nodiscard]] ToldMetadata readMetadata(DirectoryReader& directories, PyramidLayout const& layout);

/// What one channel means.
[[nodiscard]] ChannelMetadata describeChannel(ToldMetadata const& told, PyramidLayout const& layout,
                                              long long channel);

/// Pairs of a word and a text.
using Facts = std::vector<std::pair<std::string, std::string>>;

/// What is worth knowing of how the image is stored.
/// error: as above.
[[nodiscard]] Facts readFacts(DirectoryReader& directories, PyramidLayout const& layout,
                              Metadata const& metadata);

}  // namespace Quivo::detail
