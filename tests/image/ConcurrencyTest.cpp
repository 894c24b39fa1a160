// What several threads may do at once to one image; also meant for the thread sanitizer.

#include <quivo/filters/Filter.h>
#include <quivo/image/BufferImage.h>
#include <quivo/util/Lock.h>

#include "support/Probe.h"
#include "support/Threads.h"

#include <latch>

namespace Quivo::Testing {

TEST(Threads, ShareViewsAndReadWhatOneReadsAlone) {
    Values const noise = pixelByPixel(2, Box(Vector(20, 15, 2)), noiseAt);
    for (int round = 0; round < 30; ++round) {
        BufferImage<double> image(noise.data(), {20, 15, 2}, 2, {-1.0, 1.0}, {});
        Filter filter(&image, false);
        std::latch start(4);
        std::vector<std::vector<Image*>> views(4);
        onFourThreads([&](int thread) {
            start.arrive_and_wait();
            auto& seen = views[static_cast<std::size_t>(thread)];
            seen = {image.getViewableRepresentation(), filter.getViewableRepresentation()};
            RandomBoxes boxes(Box(Vector(-3, -3, -1), Vector(22, 17, 2)));
            for (int i = 0; i < 9; ++i) {
                Box const region = boxes.next();
                EXPECT_EQ(read(*seen[0], i % 3, region), read(*seen[1], i % 3, region));
            }
        });
        EXPECT_EQ(views, std::vector(4, views[0])) << "one view for all of them";
    }
}

TEST(Threads, HoldALockTogetherOrAlone) {
    Lock lock;
    std::latch meeting(2);
    int total = 0;
    onFourThreads([&](int thread) {
        if (thread < 2) {  // both are in before either is out, and nobody writes meanwhile
            SharedLockGuard const guard(lock);
            meeting.arrive_and_wait();
            EXPECT_EQ(total, 0);
        }
        meeting.wait();
        for (int i = 0; i < 2000; ++i) try {
                LockGuard const guard(lock);
                throw ++total;
            } catch (int) {
            }
    });
    EXPECT_EQ(total, 8000);
}

}  // namespace Quivo::Testing
