#include "terminal/Interrupt.h"

#include <atomic>

namespace Quivo::tool {

namespace {

// The one thing that a signal handler and every thread may touch.
// NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables)
std::atomic<int> receivedSignal{0};
static_assert(std::atomic<int>::is_always_lock_free);

extern "C" void keepSignal(int signal) { receivedSignal = signal; }

}  // namespace

Interrupt::Interrupt() {
    receivedSignal = 0;
    struct sigaction action {};
    action.sa_handler = keepSignal;  // no SA_RESTART: a blocked write returns and asks
    sigemptyset(&action.sa_mask);
    for (std::size_t i = 0; i < signals.size(); ++i) {
        sigaction(signals[i], nullptr, &previous_[i]);
        // A signal that is ignored stays so: nohup and background jobs mean it.
        if (previous_[i].sa_handler != SIG_IGN) sigaction(signals[i], &action, nullptr);
    }
}

Interrupt::~Interrupt() {
    for (std::size_t i = 0; i < signals.size(); ++i) sigaction(signals[i], &previous_[i], nullptr);
}

void Interrupt::checkCancelled() {
    if (receivedSignal != 0) throw CancellationException();
}

int Interrupt::getSignal() noexcept { return receivedSignal; }

}  // namespace Quivo::tool
