#include <quivo/image/InvariableImage.h>

#include <quivo/core/Levels.h>

#include <array>

namespace Quivo {

InvariableImage::~InvariableImage() = default;

std::string InvariableImage::getChannelName(long long index) {
    long long const count = getNumChannels();
    check(index >= 0 && index < count, "Invalid channel index. Cannot determine its name.");
    if (count == 1) return "Gray";
    static constexpr std::array names{"Red", "Green", "Blue", "Alpha"};
    return count == 3 || count == 4 ? names[static_cast<std::size_t>(index)] : "";
}

ContentHash InvariableImage::getHash() { return 0; }

Image* InvariableImage::getViewableRepresentation() { return viewableRepresentation_.get(*this); }

}  // namespace Quivo
