#pragma once

#include <quivo/util/Cancellation.h>

#include <array>
#include <csignal>

namespace Quivo::tool {

/// Makes Ctrl-C an orderly end: while an object of this class lives, SIGINT, SIGTERM and SIGHUP
/// only leave a mark, and whoever asks `checkCancelled()` afterwards unwinds and tidies up; so does
/// every read on the thread that made the object.
///
/// One object at a time; it may be asked from any thread.
class Interrupt : public CancellationChecker {
public:
    Interrupt();
    Interrupt(Interrupt const&) = delete;
    Interrupt& operator=(Interrupt const&) = delete;
    /// Gives the signals back their old meaning.
    ~Interrupt() override;

    void checkCancelled() override;

    /// The signal that came last while an object lived; 0 when none did.
    [[nodiscard]] static int getSignal() noexcept;

private:
    static constexpr std::array signals{SIGINT, SIGTERM, SIGHUP};
    std::array<struct sigaction, signals.size()> previous_{};
    CancellationScope scope_{*this};
};

}  // namespace Quivo::tool
