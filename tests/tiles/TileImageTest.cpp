#include "support/Probe.h"

namespace Quivo::Testing {

/// The formula without its fraction, as far as it fits T.
template <typename T>
T elementAt(long long level, long long c, Vector const& p) {
    return static_cast<T>(static_cast<long long>(Probe<Image>::formula(level, c, p)));
}

/// Adds the formula to the destination, so that missing zeros and tiles that come twice show;
/// delivers values past the image's extent as well, and writes down what it was asked for.
template <typename Base, typename T>
class ProbeTiles : public Base {
public:
    std::string visits;

    void openTileRegionToPosition(T* dst, long long level, Vector const& tilePosition,
                                  Box const& tileRegion, Vector const& dstExtent,
                                  Vector const& dstPosition) override {
        using ::testing::PrintToString;
        visits += PrintToString(tilePosition) + PrintToString(tileRegion) +
                  PrintToString(dstExtent) + PrintToString(dstPosition) + "\n";
        pixelByPixel(this->getNumChannels(), tileRegion, [&](long long c, Vector const& q) {
            Vector const to = dstPosition + q - tileRegion.min;
            T& element = dst[c * dstExtent.prod() + to.dot(dstExtent.getStrides())];
            return element = static_cast<T>(element + elementAt<T>(level, c, tilePosition + q));
        });
    }
};

template <typename T>
struct LoaderAccessors : GenericTileLoader<T> {
    Vector extent{11, 7, 2}, tileExtent;
    Vector getExtent(long long) const override { return extent; }
    Vector getTileExtent() const override { return tileExtent; }
    long long getNumChannels() const override { return 2; }
};

template <typename T>
void compareWithPixelByPixelReader() {
    ProbeTiles<LoaderAccessors<T>, T> loader;
    RandomBoxes boxes(Box(Vector(-6, -6, -2), Vector(20, 20, 5)));
    for (Vector const tileExtent : {Vector(4, 3, 1), Vector(11, 7, 2), Vector(1, 16, 3)}) {
        loader.tileExtent = tileExtent;
        // What the tiles that touch the image hold, also past its border; 0 elsewhere.
        Box const covered(((loader.extent - Vector(1)) / tileExtent + Vector(1)) * tileExtent);
        auto const expected = [&](long long c, Vector const& p) {
            return covered.contains(p) ? elementAt<T>(0, c, p) : T(0);
        };
        for (int i = 0; i < 100; ++i) {
            Box const region = boxes.next();
            GuardedBlock<T> dst(2 * region.getSize());
            loader.compileImageRegion(dst.data(), 0, region);
            ASSERT_EQ(dst.take(), pixelByPixel(2, region, expected))
                << ::testing::PrintToString(region);
        }
    }
}

TEST(GenericTileLoader, AssemblesAnyBoxLikeAPixelByPixelReader) {
    compareWithPixelByPixelReader<double>();
    compareWithPixelByPixelReader<unsigned char>();
    compareWithPixelByPixelReader<unsigned short>();
    compareWithPixelByPixelReader<unsigned int>();
}

TEST(TileImage, VisitsTouchedTilesWithTheirShareOfTheRequest) {
    ProbeTiles<Probe<TileImage>, double> image;
    image.extent = {1000, 700, 1};
    image.tileExtent = {256, 256, 1};
    (void)read(image, 0, {{255, 255, 0}, {257, 256, 0}});
    EXPECT_EQ(image.visits,
              "(0 0 0)(255 255 0)...(255 255 0)(3 2 1)(0 0 0)\n"
              "(256 0 0)(0 255 0)...(1 255 0)(3 2 1)(1 0 0)\n"
              "(0 256 0)(255 0 0)...(255 0 0)(3 2 1)(0 1 0)\n"
              "(256 256 0)(0 0 0)...(1 0 0)(3 2 1)(1 1 0)\n");
    image.visits.clear();
    (void)read(image, 0, {{990, 0, 0}, {1029, 0, 0}});  // past the image, up to its tile's end
    (void)read(image, 0, {{-20, 0, 0}, {-5, 9, 0}});    // tile 0 is asked for nothing
    (void)read(image, 0, {{1024, 0, 0}, {1030, 9, 0}});
    (void)read(image, 0, Box());
    EXPECT_EQ(image.visits,
              "(768 0 0)(222 0 0)...(255 0 0)(40 1 1)(0 0 0)\n"
              "(0 0 0)(0 0 0)...(-5 9 0)(16 10 1)(20 0 0)\n");
}

}  // namespace Quivo::Testing
