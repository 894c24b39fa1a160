#pragma once

#include <thread>
#include <vector>

namespace Quivo::Testing {

/// Runs `work(0)` ... `work(3)` at once.
template <typename Work>
void onFourThreads(Work work) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) threads.emplace_back(work, i);
    for (auto& thread : threads) thread.join();
}

}  // namespace Quivo::Testing
