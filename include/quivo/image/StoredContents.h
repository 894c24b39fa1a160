#pragma once

#include <quivo/core/Export.h>

#include <string>
#include <utility>
#include <vector>

namespace Quivo {

/// Something in a file that is not part of the image shown. Plain value.
struct StoredPart {
    std::string selector;  ///< what to put behind the path to open it ("#7"); empty: it cannot be
    std::string reason;  ///< which it is and why it is left out: "page 7: 640 x 480, another size"
};

/// What an image may be besides: one in a file that tells more about how it is stored than readers
/// need, for people. Threads: as the image.
class QUIVO_API StoredContents {
public:
    StoredContents() = default;
    StoredContents(StoredContents const&) = delete;
    StoredContents& operator=(StoredContents const&) = delete;
    virtual ~StoredContents();

    /// What is worth knowing, as pairs of a word and a text: ("compression", "JPEG"), ("samples",
    /// "12 bits, unsigned"), ("layout", "tiles of 256 x 256").
    /// error: std::bad_alloc.
    [[nodiscard]] virtual std::vector<std::pair<std::string, std::string>> getFacts() const = 0;

    /// What else the file has, and why it is not part of the image.
    /// error: std::bad_alloc.
    [[nodiscard]] virtual std::vector<StoredPart> getOtherParts() const = 0;
};

}  // namespace Quivo
