#include "terminal/ProgressBar.h"

#include <quivo/chains/Text.h>

#include <algorithm>
#include <cstdio>
#include <utility>

#include <sys/ioctl.h>
#include <unistd.h>

namespace Quivo::tool {

namespace {

constexpr char const* clearLine = "\r\x1b[K";
constexpr std::chrono::milliseconds drawInterval(100);
constexpr std::chrono::seconds patience(2);
constexpr std::chrono::seconds lineInterval(10);

/// The columns of the terminal behind stderr; 80 when it does not say.
std::size_t getTerminalWidth() {
    winsize size{};
    bool const known = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return known ? size.ws_col : 80;
}

}  // namespace

ProgressBar::ProgressBar(Style style, long long pixelsPerStep, std::function<void()> onBegin)
    : style_(style),
      isTerminal_(isatty(STDERR_FILENO) == 1),
      pixelsPerStep_(static_cast<double>(pixelsPerStep)),
      onBegin_(std::move(onBegin)) {
    if (!isTerminal_ && style_ == Style::WhenItLasts) style_ = Style::Quiet;
    if (!isTerminal_) next_ += lineInterval;
    if (isTerminal_ && style_ == Style::WhenItLasts) next_ += patience;
}

ProgressBar::~ProgressBar() { hide(); }

void ProgressBar::hide() {
    if (isDrawn_) std::fputs(clearLine, stderr);
    isDrawn_ = false;
}

void ProgressBar::setMaxValue(long long value) {
    if (auto const onBegin = std::exchange(onBegin_, nullptr)) onBegin();
    ProgressMonitor::setMaxValue(value);
}

void ProgressBar::progressChanged() {
    if (style_ == Style::Quiet || getMaxValue() <= 0) return;
    Clock::time_point const now = Clock::now();
    if (now < next_) return;
    next_ = now + (isTerminal_ ? Clock::duration(drawInterval) : Clock::duration(lineInterval));
    draw(now);
}

std::string ProgressBar::describe(Clock::time_point now, double share) const {
    double const seconds = std::chrono::duration<double>(now - start_).count();
    double const secondsLeft = share > 0.0 ? seconds / share - seconds : 0.0;
    auto const done = static_cast<double>(getProgress());
    return toText(share * 100.0, 0) + " %  " + toText(done * pixelsPerStep_ * 1e-6 / seconds, 1) +
           " Mpixel/s  " + toTimeText(secondsLeft) + " left";
}

void ProgressBar::draw(Clock::time_point now) {
    double const share =
        std::min(static_cast<double>(getProgress()) / static_cast<double>(getMaxValue()), 1.0);
    std::string const text = describe(now, share);
    if (!isTerminal_) {
        std::fprintf(stderr, "quivo: %s\n", text.c_str());
        return;
    }
    std::size_t const width = std::min<std::size_t>(getTerminalWidth(), 100) - 1;
    std::string line;
    if (width > text.size() + 11) {
        std::size_t const room = width - text.size() - 3;
        auto const filled = static_cast<std::size_t>(share * static_cast<double>(room));
        line = "[" + std::string(filled, '#') + std::string(room - filled, '.') + "]";
    }
    line += " " + text;
    line.resize(std::min(line.size(), width));
    std::fprintf(stderr, "\r%s\x1b[K", line.c_str());
    std::fflush(stderr);
    isDrawn_ = true;
}

}  // namespace Quivo::tool
