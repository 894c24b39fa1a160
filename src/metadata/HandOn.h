#pragma once

#include <quivo/metadata/Metadata.h>

namespace Quivo::detail {

/// `handOnMetadata` where the source's own is known already: asked for twice by every link, it
/// would be made twice as often with each further link of a chain.
[[nodiscard]] Metadata handOn(Image& image, Image& source, Metadata metadata);

}  // namespace Quivo::detail
