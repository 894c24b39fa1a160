#pragma once

#include <quivo/writer/Progress.h>

#include <csignal>

namespace Quivo::tool {

/// Makes Ctrl-C an orderly end: while an object of this class lives, SIGINT and SIGTERM only leave
/// a mark, and whoever asks `checkCancelled()` afterwards unwinds and tidies up.
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

private:
    struct sigaction previousInt_ {};
    struct sigaction previousTerm_ {};
};

}  // namespace Quivo::tool
