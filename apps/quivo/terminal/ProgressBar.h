#pragma once

#include <quivo/writer/Progress.h>

#include <chrono>
#include <string>

namespace Quivo::tool {

/// A line on the terminal that tells how far a conversion is, how fast it goes and how long it will
/// still take: redrawn ten times a second at most, gone at the end. One thread at a time.
class ProgressBar final : public ProgressMonitor {
public:
    /// Draws nothing unless `visible`. One step of the progress stands for `pixelsPerStep` pixels.
    /// `notice` (may be empty) is printed to stderr as a line of its own once the work is accepted,
    /// that is when its size becomes known.
    ProgressBar(bool visible, long long pixelsPerStep, std::string notice);
    ProgressBar(ProgressBar const&) = delete;
    ProgressBar& operator=(ProgressBar const&) = delete;
    ~ProgressBar();

    void setMaxValue(long long value) override;
    void progressChanged() override;

    /// Whether stderr is a terminal.
    [[nodiscard]] static bool isTerminal() noexcept;

private:
    using Clock = std::chrono::steady_clock;

    void draw(Clock::time_point now);

    bool visible_;
    double pixelsPerStep_;
    std::string notice_;
    Clock::time_point start_ = Clock::now();
    Clock::time_point lastDrawn_ = start_;
};

}  // namespace Quivo::tool
