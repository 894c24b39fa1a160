#include <quivo/image/ChannelNames.h>

#include <array>

namespace Quivo {

std::string getUsualChannelName(long long index, long long count) {
    static constexpr std::array colours{"Red", "Green", "Blue", "Alpha"};
    if (index < 0 || index >= count) return {};
    if (count == 1) return "Gray";
    return count == 3 || count == 4 ? colours[static_cast<std::size_t>(index)] : "";
}

}  // namespace Quivo
