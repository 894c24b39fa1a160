#include "Interrupt.h"

#include <atomic>

namespace Quivo::tool {

namespace {

// The one thing that a signal handler and every thread may touch.
std::atomic<bool> interrupted{false};
static_assert(std::atomic<bool>::is_always_lock_free);

extern "C" void markInterrupted(int) { interrupted = true; }

}  // namespace

Interrupt::Interrupt() {
    interrupted = false;
    struct sigaction action {};
    action.sa_handler = markInterrupted;  // no SA_RESTART: a blocked write returns and asks
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, &previousInt_);
    sigaction(SIGTERM, &action, &previousTerm_);
}

Interrupt::~Interrupt() {
    sigaction(SIGINT, &previousInt_, nullptr);
    sigaction(SIGTERM, &previousTerm_, nullptr);
}

void Interrupt::checkCancelled() {
    if (interrupted) throw CancellationException();
}

}  // namespace Quivo::tool
