#pragma once

// All pages of a file at a glance: enough to know which of them could belong to an image, without
// asking libtiff for pages that nobody wants.

#include "container/Directory.h"

#include <cstdint>
#include <string>
#include <vector>

namespace Quivo::detail {

/// What a page is by its directory alone. Plain value.
struct PageSketch {
    std::uint64_t directory = 0;  ///< file offset
    long long width = 0;          ///< upright
    long long height = 0;
    long long numSamples = 1;
    bool isReduced = false;
    bool isMask = false;
    bool hasNoData = false;
    /// What its description calls it, or another mark: "label", "macro", "thumbnail"; else empty.
    std::string kind;
    std::vector<std::uint64_t> subDirectories;

    [[nodiscard]] bool isSizedLike(PageSketch const& other) const noexcept {
        return width == other.width && height == other.height;
    }
    /// "640 x 480".
    [[nodiscard]] std::string getSizeText() const;
};

/// The pages of the chain that the file begins with. Plain value.
struct PageTable {
    std::vector<PageSketch> pages;
    std::string trouble;  ///< why the chain ended before its end, empty when it did not

    explicit PageTable(DirectoryReader& directories);
};

[[nodiscard]] PageSketch makePageSketch(DirectoryReader& directories, Directory const& directory);

/// The size of a pixel where a tag says how many there are to a unit of `unit` nanometres; 0 where
/// it does not.
[[nodiscard]] double readPixelSize(DirectoryReader& directories, Directory const& directory,
                                   std::uint16_t tag, double unit);

}  // namespace Quivo::detail
