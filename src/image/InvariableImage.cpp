#include <quivo/image/InvariableImage.h>

#include <quivo/core/Levels.h>
#include <quivo/image/ChannelNames.h>

namespace Quivo {

InvariableImage::~InvariableImage() = default;

std::string InvariableImage::getChannelName(long long index) {
    long long const count = getNumChannels();
    check(index >= 0 && index < count, "Invalid channel index. Cannot determine its name.");
    return getUsualChannelName(index, count);
}

ContentHash InvariableImage::getHash() { return 0; }

Image* InvariableImage::getViewableRepresentation() { return viewableRepresentation_.get(*this); }

}  // namespace Quivo
