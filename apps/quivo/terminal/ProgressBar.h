#pragma once

#include <quivo/writer/Progress.h>

#include <chrono>
#include <functional>
#include <string>

namespace Quivo::tool {

/// Tells on standard error how far a long work is, how fast it goes and how long it will still
/// take. On a terminal that is a line redrawn ten times a second at most and gone at the end;
/// elsewhere a line every ten seconds, where that is wanted. One thread at a time.
class ProgressBar final : public ProgressMonitor {
public:
    /// What is shown.
    enum class Style {
        Quiet,       ///< nothing
        AtOnce,      ///< from the beginning, lines where there is no terminal
        WhenItLasts  ///< after two seconds, on a terminal alone
    };

    /// One step of the progress stands for `pixelsPerStep` pixels. `onBegin` (may be none) is
    /// called once, when the work is accepted and its size becomes known.
    ProgressBar(Style style, long long pixelsPerStep, std::function<void()> onBegin = {});
    ProgressBar(ProgressBar const&) = delete;
    ProgressBar& operator=(ProgressBar const&) = delete;
    ~ProgressBar();

    void setMaxValue(long long value) override;
    void progressChanged() override;

    /// Takes the line away, so that something else can be printed.
    void hide();

private:
    using Clock = std::chrono::steady_clock;

    void draw(Clock::time_point now);
    [[nodiscard]] std::string describe(Clock::time_point now, double share) const;

    Style style_;
    bool isTerminal_;
    double pixelsPerStep_;
    std::function<void()> onBegin_;
    Clock::time_point start_ = Clock::now();
    Clock::time_point next_ = start_;  ///< when something is to be shown again
    bool isDrawn_ = false;
};

}  // namespace Quivo::tool
