#pragma once

#include "container/LibTiff.h"
#include "read/PageInfo.h"

#include <quivo/tiff/TiffImage.h>

#include <string>
#include <vector>

namespace Quivo::detail {

/// Which pages of a file are the slices and levels of its image. Plain value.
struct PyramidLayout {
    struct Level {
        Vector extent;                ///< level-0 extent halved, rounded down
        std::vector<PageInfo> pages;  ///< one per slice; empty when the level is not stored

        [[nodiscard]] bool isStored() const noexcept { return !pages.empty(); }
    };

    std::vector<Level> levels;              ///< level 0 is always stored
    std::vector<std::string> channelNames;  ///< empty, or one per channel, empty where not told

    /// Reads all directories of an open file.
    /// error: std::runtime_error "PATH: reason" when one is damaged, or when the main image cannot
    /// be read.
    PyramidLayout(TiffHandle& tiff, TiffSelection const& selection);

    [[nodiscard]] PageInfo const& getFirstPage() const noexcept { return levels[0].pages[0]; }

private:
    void readChannelNames(TiffHandle& tiff);
    void placeReduced(std::vector<PageInfo> const& reduced);
};

}  // namespace Quivo::detail
