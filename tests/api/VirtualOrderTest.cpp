// The order of the virtual operations and the sizes of objects are part of the binary interface:
// programs built against an older library call by position, and lay out objects themselves.

#include <quivo/Quivo.h>

#include <gtest/gtest.h>

#include <cstring>
#include <exception>
#include <type_traits>
#include <vector>

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

#if defined(__x86_64__) && defined(__GLIBCXX__)
template <typename... Types>
std::vector<std::size_t> sizesOf() {
    return {sizeof(Types)...};
}

TEST(ObjectSizes, StayAsTheyAre) {
    EXPECT_EQ((sizesOf<Vector, Box, ValueRange<double>, Buffer<double>, DisplayView, Image,
                       InvariableImage, BufferImage<double>, ImagePyramid<double>, Filter,
                       ScaleFilter>()),
              (std::vector<std::size_t>{24, 48, 16, 88, 48, 8, 56, 160, 64, 72, 96}));
    EXPECT_EQ((sizesOf<SubImageFilter, SliceFilter, ArbitraryDownsampleFilter, TileImage, Loader,
                       CachedImage, ChannelBank, Writer, Proxy, Monitor, CancellationChecker,
                       CancellationException, Lock, MaybeOwned<Image>>()),
              (std::vector<std::size_t>{128, 136, 80, 24, 8, 120, 136, 136, 56, 24, 8, 8, 8, 16}));
}
#endif

// Handlers of ordinary errors do not swallow a cancellation.
static_assert(!std::is_base_of_v<std::exception, CancellationException>);
static_assert(std::is_default_constructible_v<CancellationException>);

}  // namespace Quivo::Testing
