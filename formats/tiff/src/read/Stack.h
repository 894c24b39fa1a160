#pragma once

// What a description says of the order of a file's pages: which planes make up the image shown, of
// several channels, slices and times, and what they mean.

#include "read/PageTable.h"

#include <quivo/image/StoredContents.h>
#include <quivo/metadata/Metadata.h>
#include <quivo/tiff/TiffImage.h>

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Quivo::detail {

/// One plane of pixels.
struct StackPlane {
    std::size_t page = 0;    ///< its index in the chain
    std::uint64_t skip = 0;  ///< how many planes of the page's size lie before it behind the page
};

/// The image that is shown. Plain value.
struct Stack {
    std::string property;            ///< under which its description is handed on: "ome:XML"
    std::string text;                ///< that description
    std::vector<StackPlane> planes;  ///< those of the first slice, then those of the next one
    std::size_t planesPerSlice = 1;
    std::vector<std::string> sliceNames;    ///< as far as they are told
    std::vector<ChannelMetadata> channels;  ///< one per plane of a slice
    std::array<double, 3> pixelSize{};      ///< nanometres, 0 where it is not told
    std::string description;
    std::string date;
    std::vector<std::pair<std::string, std::string>> facts;
    std::vector<StoredPart> others;
    std::vector<std::size_t> claimed;  ///< indices of pages that are other times or series
};

/// The planes that a file has of one image. Plain value.
class PlaneGrid {
public:
    /// The first plane that is told for a position is the one.
    void add(long long time, long long slice, long long channel, StackPlane plane) {
        planes_.insert({{time, slice, channel}, plane});
    }
    [[nodiscard]] std::size_t getCount() const noexcept { return planes_.size(); }

    /// Puts the planes of one time into a stack: the slices for which the file has all channels.
    /// Time 1 stands for the first that the file has. Returns the numbers of the slices and
    /// channels that they are of; nothing where there are none.
    /// error: std::runtime_error, without the name of the file, when there is no such time.
    std::optional<std::pair<std::vector<long long>, std::vector<long long>>> choose(
        long long time, long long numTimes, Stack& stack) const;

private:
    std::map<std::array<long long, 3>, StackPlane> planes_;
};

/// What the first page, or the one selected, says of a stack; nothing where it is none.
/// error: std::runtime_error, without the name of the file, when there is no such time.
[[nodiscard]] std::optional<Stack> findStack(DirectoryReader& directories, PageTable const& table,
                                             TiffSelection const& selection,
                                             std::string const& fileName);

/// The same by OME-XML, by the description of ImageJ, and by the tag of the LSM format.
[[nodiscard]] std::optional<Stack> findOmeStack(std::string const& description,
                                                PageTable const& table,
                                                TiffSelection const& selection,
                                                std::string const& fileName);
[[nodiscard]] std::optional<Stack> findImageJStack(std::string const& description,
                                                   DirectoryReader& directories,
                                                   PageTable const& table, long long time);
[[nodiscard]] std::optional<Stack> findLsmStack(DirectoryReader& directories,
                                                PageTable const& table, long long time);

}  // namespace Quivo::detail
