#include <quivo/util/DamageLog.h>

namespace Quivo {

DamageLog::DamageLog() = default;

DamageLog::~DamageLog() = default;

void DamageLog::report(std::string const& message) {
    std::lock_guard const lock(mutex_);
    if (count_ == 0) firstMessage_ = message;
    ++count_;
}

std::size_t DamageLog::getCount() const {
    std::lock_guard const lock(mutex_);
    return count_;
}

std::string DamageLog::getFirstMessage() const {
    std::lock_guard const lock(mutex_);
    return firstMessage_;
}

}  // namespace Quivo
