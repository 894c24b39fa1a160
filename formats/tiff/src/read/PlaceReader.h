#pragma once

#include "container/Directory.h"
#include "read/PageInfo.h"

#include <quivo/metadata/Metadata.h>

namespace Quivo::detail {

/// Adds what the tags of GeoTIFF say of a page: where it lies, and the tags as they are.
void readPlace(DirectoryReader& directories, Directory const& directory, PageInfo const& page,
               Metadata& metadata);

}  // namespace Quivo::detail
