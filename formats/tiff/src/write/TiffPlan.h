#pragma once

#include "storage/pyramid/PyramidSession.h"
#include "write/ColourTags.h"
#include "write/MetadataTags.h"
#include "write/TileCodec.h"

#include <quivo/core/ValueRange.h>
#include <quivo/metadata/Metadata.h>
#include <quivo/tiff/TiffWriter.h>

#include <string>
#include <vector>

namespace Quivo::detail {

/// What is to be written as TIFF. Plain value.
struct TiffPlan {
    PyramidPlan pyramid;
    std::string target;
    bool replaces = true;  ///< what is there
    TiffLayout layout = TiffLayout::Plain;
    TiffCompression compression = TiffCompression::Deflate;
    int quality = 90;
    ValueRange<double> valueRange;
    Metadata metadata;                    ///< one entry per channel
    std::vector<std::string> sliceNames;  ///< one per slice, or none

    [[nodiscard]] WrittenShape getShape() const;

    /// Whether every channel has tiles of its own, and whether it also has pages of its own.
    ///@{
    [[nodiscard]] bool arePlanesApart() const;
    [[nodiscard]] bool arePagesApart() const;
    ///@}

    /// How many channels a page has.
    [[nodiscard]] long long countPageChannels() const {
        return arePagesApart() ? 1 : pyramid.tile.numChannels;
    }
    [[nodiscard]] TileFormat getFormat() const;

    /// error: std::runtime_error "TARGET: reason" for what TIFF cannot hold, and for what no
    /// pyramid is.
    void check() const;

private:
    void checkLayout() const;
    [[noreturn]] void refuse(std::string const& reason) const;
};

/// The tiles of a page that are stored: where they begin in the file and how long they are, by
/// their numbers on the page. Plain value.
struct TileIndex {
    std::vector<std::uint64_t> offsets, sizes;

    explicit TileIndex(std::size_t numTiles = 0) : offsets(numTiles), sizes(numTiles) {}
};

/// The tags of the pages of one file. Immutable after construction.
class PageTags {
public:
    PageTags(TiffPlan const& plan, TileCodec const& codec);

    /// All tags of a page but those that point to other directories. `plane` counts the pages of a
    /// slice.
    [[nodiscard]] TagList make(long long level, long long slice, long long plane,
                               TileIndex const& tiles, TiffForm form) const;

    [[nodiscard]] MetadataTags const& getMetadata() const noexcept { return metadata_; }

    /// The most that one page takes beside its tiles and what stands with the first page alone.
    [[nodiscard]] std::uint64_t countPageBytes() const noexcept;

private:
    [[nodiscard]] std::uint16_t getCountType(TileIndex const& tiles, TiffForm form) const;
    void addRange(TagList& tags) const;

    TiffPlan const& plan_;
    TileFormat format_;
    ColourTags colours_;
    MetadataTags metadata_;
    Bytes const& jpegTables_;
};

}  // namespace Quivo::detail
