#include <quivo/util/Cancellation.h>

#include <utility>

namespace Quivo {

namespace {

thread_local CancellationScope* innermost = nullptr;

}  // namespace

CancellationChecker::~CancellationChecker() = default;

CancellationException::CancellationException() noexcept = default;
CancellationException::~CancellationException() = default;

CancellationScope::CancellationScope(CancellationChecker& checker) noexcept
    : checker_(checker), enclosing_(std::exchange(innermost, this)) {}

CancellationScope::~CancellationScope() { innermost = enclosing_; }

void checkCancelled() {
    for (auto const* scope = innermost; scope; scope = scope->enclosing_) {
        scope->checker_.checkCancelled();
    }
}

}  // namespace Quivo
