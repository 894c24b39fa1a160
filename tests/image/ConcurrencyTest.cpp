// What several threads may do at once to one image; also meant for the thread sanitizer.

#include <quivo/filters/Filter.h>
#include <quivo/image/BufferImage.h>
#include <quivo/tiles/CachedImage.h>

#include "support/Probe.h"

#include <latch>
#include <thread>

namespace Quivo::Testing {

/// Runs `work(0)` ... `work(3)` at once.
template <typename Work>
void onFourThreads(Work work) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) threads.emplace_back(work, i);
    for (auto& thread : threads) thread.join();
}

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

TEST(Threads, ShareACacheOverASourceThatServesOneAtATime) {
    ProbeImage source;  // writes down its reads without any protection
    CachedImage cache(&source, 0, false);
    onFourThreads([&](int thread) {
        RandomBoxes boxes(Box(Vector(13, 9, 2)));
        for (int i = 0; i < 90; ++i) {
            if (i % 5 == thread) ++source.hash;
            Box const region = boxes.next().intersected(Box(source.getExtent(i % 3)));
            auto const expected = [&](auto... at) { return source.valueAt(i % 3, at...); };
            EXPECT_EQ(read(cache, i % 3, region), pixelByPixel(2, region, expected));
        }
    });
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
