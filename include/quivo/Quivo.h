#pragma once

// Everything the core library offers.

#include <quivo/core/Box.h>
#include <quivo/core/Buffer.h>
#include <quivo/core/Export.h>
#include <quivo/core/Levels.h>
#include <quivo/core/ValueRange.h>
#include <quivo/core/Vector.h>
#include <quivo/core/Version.h>
#include <quivo/filters/Downsampling.h>
#include <quivo/filters/Filter.h>
#include <quivo/filters/ScaleFilter.h>
#include <quivo/image/BufferImage.h>
#include <quivo/image/DisplayView.h>
#include <quivo/image/Image.h>
#include <quivo/image/ImagePyramid.h>
#include <quivo/image/InvariableImage.h>
#include <quivo/tiles/GenericTileLoader.h>
#include <quivo/tiles/TileImage.h>
#include <quivo/util/MaybeOwned.h>
#include <quivo/writer/ImageWriter.h>
#include <quivo/writer/Progress.h>
