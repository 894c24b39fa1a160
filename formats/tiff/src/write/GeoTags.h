#pragma once

#include "write/TagList.h"

#include <quivo/core/Vector.h>
#include <quivo/metadata/Metadata.h>

#include <string>
#include <vector>

namespace Quivo::detail {

/// Adds the tags of GeoTIFF: those of the source as they stood there while they still say where the
/// image lies, otherwise new ones by its place. What they cannot say goes to `losses`.
void addGeoTags(Metadata const& metadata, Vector const& extent, TagList& tags,
                std::vector<std::string>& losses);

}  // namespace Quivo::detail
