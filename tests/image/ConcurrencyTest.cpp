// What several threads may do at once to one image; also meant for the thread sanitizer.

#include <quivo/filters/Filter.h>
#include <quivo/image/BufferImage.h>

#include "support/Voxels.h"

#include <latch>
#include <thread>

namespace Quivo::Testing {

TEST(Threads, ShareViewsAndReadWhatOneReadsAlone) {
    Values const noise = pixelByPixel(2, Box(Vector(20, 15, 2)), noiseAt);
    for (int round = 0; round < 30; ++round) {
        BufferImage<double> image(noise.data(), {20, 15, 2}, 2, {-1.0, 1.0}, {});
        Filter filter(&image, false);
        std::latch start(4);
        std::vector<std::thread> threads;
        std::vector<std::vector<Image*>> views(4);
        for (auto& seen : views) {
            threads.emplace_back([&] {
                start.arrive_and_wait();
                seen = {image.getViewableRepresentation(), filter.getViewableRepresentation()};
                RandomBoxes boxes(Box(Vector(-3, -3, -1), Vector(22, 17, 2)));
                for (int i = 0; i < 9; ++i) {
                    Box const region = boxes.next();
                    EXPECT_EQ(read(*seen[0], i % 3, region), read(*seen[1], i % 3, region));
                }
            });
        }
        for (auto& thread : threads) thread.join();
        EXPECT_EQ(views, std::vector(4, views[0])) << "one view for all of them";
    }
}

}  // namespace Quivo::Testing
