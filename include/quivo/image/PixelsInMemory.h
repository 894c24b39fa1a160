#pragma once

#include <quivo/core/Box.h>
#include <quivo/core/Export.h>

#include <optional>

namespace Quivo {

class Image;

/// What an image may be besides: one whose values lie in memory as doubles, so that whoever only
/// looks at them need not copy them. Threads: as the image.
class QUIVO_API PixelsInMemory {
public:
    /// Where planes lie: the value of plane i (slices of a channel follow each other, then come
    /// those of the next channel) at column x and row y of a region is
    /// values[i * planeStride + y * rowStride + x]. Plain value.
    struct Planes {
        double const* values;   ///< owned by the image, valid as long as it
        long long rowStride;    ///< from a row to the next one
        long long planeStride;  ///< from a plane to the next one
    };

    PixelsInMemory() = default;
    PixelsInMemory(PixelsInMemory const&) = delete;
    PixelsInMemory& operator=(PixelsInMemory const&) = delete;
    virtual ~PixelsInMemory();

    /// All channels of a region, whose x, y and z are inside the level; nothing where a part of it
    /// is not, or where its planes do not follow each other evenly.
    [[nodiscard]] virtual std::optional<Planes> findPlanes(long long level,
                                                           Box const& region) const = 0;
};

/// `image` as such, or null. A class that is derived from one of this library's and overrides its
/// reads is none, whatever its base is.
[[nodiscard]] QUIVO_API PixelsInMemory* findPixelsInMemory(Image& image) noexcept;

}  // namespace Quivo
