#pragma once

#include <quivo/core/Export.h>
#include <quivo/image/DisplayView.h>
#include <quivo/image/Image.h>

#include <string>

namespace Quivo {

/// The base of images whose content never changes after construction: their channel names, change
/// stamp and display view.
///
/// Immutable after construction; any thread.
class QUIVO_API InvariableImage : public Image {
public:
    ~InvariableImage() override;

    /// "Gray" for one channel; "Red", "Green", "Blue" for three, and "Alpha" as the last of four;
    /// empty for any other count.
    /// error: std::runtime_error "Invalid channel index. Cannot determine its name." for an index
    /// outside 0 ... getNumChannels() - 1.
    std::string getChannelName(long long index) override;

    /// 0.
    ContentHash getHash() override;

    /// The rule of `DisplayView`.
    Image* getViewableRepresentation() override;

private:
    DisplayView viewableRepresentation_;
};

}  // namespace Quivo
