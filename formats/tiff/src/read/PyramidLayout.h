#pragma once

#include "container/Directory.h"
#include "container/LibTiff.h"
#include "read/PageInfo.h"
#include "read/Stack.h"

#include <quivo/image/StoredContents.h>
#include <quivo/tiff/TiffImage.h>

#include <optional>
#include <string>
#include <vector>

namespace Quivo::detail {

/// Which pages of a file are the slices and levels of the image shown, and what the others are.
/// Plain value.
struct PyramidLayout {
    struct Level {
        Vector extent;  ///< level-0 extent halved, rounded down
        /// Those of the first slice, `planesPerSlice` of them, then those of the next one; empty
        /// when the level is not stored.
        std::vector<PageInfo> pages;

        [[nodiscard]] bool isStored() const noexcept { return !pages.empty(); }
    };

    std::vector<Level> levels;  ///< level 0 is always stored
    /// Each has the channels of its page; a slice has those of all its planes.
    long long planesPerSlice = 1;
    std::vector<std::string> sliceNames;  ///< one per slice, empty where not told
    Stack stack;                          ///< what a description says of the whole
    std::vector<StoredPart> otherParts;
    bool isSinglePage = false;  ///< one that was selected, whatever descriptions say of the whole
    bool isFirstPage = false;   ///< its first page is that of the file
    bool hasMask = false;
    std::optional<double> noData;  ///< as delivered

    /// Finds out from all directories of an open file. With `isStrict` whatever is damaged is an
    /// error; otherwise it is one of the other parts.
    /// error: std::runtime_error "PATH: reason" when the main image, or what is selected, cannot be
    /// read or does not exist.
    PyramidLayout(TiffHandle& tiff, DirectoryReader& directories, TiffSelection const& selection,
                  bool isStrict, std::string const& fileName);

    [[nodiscard]] PageInfo const& getFirstPage() const noexcept { return levels[0].pages[0]; }
    [[nodiscard]] long long getNumChannels() const noexcept {
        return planesPerSlice * getFirstPage().numChannels;
    }
};

}  // namespace Quivo::detail
