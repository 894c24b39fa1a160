#pragma once

#include "write/TagList.h"

#include <quivo/core/Vector.h>
#include <quivo/metadata/Metadata.h>
#include <quivo/samples/SampleType.h>
#include <quivo/tiff/TiffWriter.h>

#include <array>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace Quivo::detail {

/// What the pages that are written have in common, as far as metadata depend on it. Plain value.
struct WrittenShape {
    Vector extent;
    SampleType sampleType = SampleType::U8;
    TiffLayout layout = TiffLayout::Plain;
    bool arePagesApart = false;  ///< every channel has pages of its own
};

/// Metadata as the tags of a file. What stood in tags of the source is written as it stood there
/// while it still says what the metadata say. Immutable after construction.
class MetadataTags {
public:
    MetadataTags(Metadata const& metadata, WrittenShape const& shape);

    /// The tags of level 0 of the first slice alone.
    [[nodiscard]] TagList const& getFirst() const noexcept { return first_; }

    /// The tags of every page but those that say how large its pixels are.
    [[nodiscard]] TagList const& getEvery() const noexcept { return every_; }

    /// The tags that say how large the pixels of a level are.
    [[nodiscard]] TagList makeResolution(long long level) const;

    /// Directories of their own, by the tags of the first page that point to them.
    [[nodiscard]] std::vector<std::pair<std::uint16_t, TagList>> const& getDirectories()
        const noexcept {
        return directories_;
    }

    /// What is not kept, in a user's words.
    [[nodiscard]] std::vector<std::string> const& getLosses() const noexcept { return losses_; }

    /// The bytes of all that is written once.
    [[nodiscard]] std::uint64_t countBytes() const noexcept;

private:
    void addTexts(Metadata const& metadata, WrittenShape const& shape);
    void addDescription(Metadata const& metadata, WrittenShape const& shape);
    void addDate(Metadata const& metadata);
    void addBlocks(Metadata const& metadata);
    void addChannels(Metadata const& metadata, WrittenShape const& shape);
    void addNoData(Metadata const& metadata, WrittenShape const& shape);
    void readResolution(Metadata const& metadata);

    TagList first_, every_;
    std::vector<std::pair<std::uint16_t, TagList>> directories_;
    std::vector<std::string> losses_;
    std::array<std::array<std::uint32_t, 2>, 2> resolution_{};  ///< of level 0; 0/0: unknown
    std::uint16_t resolutionUnit_ = 0;
    bool saysPixelSize_ = false;  ///< the description does, as it stood in the source
};

/// The same without all that may name people: description, dates, the texts of cameras, editors and
/// programs.
[[nodiscard]] Metadata withoutPeople(Metadata metadata);

}  // namespace Quivo::detail
