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

/// The columns of the terminal behind stderr; 80 when it does not say.
std::size_t getTerminalWidth() {
    winsize size{};
    bool const known = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return known ? size.ws_col : 80;
}

}  // namespace

ProgressBar::ProgressBar(bool visible, long long pixelsPerStep, std::string notice)
    : visible_(visible),
      pixelsPerStep_(static_cast<double>(pixelsPerStep)),
      notice_(std::move(notice)) {}

ProgressBar::~ProgressBar() {
    if (visible_) std::fputs(clearLine, stderr);
}

bool ProgressBar::isTerminal() noexcept { return isatty(STDERR_FILENO) == 1; }

void ProgressBar::setMaxValue(long long value) {
    if (!notice_.empty()) std::fprintf(stderr, "%s\n", notice_.c_str());
    notice_.clear();
    ProgressMonitor::setMaxValue(value);
}

void ProgressBar::progressChanged() {
    if (!visible_ || getMaxValue() <= 0) return;
    Clock::time_point const now = Clock::now();
    if (now - lastDrawn_ < drawInterval) return;
    lastDrawn_ = now;
    draw(now);
}

void ProgressBar::draw(Clock::time_point now) {
    double const seconds = std::chrono::duration<double>(now - start_).count();
    auto const done = static_cast<double>(getProgress());
    double const share = std::min(done / static_cast<double>(getMaxValue()), 1.0);
    double const secondsLeft = share > 0.0 ? seconds / share - seconds : 0.0;

    std::string const text = " " + toText(share * 100.0, 0) + " %  " +
                             toText(done * pixelsPerStep_ * 1e-6 / seconds, 1) + " Mpixel/s  " +
                             toTimeText(secondsLeft) + " left";
    std::size_t const width = std::min<std::size_t>(getTerminalWidth(), 100) - 1;
    std::string line;
    if (width > text.size() + 10) {
        std::size_t const room = width - text.size() - 2;
        auto const filled = static_cast<std::size_t>(share * static_cast<double>(room));
        line = "[" + std::string(filled, '#') + std::string(room - filled, '.') + "]";
    }
    line += text;
    line.resize(std::min(line.size(), width));
    std::fprintf(stderr, "\r%s\x1b[K", line.c_str());
    std::fflush(stderr);
}

}  // namespace Quivo::tool
