#include "read/LayoutBuilder.h"

#include <quivo/core/Levels.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>

namespace Quivo::detail {

/// The level whose exact size, full / 2^level, is nearest to a page and at most one pixel away on
/// both axes; 0 when there is none.
long long LayoutBuilder::findLevel(PageSketch const& sketch) const {
    Vector const& full = layout_.levels[0].extent;
    long long nearest = 0;
    double smallest = std::numeric_limits<double>::infinity();
    for (long long level = 1; level < std::ssize(layout_.levels); ++level) {
        auto const scale = static_cast<double>(pow2(level));
        double const dx = std::abs(static_cast<double>(sketch.width) - double(full.x) / scale);
        double const dy = std::abs(static_cast<double>(sketch.height) - double(full.y) / scale);
        if (dx > 1.0 || dy > 1.0 || dx + dy >= smallest) continue;
        nearest = level;
        smallest = dx + dy;
    }
    return nearest;
}

bool LayoutBuilder::fitsLevel(std::size_t level, PageInfo const& page) const {
    auto const& pages = layout_.levels[level].pages;
    return page.hasPixelsLike(layout_.levels[0].pages[0]) &&
           (pages.empty() || (pages[0].width == page.width && pages[0].height == page.height));
}

void LayoutBuilder::placeLevels() {
    placeSubDirectories();
    placeChain();
}

/// A level that lacks planes counts as not stored: it is computed whole.
void LayoutBuilder::placeSubDirectories() {
    auto& levels = layout_.levels;
    std::set<std::uint64_t> seen;  // each once, however often it is named
    std::set<std::size_t> pagesSeen;
    for (std::size_t i = 0; i < basePages_.size(); ++i) {
        auto const& page = table_.pages[basePages_[i]];
        if (!pagesSeen.insert(basePages_[i]).second) continue;
        for (std::size_t k = 0; k < page.subDirectories.size(); ++k) {
            auto const offset = page.subDirectories[k];
            if (!seen.insert(offset).second) continue;
            auto const name = pageName(basePages_[i]) + ", sub-directory " + std::to_string(k + 1);
            auto const directory = directories_.read(offset);
            if (!directory) {
                noteTrouble(name + ": damaged directory");
                list("", name + ": damaged directory");
                continue;
            }
            auto const sketch = makePageSketch(directories_, *directory);
            auto const level = static_cast<std::size_t>(findLevel(sketch));
            if (sketch.isMask) continue;
            std::string reason;
            bool const isLevel = level > 0 && sketch.kind.empty();
            auto parsed = isLevel ? parse(sketch, reason) : std::nullopt;
            if (isLevel && !parsed) {
                noteTrouble(name + ": " + reason);
                list("", name + ": cannot be read: " + reason);
            } else if (!isLevel || !fitsLevel(level, *parsed)) {
                auto const why = !sketch.kind.empty() ? sketch.kind
                                 : isLevel            ? "other samples"
                                                      : "another size";
                list("", name + ": " + sketch.getSizeText() + ", " + why);
            } else if (levels[level].pages.size() == i) {
                levels[level].pages.push_back(std::move(*parsed));
            } else {
                list("", name + ": " + sketch.getSizeText() +
                             ", a level that another one is, or that not all slices have");
            }
        }
    }
    for (std::size_t level = 1; level < levels.size(); ++level) {
        if (levels[level].pages.size() != basePages_.size()) levels[level].pages.clear();
    }
}

/// The pages of the chain that may be levels. Of a page that is selected, those that follow it
/// until there is another of its size.
std::vector<std::size_t> LayoutBuilder::findCandidates() const {
    std::vector<std::size_t> candidates;
    auto const& base = table_.pages[basePages_[0]];
    auto const first = selection_.page > 0 ? basePages_[0] + 1 : 0;
    for (std::size_t i = first; i < table_.pages.size(); ++i) {
        auto const& page = table_.pages[i];
        bool const isFull = page.isSizedLike(base) && !page.isMask && !page.isReduced;
        if (selection_.page > 0 && isFull) break;
        if (!fates_[i].isUsed && !page.isMask && page.kind.empty()) candidates.push_back(i);
    }
    return candidates;
}

void LayoutBuilder::placeChain() {
    auto& levels = layout_.levels;
    std::vector<std::vector<std::size_t>> byLevel(levels.size());
    for (auto const index : findCandidates()) {
        auto const level = static_cast<std::size_t>(findLevel(table_.pages[index]));
        bool const isWanted = level > 0 && !levels[level].isStored();
        if (isWanted) byLevel[level].push_back(index);
    }
    for (std::size_t level = 1; level < levels.size(); ++level) {
        auto& pages = levels[level].pages;
        std::vector<std::size_t> taken;
        for (auto const index : byLevel[level]) {
            if (pages.size() == basePages_.size()) break;
            std::string reason;
            auto page = parse(table_.pages[index], reason);
            if (!page) {
                fates_[index].reason = "cannot be read: " + reason;
                noteTrouble(pageName(index) + ": " + reason);
            } else if (!fitsLevel(level, *page)) {
                fates_[index].reason = table_.pages[index].getSizeText() + ", other samples";
            } else {
                pages.push_back(std::move(*page));
                taken.push_back(index);
            }
        }
        if (byLevel[level].empty()) continue;
        bool const isWhole = pages.size() == basePages_.size();
        for (auto const index : taken) {
            fates_[index].isUsed = isWhole;
            fates_[index].reason =
                table_.pages[index].getSizeText() + ", a level that not all slices have";
        }
        if (!isWhole) pages.clear();
    }
}

/// Masks of all pages of a level, in their order: in a sub-directory of each, or among the pages of
/// the chain of that size. Nothing where one is missing or does not fit.
bool LayoutBuilder::placeMasksOf(std::size_t level) {
    auto pages = layout_.levels[level].pages;
    std::vector<std::size_t> inChain;
    auto const first = selection_.page > 0 ? basePages_[0] + 1 : 0;
    auto const& base = table_.pages[basePages_[0]];
    for (std::size_t i = first; i < table_.pages.size(); ++i) {
        auto const& page = table_.pages[i];
        bool const isFull = page.isSizedLike(base) && !page.isMask && !page.isReduced;
        if (selection_.page > 0 && isFull) break;
        bool const isWanted = page.isMask && !fates_[i].isUsed && page.width == pages[0].width &&
                              page.height == pages[0].height;
        if (isWanted) inChain.push_back(i);
    }
    for (std::size_t i = 0; i < pages.size(); ++i) {
        std::optional<PageSketch> sketch;
        for (auto const offset : table_.pages[basePages_[i]].subDirectories) {
            auto const directory = directories_.read(offset);
            auto const other = directory ? makePageSketch(directories_, *directory) : PageSketch();
            bool const isWanted =
                other.isMask && other.width == pages[i].width && other.height == pages[i].height;
            if (isWanted) sketch = other;
        }
        if (!sketch && inChain.size() == pages.size()) sketch = table_.pages[inChain[i]];
        std::string reason;
        auto mask = sketch ? parse(*sketch, reason) : std::nullopt;
        if (!reason.empty()) noteTrouble("mask of " + pageName(basePages_[i]) + ": " + reason);
        if (mask) mask->fill.reset();
        if (!mask || !pages[i].setMask(std::make_shared<PageInfo const>(std::move(*mask)))) {
            return false;
        }
    }
    if (inChain.size() == pages.size()) {
        for (auto const index : inChain) fates_[index].isUsed = true;
    }
    layout_.levels[level].pages = std::move(pages);
    return true;
}

void LayoutBuilder::placeMasks() {
    bool const canHave = layout_.planesPerSlice == 1 && layout_.levels[0].pages[0].shift.end == 0;
    auto const isMask = [](PageSketch const& page) { return page.isMask; };
    bool const hasOne = std::any_of(table_.pages.begin(), table_.pages.end(), isMask) ||
                        !table_.pages[basePages_[0]].subDirectories.empty();
    layout_.hasMask = canHave && hasOne && placeMasksOf(0);
    if (!layout_.hasMask) return;
    for (std::size_t level = 1; level < layout_.levels.size(); ++level) {
        auto& pages = layout_.levels[level].pages;
        if (pages.empty() || placeMasksOf(level)) continue;
        list("", std::to_string(pages[0].width) + " x " + std::to_string(pages[0].height) +
                     ", a level that lacks the mask");
        pages.clear();
    }
}

}  // namespace Quivo::detail
