#pragma once

#include <quivo/core/Export.h>
#include <quivo/core/Vector.h>

#include <optional>

namespace Quivo {

class Image;
class StoredLayout;

/// How an image is best read: where a cache pays, and how regions are cut. It goes by what the
/// image says of itself (`StoredLayout`), never by its class.
///
/// As safe as the image, which outlives it.
class QUIVO_API ReadPlan {
public:
    /// For chains on `image`, the source that pixels come from.
    explicit ReadPlan(Image const& image) noexcept;

    /// Whether there is a file behind the image: the one at its `getURL()`.
    [[nodiscard]] bool isFile() const noexcept { return layout_ != nullptr; }

    /// Whether reading the level computes nothing.
    [[nodiscard]] bool isLevelStored(long long level) const noexcept;

    /// From how many levels below a level of a file is computed; 0 when it is stored or there is no
    /// file.
    [[nodiscard]] long long countComputedLevels(long long level) const noexcept;

    /// Whether there is a file whose pixels lie in strips across the whole image.
    [[nodiscard]] bool isInStrips() const noexcept;

    /// The tiles in which to keep pixels of the image while its `level` is shrunk in pieces; none
    /// where that does not pay, or where they are too large for a cache of that size.
    [[nodiscard]] std::optional<Vector> chooseCacheTile(long long level,
                                                        long long cacheSizeMB) const;

    /// The bands in which to keep pixels that are shrunk by `factor` to an image of `extent`, while
    /// tiles of that side are read from it row after row; none where that does not pay.
    [[nodiscard]] std::optional<Vector> chooseBand(Vector const& extent, double factor,
                                                   long long tileSide, long long cacheSizeMB) const;

    /// The side of the pieces, and the height of the bands, in which what is shrunk by `factor` is
    /// best read; at least 1.
    [[nodiscard]] static long long getPieceSide(double factor) noexcept;

    /// The extent of a piece of an image of so many channels: a few megabytes, wider than high, one
    /// slice. So little takes little time, too: an interrupt is noticed soon.
    [[nodiscard]] static Vector choosePieceExtent(long long numChannels) noexcept;

private:
    Image const& image_;
    StoredLayout const* layout_;
};

}  // namespace Quivo
