#include "read/PyramidLayout.h"

#include "container/ChannelNames.h"

#include <quivo/core/Levels.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>
#include <vector>

namespace Quivo::detail {

namespace {

struct Pages {
    std::vector<PageInfo> full;     ///< in the order of the file
    std::vector<PageInfo> reduced;  ///< reduced-resolution pages and SubIFDs
};

Pages readPages(TiffHandle& tiff, bool indices) {
    Pages pages;
    std::vector<std::uint64_t> subDirectories;  // in the order of their pages, as slices are
    do {
        PageInfo page(tiff, indices);
        if (page.palette && !pages.full.empty() && pages.full[0].palette &&
            *page.palette == *pages.full[0].palette) {
            page.palette = pages.full[0].palette;  // one table for all slices
        }
        if (!page.isMask) (page.isReduced ? pages.reduced : pages.full).push_back(std::move(page));
        std::uint16_t count = 0;
        std::uint64_t* offsets = nullptr;
        if (TIFFGetField(tiff.get(), TIFFTAG_SUBIFD, &count, &offsets)) {
            subDirectories.insert(subDirectories.end(), offsets, offsets + count);
        }
        if (TIFFLastDirectory(tiff.get())) break;
        tiff.check(TIFFReadDirectory(tiff.get()) != 0, "damaged directory");
    } while (true);
    std::set<std::uint64_t> seen;  // each once, however often it is named
    for (std::uint64_t const offset : subDirectories) {
        if (!seen.insert(offset).second) continue;
        tiff.check(TIFFSetSubDirectory(tiff.get(), offset) != 0, "damaged sub-directory");
        PageInfo page(tiff, indices);
        if (!page.isMask) pages.reduced.push_back(std::move(page));
    }
    return pages;
}

/// The level whose exact size, full / 2^level, is nearest to a page and at most one pixel away on
/// both axes; 0 when there is none among 1 ... numLevels - 1.
long long findLevel(PageInfo const& page, Vector const& full, long long numLevels) {
    long long nearest = 0;
    double smallest = std::numeric_limits<double>::infinity();
    for (long long level = 1; level < numLevels; ++level) {
        auto const scale = static_cast<double>(pow2(level));
        double const dx = std::abs(static_cast<double>(page.width) - double(full.x) / scale);
        double const dy = std::abs(static_cast<double>(page.height) - double(full.y) / scale);
        if (dx > 1.0 || dy > 1.0 || dx + dy >= smallest) continue;
        nearest = level;
        smallest = dx + dy;
    }
    return nearest;
}

}  // namespace

PyramidLayout::PyramidLayout(TiffHandle& tiff, TiffSelection const& selection) {
    auto [full, reduced] = readPages(tiff, selection.indices);
    if (selection.time != 1) {
        tiff.fail("there is no time " + std::to_string(selection.time) + ", only time 1");
    }
    if (selection.page > std::ssize(full)) {
        tiff.fail("there is no page " + std::to_string(selection.page) + ", only " +
                  (full.size() == 1 ? "page 1" : "pages 1 to " + std::to_string(full.size())));
    }
    if (selection.page > 0) {
        full = {full[static_cast<std::size_t>(selection.page - 1)]};
    }
    if (full.empty()) std::swap(full, reduced);
    if (full.empty()) tiff.fail("the file has no image");
    PageInfo const first = full.front();
    if (!first.unsupported.empty()) tiff.fail(first.unsupported);
    Level base;
    for (auto& page : full) {
        bool const isSlice =
            page.width == first.width && page.height == first.height && page.hasPixelsLike(first);
        if (isSlice) base.pages.push_back(std::move(page));
    }
    auto const depth = static_cast<long long>(base.pages.size());
    base.extent = Vector(first.width, first.height, depth);
    levels.resize(static_cast<std::size_t>(computeNumPyramidLevels(base.extent)));
    for (std::size_t level = 1; level < levels.size(); ++level) {
        levels[level].extent = convertToLevel(base.extent, 0, static_cast<long long>(level));
    }
    levels[0] = std::move(base);
    placeReduced(reduced);
    readChannelNames(tiff);
    tiff.check(true, "cannot be read");  // a tag that could not be is missing from its page only
}

void PyramidLayout::readChannelNames(TiffHandle& tiff) {
    PageInfo const& page = getFirstPage();
    // Names are those of stored samples, which a palette has none of.
    if (page.storedSamples != page.numChannels) return;
    tiff.check(TIFFSetSubDirectory(tiff.get(), page.directory) != 0, "damaged directory");
    channelNames = parseChannelXml(getChannelXml(tiff), page.numChannels);
}

void PyramidLayout::placeReduced(std::vector<PageInfo> const& reduced) {
    Level const& base = levels[0];
    auto const numLevels = static_cast<long long>(levels.size());
    for (auto const& page : reduced) {
        if (!page.hasPixelsLike(base.pages[0])) continue;
        auto const level = findLevel(page, base.extent, numLevels);
        if (level == 0) continue;
        auto& pages = levels[static_cast<std::size_t>(level)].pages;
        // The first page decides the size of the level; further ones are its other slices.
        bool const fits =
            pages.empty() || (pages[0].width == page.width && pages[0].height == page.height);
        if (fits && pages.size() < base.pages.size()) pages.push_back(page);
    }
    // A level that lacks slices counts as not stored: it is computed whole.
    for (auto& level : levels) {
        if (level.pages.size() != base.pages.size()) level.pages.clear();
    }
}

}  // namespace Quivo::detail
