#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <future>
#include <mutex>
#include <thread>
#include <vector>

namespace Quivo::detail {

/// A fixed number of threads that run jobs in the order in which they come. With one thread or none
/// there is no thread at all: a job then runs at once, on the caller's.
class WorkerPool {
public:
    explicit WorkerPool(int numThreads);
    WorkerPool(WorkerPool const&) = delete;
    WorkerPool& operator=(WorkerPool const&) = delete;
    /// Drops the jobs that have not begun and waits for those that have.
    ~WorkerPool();

    /// Starts `job`; the future tells when it is done and passes its exception on.
    std::future<void> run(std::function<void()> job);

private:
    void work();
    void stop() noexcept;

    /// Guards the jobs and whether the pool stops; a leaf: jobs run without it.
    std::mutex mutex_;
    std::condition_variable hasJob_;
    std::deque<std::packaged_task<void()>> jobs_;
    bool isStopping_ = false;
    std::vector<std::thread> threads_;
};

}  // namespace Quivo::detail
