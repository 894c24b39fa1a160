#include "storage/work/WorkerPool.h"

#include <system_error>
#include <utility>

namespace Quivo::detail {

WorkerPool::WorkerPool(int numThreads) {
    if (numThreads < 2) return;
    try {
        for (int i = 0; i < numThreads; ++i) threads_.emplace_back([this] { work(); });
    } catch (std::system_error const&) {
        // As many as the system gives do the work, or the caller's.
    } catch (...) {
        stop();
        throw;
    }
}

WorkerPool::~WorkerPool() { stop(); }

std::future<void> WorkerPool::run(std::function<void()> job) {
    std::packaged_task<void()> task(std::move(job));
    auto done = task.get_future();
    if (threads_.empty()) {
        task();
        return done;
    }
    {
        std::lock_guard const lock(mutex_);
        jobs_.push_back(std::move(task));
    }
    hasJob_.notify_one();
    return done;
}

void WorkerPool::work() {
    for (;;) {
        std::packaged_task<void()> task;
        {
            std::unique_lock lock(mutex_);
            hasJob_.wait(lock, [this] { return isStopping_ || !jobs_.empty(); });
            if (isStopping_) return;
            task = std::move(jobs_.front());
            jobs_.pop_front();
        }
        task();
    }
}

void WorkerPool::stop() noexcept {
    {
        std::lock_guard const lock(mutex_);
        isStopping_ = true;
    }
    hasJob_.notify_all();
    for (auto& thread : threads_) thread.join();
    threads_.clear();
}

}  // namespace Quivo::detail
