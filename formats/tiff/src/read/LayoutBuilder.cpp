#include "read/LayoutBuilder.h"

#include "read/Lengths.h"

#include <quivo/core/Levels.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>
#include <stdexcept>

namespace Quivo::detail {

namespace {

constexpr std::uint16_t noDataTag = 42113;
constexpr std::size_t mostListed = 1000;

std::string pageName(std::size_t index) { return "page " + std::to_string(index + 1); }

}  // namespace

LayoutBuilder::LayoutBuilder(PyramidLayout& layout, TiffHandle& tiff, DirectoryReader& directories,
                             TiffSelection const& selection, bool isStrict)
    : layout_(layout),
      tiff_(tiff),
      directories_(directories),
      selection_(selection),
      isStrict_(isStrict),
      table_(directories) {
    if (table_.pages.empty()) tiff.fail("damaged: its first directory cannot be read");
    fates_.resize(table_.pages.size());
}

void LayoutBuilder::placeBase(std::string const& fileName) {
    auto const numPages = std::ssize(table_.pages);
    if (selection_.page > numPages) {
        tiff_.fail("there is no page " + std::to_string(selection_.page) + ", only " +
                   (numPages == 1 ? "page 1" : "pages 1 to " + std::to_string(numPages)));
    }
    std::optional<Stack> stack;
    try {
        stack = findStack(directories_, table_, selection_, fileName);
    } catch (std::runtime_error const& error) {
        // The system's errors name the file themselves.
        std::string_view const text = error.what();
        if (!text.starts_with("there is no time")) throw;
        tiff_.fail(error.what());
    }
    if (stack) layout_.stack = std::move(*stack);
    bool const isStack = placeStack();
    if (!isStack) {
        if (selection_.time != 1) {
            tiff_.fail("there is no time " + std::to_string(selection_.time) +
                       ", only one time is told");
        }
        placePlain();
    }
    layout_.isSinglePage = selection_.page > 0 && !isStack;
    layout_.isFirstPage = basePages_[0] == 0;
    readNoData();
    auto& base = layout_.levels[0];
    PageInfo const& first = base.pages[0];
    auto const numSlices = std::ssize(base.pages) / layout_.planesPerSlice;
    base.extent = Vector(first.width, first.height, numSlices);
    auto const extent = base.extent;
    layout_.levels.resize(static_cast<std::size_t>(computeNumPyramidLevels(extent)));
    for (std::size_t level = 1; level < layout_.levels.size(); ++level) {
        layout_.levels[level].extent = convertToLevel(extent, 0, static_cast<long long>(level));
    }
    for (long long slice = 0; slice < numSlices; ++slice) {
        auto const index = static_cast<std::size_t>(slice);
        auto const& names = layout_.stack.sliceNames;
        constexpr std::uint64_t longestName = 1024;
        auto name = index < names.size() ? names[index] : std::string();
        auto const page = basePages_[index * static_cast<std::size_t>(layout_.planesPerSlice)];
        auto const directory = directories_.read(table_.pages[page].directory);
        if (name.empty() && directory) {
            name = toUtf8(directories_.getText(*directory, TIFFTAG_PAGENAME, longestName));
        }
        layout_.sliceNames.push_back(std::move(name));
    }
}

std::optional<PageInfo> LayoutBuilder::parse(PageSketch const& sketch, std::string& reason) {
    try {
        tiff_.check(TIFFSetSubDirectory(tiff_.get(), sketch.directory) != 0, "damaged directory");
        PageInfo page(tiff_, selection_.indices);
        tiff_.check(true, "damaged directory");
        reason = page.unsupported;
        if (reason.empty()) {
            setFill(page, sketch);
            return page;
        }
    } catch (std::runtime_error const& error) {
        if (tiff_.getStream().error != 0) throw;  // of the system, not of the page
        reason = error.what();
        auto const end = reason.find(": ");
        if (end != std::string::npos && reason.starts_with(tiff_.getName())) {
            reason.erase(0, tiff_.getName().size() + 2);
        }
    }
    return std::nullopt;
}

PageInfo LayoutBuilder::parseFirst(std::size_t index) {
    std::string reason;
    auto page = parse(table_.pages[index], reason);
    if (!page) tiff_.fail(reason);
    fates_[index].isUsed = true;
    return std::move(*page);
}

/// Lets a page show a plane that lies uncompressed behind its own.
void LayoutBuilder::shiftPlane(PageInfo& page, std::size_t index, std::uint64_t skip) {
    if (skip == 0) return;
    auto const directory = directories_.read(table_.pages[index].directory);
    auto const offset =
        directory ? directories_.getUnsigned(*directory, TIFFTAG_STRIPOFFSETS) : std::nullopt;
    auto const begin = static_cast<long long>(offset.value_or(0));
    auto const bytes =
        page.getDecodedRowBytes(page.storedWidth) * page.storedHeight * page.getNumPlanes();
    page.shift = {begin, begin + bytes, static_cast<long long>(skip) * bytes};
}

bool LayoutBuilder::placeStack() {
    auto& stack = layout_.stack;
    if (stack.planes.empty()) return false;
    auto const perSlice = stack.planesPerSlice;
    auto& pages = layout_.levels.emplace_back().pages;
    PageInfo const first = parseFirst(stack.planes[0].page);
    std::vector<std::string> names;
    std::set<std::size_t> failed;
    for (std::size_t start = 0; start < stack.planes.size(); start += perSlice) {
        std::vector<PageInfo> slice;
        std::string reason;
        for (std::size_t i = start; i < start + perSlice; ++i) {
            auto const& [index, skip] = stack.planes[i];
            auto page = index == stack.planes[0].page ? std::optional(first)
                                                      : parse(table_.pages[index], reason);
            bool const fits = page && page->width == first.width && page->height == first.height &&
                              page->hasPixelsLike(first);
            if (!fits) {
                failed.insert(index);
                if (page) reason = "other samples or another size";
                noteTrouble(pageName(index) + ": " + reason);
                fates_[index].reason = reason;
                break;
            }
            shiftPlane(*page, index, skip);
            slice.push_back(std::move(*page));
        }
        if (slice.size() != perSlice) {
            auto const number = std::to_string(start / perSlice + 1);
            if (start == 0) tiff_.fail("the channels of its first slice differ: " + reason);
            list("", "slice " + number + ": a plane cannot be used: " + reason);
            continue;
        }
        for (std::size_t i = start; i < start + perSlice; ++i) {
            fates_[stack.planes[i].page].isUsed = true;
            basePages_.push_back(stack.planes[i].page);
        }
        auto const index = start / perSlice;
        names.push_back(index < stack.sliceNames.size() ? stack.sliceNames[index] : "");
        std::move(slice.begin(), slice.end(), std::back_inserter(pages));
    }
    stack.sliceNames = std::move(names);
    for (auto const index : stack.claimed) fates_[index].isUsed = true;  // listed by the stack
    for (auto const index : failed) fates_[index].isUsed = true;
    layout_.planesPerSlice = static_cast<long long>(perSlice);
    return true;
}

/// What pixels without a value have, as it is stored; nothing where no pixel can have it.
void LayoutBuilder::setFill(PageInfo& page, PageSketch const& sketch) {
    auto const directory =
        sketch.hasNoData ? directories_.read(sketch.directory) : std::optional<Directory>();
    // Levels often do not repeat it.
    auto value =
        directory ? parseDecimal(directories_.getText(*directory, noDataTag, 256)) : layout_.noData;
    if (!value) return;
    bool const isFloat = !isInteger(page.storedType);
    if (page.storedType == SampleType::F32 && std::isfinite(*value)) {
        // It is told with other digits than the pixels have.
        constexpr double most = std::numeric_limits<float>::max();
        value = double{static_cast<float>(std::clamp(*value, -most, most))};
    }
    if (layout_.levels[0].pages.empty()) layout_.noData = value;
    auto const range = getDefaultValueRange(page.storedType);
    bool const isStorable =
        *value >= range.min && *value <= range.max && *value == std::floor(*value);
    if (isFloat || isStorable) page.fill = value;
}

/// No-data as delivered.
void LayoutBuilder::readNoData() {
    PageInfo const& first = layout_.levels[0].pages[0];
    bool const isOneValue = first.presentation == Presentation::AsStored ||
                            first.presentation == Presentation::Inverted;
    if (!isOneValue) layout_.noData.reset();
    if (layout_.noData && first.fill) layout_.noData = first.getDeliveredFill(0);
}

long long LayoutBuilder::findSelected() const {
    if (selection_.page > 0) return selection_.page - 1;
    auto const& pages = table_.pages;
    auto found = std::find_if(pages.begin(), pages.end(),
                              [](auto const& page) { return !page.isReduced && !page.isMask; });
    if (found == pages.end()) {
        found =
            std::find_if(pages.begin(), pages.end(), [](auto const& page) { return !page.isMask; });
    }
    return found == pages.end() ? 0 : found - pages.begin();
}

void LayoutBuilder::placePlain() {
    auto const main = static_cast<std::size_t>(findSelected());
    auto& pages = layout_.levels.emplace_back().pages;
    pages.push_back(parseFirst(main));
    basePages_.push_back(main);
    if (selection_.page > 0) return;
    auto const& sketch = table_.pages[main];
    for (std::size_t i = main + 1; i < table_.pages.size(); ++i) {
        auto const& other = table_.pages[i];
        bool const isSlice = other.isSizedLike(sketch) && other.isReduced == sketch.isReduced &&
                             !other.isMask && other.kind.empty();
        if (!isSlice) continue;
        std::string reason;
        auto page = parse(other, reason);
        if (!page) {
            fates_[i].reason = "cannot be read: " + reason;
            noteTrouble(pageName(i) + ": " + reason);
            continue;
        }
        PageInfo const& first = pages.front();
        bool const fits = page->width == first.width && page->height == first.height &&
                          page->hasPixelsLike(first);
        if (!fits) {
            fates_[i].reason = other.getSizeText() + ", other samples";
            continue;
        }
        if (page->palette && first.palette && *page->palette == *first.palette) {
            page->palette = first.palette;  // one table for all slices
        }
        fates_[i].isUsed = true;
        basePages_.push_back(i);
        pages.push_back(std::move(*page));
    }
}

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

void LayoutBuilder::noteTrouble(std::string const& trouble) {
    if (isStrict_) tiff_.fail(trouble);
}

void LayoutBuilder::list(std::string selector, std::string reason) {
    if (layout_.otherParts.size() >= mostListed) {
        ++numUnlisted_;
    } else {
        layout_.otherParts.push_back({std::move(selector), std::move(reason)});
    }
}

std::string LayoutBuilder::describe(std::size_t index) const {
    auto const& page = table_.pages[index];
    if (!fates_[index].reason.empty()) return fates_[index].reason;
    if (page.width < 1 || page.height < 1) return "no pixels";
    auto const size = page.getSizeText();
    if (page.isMask) {
        for (auto i = index; i-- > 0;) {
            auto const& other = table_.pages[i];
            if (other.isSizedLike(page) && !other.isMask) return size + ", mask of " + pageName(i);
        }
        return size + ", a mask";
    }
    if (!page.kind.empty()) return size + ", " + page.kind;
    bool const isFull = page.isSizedLike(table_.pages[basePages_[0]]);
    if (selection_.page > 0) return size;
    if (!isFull) return size + ", another size";
    return size + (page.isReduced ? ", reduced from another page" : ", no plane of the image");
}

void LayoutBuilder::listOthers() {
    for (auto& part : layout_.stack.others) list(part.selector, part.reason);
    for (std::size_t i = 0; i < table_.pages.size(); ++i) {
        if (fates_[i].isUsed) continue;
        list("#" + std::to_string(i + 1), pageName(i) + ": " + describe(i));
    }
    if (!table_.trouble.empty()) {
        noteTrouble(table_.trouble);
        list("", "behind " + pageName(table_.pages.size() - 1) + ": " + table_.trouble);
    }
    if (numUnlisted_ > 0) {
        layout_.otherParts.push_back({"", "and " + std::to_string(numUnlisted_) + " more"});
    }
}

}  // namespace Quivo::detail
