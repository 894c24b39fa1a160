#pragma once

/// \file
/// Everything the core library offers.

#include <quivo/channels/BankImage.h>
#include <quivo/channels/ChannelBank.h>
#include <quivo/core/Box.h>
#include <quivo/core/Buffer.h>
#include <quivo/core/Export.h>
#include <quivo/core/Levels.h>
#include <quivo/core/Resolution.h>
#include <quivo/core/Storage.h>
#include <quivo/core/Strips.h>
#include <quivo/core/ValueRange.h>
#include <quivo/core/Vector.h>
#include <quivo/core/Version.h>
#include <quivo/filters/ArbitraryDownsampleFilter.h>
#include <quivo/filters/ChannelFilter.h>
#include <quivo/filters/Downsampling.h>
#include <quivo/filters/Filter.h>
#include <quivo/filters/HalvedLevels.h>
#include <quivo/filters/PiecewiseFilter.h>
#include <quivo/filters/ScaleFilter.h>
#include <quivo/filters/SliceFilter.h>
#include <quivo/filters/SubImageFilter.h>
#include <quivo/filters/WeighedDownsampleFilter.h>
#include <quivo/image/BufferImage.h>
#include <quivo/image/ChannelNames.h>
#include <quivo/image/DisplayView.h>
#include <quivo/image/Facets.h>
#include <quivo/image/Image.h>
#include <quivo/image/ImagePyramid.h>
#include <quivo/image/InvariableImage.h>
#include <quivo/image/PixelsInMemory.h>
#include <quivo/image/StoredContents.h>
#include <quivo/image/StoredLayout.h>
#include <quivo/metadata/Metadata.h>
#include <quivo/samples/HalveSamples.h>
#include <quivo/samples/ReadSamples.h>
#include <quivo/samples/SampleSource.h>
#include <quivo/samples/SampleType.h>
#include <quivo/tiles/CachedImage.h>
#include <quivo/tiles/GenericTileLoader.h>
#include <quivo/tiles/MemoryBudget.h>
#include <quivo/tiles/OpenOptions.h>
#include <quivo/tiles/TileImage.h>
#include <quivo/util/Cancellation.h>
#include <quivo/util/Color.h>
#include <quivo/util/DamageLog.h>
#include <quivo/util/Files.h>
#include <quivo/util/Lock.h>
#include <quivo/util/MaybeOwned.h>
#include <quivo/util/Paths.h>
#include <quivo/util/Strings.h>
#include <quivo/writer/ImageWriter.h>
#include <quivo/writer/Progress.h>

/// Everything that the library and its companions declare.
///
/// All sizes and positions are 64 bits wide, and arithmetic on them wraps around; pixels are planar
/// doubles. Errors are exceptions whose text is one line; nothing is printed, and no thread is
/// started except by `TiffWriter`. Pointers that a function takes are not null unless it says so
/// (not checked), and stay the caller's unless a flag or a sentence hands them over.
namespace Quivo {}
