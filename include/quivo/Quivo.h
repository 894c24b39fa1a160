#pragma once

// Everything the core library offers.

#include <quivo/channels/ChannelBank.h>
#include <quivo/core/Box.h>
#include <quivo/core/Buffer.h>
#include <quivo/core/Export.h>
#include <quivo/core/Levels.h>
#include <quivo/core/Resolution.h>
#include <quivo/core/Storage.h>
#include <quivo/core/ValueRange.h>
#include <quivo/core/Vector.h>
#include <quivo/core/Version.h>
#include <quivo/filters/ArbitraryDownsampleFilter.h>
#include <quivo/filters/Downsampling.h>
#include <quivo/filters/Filter.h>
#include <quivo/filters/ScaleFilter.h>
#include <quivo/filters/SliceFilter.h>
#include <quivo/filters/SubImageFilter.h>
#include <quivo/image/BufferImage.h>
#include <quivo/image/DisplayView.h>
#include <quivo/image/Image.h>
#include <quivo/image/ImagePyramid.h>
#include <quivo/image/InvariableImage.h>
#include <quivo/tiles/CachedImage.h>
#include <quivo/tiles/GenericTileLoader.h>
#include <quivo/tiles/TileImage.h>
#include <quivo/util/Color.h>
#include <quivo/util/Files.h>
#include <quivo/util/Lock.h>
#include <quivo/util/MaybeOwned.h>
#include <quivo/util/Paths.h>
#include <quivo/util/Strings.h>
#include <quivo/writer/ImageWriter.h>
#include <quivo/writer/Progress.h>
