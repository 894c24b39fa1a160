#pragma once

#include <quivo/util/Cancellation.h>

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace Quivo::detail {

/// Asks an image's own checker, which may be null, and those of the scopes that the thread is in.
inline void checkCancelled(CancellationChecker* checker) {
    if (checker) checker->checkCancelled();
    Quivo::checkCancelled();
}

/// What one thread at a time may pass that stays for long. Who waits asks to be cancelled, and no
/// lock is held meanwhile.
class Turnstile {
public:
    /// The turn, for one scope.
    class Turn {
    public:
        Turn(Turnstile& turnstile, CancellationChecker* checker) : turnstile_(turnstile) {
            std::unique_lock lock(turnstile_.mutex_);
            while (turnstile_.isTaken_) {
                constexpr std::chrono::milliseconds patience(5);
                turnstile_.ended_.wait_for(lock, patience);
                if (!turnstile_.isTaken_) break;
                lock.unlock();
                checkCancelled(checker);
                lock.lock();
            }
            turnstile_.isTaken_ = true;
        }
        Turn(Turn const&) = delete;
        Turn& operator=(Turn const&) = delete;
        ~Turn() {
            {
                std::lock_guard const lock(turnstile_.mutex_);
                turnstile_.isTaken_ = false;
            }
            turnstile_.ended_.notify_one();
        }

    private:
        Turnstile& turnstile_;
    };

private:
    std::mutex mutex_;  ///< a leaf, held for a few instructions
    std::condition_variable ended_;
    bool isTaken_ = false;
};

}  // namespace Quivo::detail
