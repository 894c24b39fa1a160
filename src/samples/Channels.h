#pragma once

#include <stdexcept>
#include <string>

namespace Quivo::detail {

/// error: std::runtime_error when an image of `count` channels has no such one.
inline void checkChannel(long long channel, long long count) {
    if (channel >= 0 && channel < count) return;
    throw std::runtime_error("Channel " + std::to_string(channel) +
                             " does not exist, the image has " + std::to_string(count) + ".");
}

}  // namespace Quivo::detail
