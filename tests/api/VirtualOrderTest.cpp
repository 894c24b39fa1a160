// The order of the virtual operations and the sizes of objects are part of the binary interface:
// programs built against an older library call by position, and lay out objects themselves.

#include <quivo/Quivo.h>

#include <gtest/gtest.h>

#include <cstring>
#include <exception>
#include <sstream>
#include <string>
#include <type_traits>

namespace Quivo::Testing {

/// The virtual operations stand one after another in their class's table, from position `first` on.
/// In the Itanium C++ ABI a pointer to a virtual member holds its byte offset there, plus 1 on most
/// CPUs; a virtual destructor takes two positions. `names` has the members' own text.
template <typename... Members>
void expectConsecutiveFrom(std::size_t first, char const* names, Members... members) {
    std::istringstream rest(names);
    auto const expectNext = [&](auto member) {
        std::string name;
        std::getline(rest, name, ',');
        std::size_t offset = 0;
        std::memcpy(&offset, &member, sizeof offset);
        EXPECT_EQ(offset / sizeof(void*), first++) << name;
    };
    (expectNext(members), ...);
}
#define EXPECT_CONSECUTIVE_FROM(first, ...) expectConsecutiveFrom(first, #__VA_ARGS__, __VA_ARGS__)

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
    EXPECT_CONSECUTIVE_FROM(
        2, &Image::getURL, &Image::getExtent, &Image::getNumChannels, &Image::getNumLevels,
        &Image::getValueRange, &Image::getVoxelSize, &Image::getTileExtent, &Image::openRegion,
        &Image::getSliceName, &Image::getChannelName, &Image::getId, &Image::getGroupId,
        &Image::getHash, &Image::getViewableRepresentation, &TileImage::openTileRegionToPosition);
    EXPECT_CONSECUTIVE_FROM(2, &Pyramid::getNumChannels, &Pyramid::getNumLevels,
                            &Pyramid::getExtent, &Pyramid::computeLevelsUpwards,
                            &Pyramid::openRegion);
    EXPECT_CONSECUTIVE_FROM(2, &Loader::openTileRegionToPosition, &Loader::compileImageRegion,
                            &Loader::getExtent, &Loader::getTileExtent, &Loader::getNumChannels);
    EXPECT_CONSECUTIVE_FROM(0, &Writer::beginWriting, &Writer::endWriting, &Writer::prepareLevel,
                            &Writer::writeLevel,
                            &Writer::finalizeImage);  // the destructor stands between
    EXPECT_CONSECUTIVE_FROM(7, &Writer::setSrcImage, &Writer::setTileExtent,
                            &Writer::setUseSrcImagePyramid, &Writer::setFilename,
                            &Writer::getFilename, &Writer::isReady, &Writer::writeImage);
    EXPECT_CONSECUTIVE_FROM(2, &Proxy::setSingleLevelImage, &Proxy::openRegion,
                            &Proxy::getNumChannels, &Proxy::getExtent, &Proxy::getNumLevels,
                            &Proxy::getVoxelSize, &Proxy::getValueRange);
    EXPECT_CONSECUTIVE_FROM(0, &Monitor::setMaxValue, &Monitor::getMaxValue, &Monitor::increase,
                            &Monitor::update, &Monitor::getProgress, &Monitor::progressChanged);
    EXPECT_CONSECUTIVE_FROM(0, &CancellationChecker::checkCancelled);
    EXPECT_CONSECUTIVE_FROM(16, &CachedImage::openTileRegionToPosition, &Past<CachedImage>::next);
    EXPECT_CONSECUTIVE_FROM(2, &Past<ChannelBank>::next);  // after its destructor
}

#if defined(__x86_64__) && defined(__GLIBCXX__)
TEST(ObjectSizes, StayAsTheyAre) {
    EXPECT_EQ(sizeof(Vector), 24U);
    EXPECT_EQ(sizeof(Box), 48U);
    EXPECT_EQ(sizeof(ValueRange<double>), 16U);
    EXPECT_EQ(sizeof(Buffer<double>), 88U);
    EXPECT_EQ(sizeof(DisplayView), 48U);
    EXPECT_EQ(sizeof(Image), 8U);
    EXPECT_EQ(sizeof(InvariableImage), 56U);
    EXPECT_EQ(sizeof(BufferImage<double>), 232U);
    EXPECT_EQ(sizeof(ImagePyramid<double>), 64U);
    EXPECT_EQ(sizeof(Filter), 136U);
    EXPECT_EQ(sizeof(ScaleFilter), 176U);
    EXPECT_EQ(sizeof(SubImageFilter), 216U);
    EXPECT_EQ(sizeof(SliceFilter), 224U);
    EXPECT_EQ(sizeof(ArbitraryDownsampleFilter), 160U);
    EXPECT_EQ(sizeof(TileImage), 24U);
    EXPECT_EQ(sizeof(Loader), 8U);
    EXPECT_EQ(sizeof(CachedImage), 192U);
    EXPECT_EQ(sizeof(ChannelBank), 136U);
    EXPECT_EQ(sizeof(Writer), 136U);
    EXPECT_EQ(sizeof(Proxy), 56U);
    EXPECT_EQ(sizeof(Monitor), 24U);
    EXPECT_EQ(sizeof(CancellationChecker), 8U);
    EXPECT_EQ(sizeof(CancellationException), 8U);
    EXPECT_EQ(sizeof(Lock), 8U);
    EXPECT_EQ(sizeof(MaybeOwned<Image>), 16U);
}
#endif

// Handlers of ordinary errors do not swallow a cancellation.
static_assert(!std::is_base_of_v<std::exception, CancellationException>);
static_assert(std::is_default_constructible_v<CancellationException>);

}  // namespace Quivo::Testing
