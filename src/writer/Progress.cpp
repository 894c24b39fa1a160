#include <quivo/writer/Progress.h>

#include <quivo/core/Vector.h>

namespace Quivo {

ProgressMonitor::ProgressMonitor() noexcept : maxValue_(-1), progress_(0) {}

void ProgressMonitor::setMaxValue(long long value) {
    maxValue_ = value;
    progressChanged();
}

long long ProgressMonitor::getMaxValue() { return maxValue_; }

void ProgressMonitor::increase(long long delta) {
    progress_ = detail::wrappingAdd(progress_, delta);
    progressChanged();
}

void ProgressMonitor::update(long long value) {
    progress_ = value;
    progressChanged();
}

long long ProgressMonitor::getProgress() const { return progress_; }

}  // namespace Quivo
