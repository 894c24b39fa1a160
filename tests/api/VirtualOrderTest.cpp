// The order of the virtual operations is part of the binary interface: programs built against an
// older library call by position.

#include <quivo/Quivo.h>

#include <gtest/gtest.h>

#include <cstring>
#include <exception>
#include <type_traits>

namespace Quivo::Testing {

/// Whether the virtual operations stand one after another in their class's table, from position
/// `first` on. In the Itanium C++ ABI a pointer to a virtual member holds its byte offset there,
/// plus 1 on most CPUs; a virtual destructor takes two positions.
template <typename... Members>
bool areConsecutiveFrom(std::size_t first, Members... members) {
    auto const positionOf = [](auto member) {
        std::size_t offset = 0;
        std::memcpy(&offset, &member, sizeof offset);
        return offset / sizeof(void*);
    };
    return ((positionOf(members) == first++) && ...);
}

using Pyramid = GenericImagePyramid;
using Loader = GenericTileLoader<unsigned short>;
using Writer = ImageWriter;
using Proxy = ImageWriter::DownsampleOrProxy;
using Monitor = ProgressMonitor;

// What a derived class appends comes after everything that its base has.
template <typename Base>
struct Past : Base {
    virtual void next();
};

TEST(VirtualOrder, StaysAsItIs) {
    EXPECT_TRUE(areConsecutiveFrom(
        2, &Image::getURL, &Image::getExtent, &Image::getNumChannels, &Image::getNumLevels,
        &Image::getValueRange, &Image::getVoxelSize, &Image::getTileExtent, &Image::openRegion,
        &Image::getSliceName, &Image::getChannelName, &Image::getId, &Image::getGroupId,
        &Image::getHash, &Image::getViewableRepresentation, &TileImage::openTileRegionToPosition));
    EXPECT_TRUE(areConsecutiveFrom(2, &Pyramid::getNumChannels, &Pyramid::getNumLevels,
                                   &Pyramid::getExtent, &Pyramid::computeLevelsUpwards,
                                   &Pyramid::openRegion));
    EXPECT_TRUE(areConsecutiveFrom(2, &Loader::openTileRegionToPosition,
                                   &Loader::compileImageRegion, &Loader::getExtent,
                                   &Loader::getTileExtent, &Loader::getNumChannels));
    EXPECT_TRUE(areConsecutiveFrom(0, &Writer::beginWriting, &Writer::endWriting,
                                   &Writer::prepareLevel, &Writer::writeLevel,
                                   &Writer::finalizeImage));  // the destructor stands between
    EXPECT_TRUE(areConsecutiveFrom(7, &Writer::setSrcImage, &Writer::setTileExtent,
                                   &Writer::setUseSrcImagePyramid, &Writer::setFilename,
                                   &Writer::getFilename, &Writer::isReady, &Writer::writeImage));
    EXPECT_TRUE(areConsecutiveFrom(2, &Proxy::setSingleLevelImage, &Proxy::openRegion,
                                   &Proxy::getNumChannels, &Proxy::getExtent, &Proxy::getNumLevels,
                                   &Proxy::getVoxelSize, &Proxy::getValueRange));
    EXPECT_TRUE(areConsecutiveFrom(0, &Monitor::setMaxValue, &Monitor::getMaxValue,
                                   &Monitor::increase, &Monitor::update, &Monitor::getProgress,
                                   &Monitor::progressChanged));
    EXPECT_TRUE(areConsecutiveFrom(0, &CancellationChecker::checkCancelled));
    EXPECT_TRUE(
        areConsecutiveFrom(16, &CachedImage::openTileRegionToPosition, &Past<CachedImage>::next));
    EXPECT_TRUE(areConsecutiveFrom(2, &Past<ChannelBank>::next));  // after its destructor
}

// Handlers of ordinary errors do not swallow a cancellation.
static_assert(!std::is_base_of_v<std::exception, CancellationException>);
static_assert(std::is_default_constructible_v<CancellationException>);

}  // namespace Quivo::Testing
