#include "read/PageTable.h"

#include "container/LibTiff.h"
#include "read/Lengths.h"

#include <algorithm>
#include <array>
#include <set>
#include <string_view>

namespace Quivo::detail {

namespace {

constexpr std::uint64_t mostSubDirectories = 4096;
constexpr std::uint16_t ndpiSourceLens = 65421;
constexpr std::uint16_t noDataTag = 42113;

/// Slide scanners tell which picture is none of the slide's levels in a line of its description:
/// "label 387x463", "Macro", "46000x32914 -> 574x768 - |AppMag = 20".
std::string findKind(std::string_view description) {
    std::string text(description);
    std::transform(text.begin(), text.end(), text.begin(), [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    std::string_view rest(text);
    while (!rest.empty()) {
        auto const end = std::min(rest.find_first_of("\r\n"), rest.size());
        auto const line = trim(rest.substr(0, end));
        for (std::string_view const kind : {"label", "macro", "thumbnail", "overview"}) {
            if (!line.starts_with(kind)) continue;
            auto const after = line.substr(kind.size());
            if (after.empty() || after.front() == ' ') return std::string(kind);
        }
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    // Levels are described the same way, and then by what they were compressed with.
    auto const arrow = text.starts_with("aperio") ? text.find("->") : std::string::npos;
    if (arrow == std::string::npos) return {};
    auto const size = trim(std::string_view(text).substr(arrow, text.find('|', arrow) - arrow));
    return size.ends_with(" -") ? "thumbnail" : "";
}

}  // namespace

std::string PageSketch::getSizeText() const {
    return std::to_string(width) + " x " + std::to_string(height);
}

PageSketch makePageSketch(DirectoryReader& directories, Directory const& directory) {
    auto const get = [&](std::uint16_t tag) {
        return directories.getUnsigned(directory, tag).value_or(0);
    };
    PageSketch page;
    page.directory = directory.offset;
    page.width = static_cast<long long>(get(TIFFTAG_IMAGEWIDTH) & 0xffffffff);
    page.height = static_cast<long long>(get(TIFFTAG_IMAGELENGTH) & 0xffffffff);
    auto const numSamples = directories.getUnsigned(directory, TIFFTAG_SAMPLESPERPIXEL).value_or(1);
    page.numSamples = static_cast<long long>(std::clamp<std::uint64_t>(numSamples, 1, 65535));
    auto const orientation = get(TIFFTAG_ORIENTATION);
    if (orientation >= 5 && orientation <= 8) std::swap(page.width, page.height);
    auto const kind = get(TIFFTAG_SUBFILETYPE);
    page.isReduced = (kind & FILETYPE_REDUCEDIMAGE) != 0;
    page.isMask = (kind & FILETYPE_MASK) != 0;
    page.hasNoData = directory.find(noDataTag) != nullptr;
    if (!directory.find(TIFFTAG_SUBFILETYPE)) {
        page.isReduced = get(TIFFTAG_OSUBFILETYPE) == OFILETYPE_REDUCEDIMAGE;
    }
    constexpr std::uint64_t beginning = 512;
    page.kind = findKind(directories.getText(directory, TIFFTAG_IMAGEDESCRIPTION, beginning));
    constexpr std::uint64_t reducedMacro = 9;
    if (page.kind.empty() && kind == reducedMacro) page.kind = "macro";
    if (directory.find(ndpiSourceLens)) {
        auto const lens = directories.getNumber(directory, ndpiSourceLens).value_or(0);
        if (lens == -1) page.kind = "macro";
        if (lens == -2) page.kind = "map";
    }
    if (auto const* const place = directory.find(TIFFTAG_SUBIFD)) {
        auto first = *place;
        first.count = std::min(first.count, mostSubDirectories);
        auto const entry = directories.load(first);
        for (std::uint64_t i = 0; entry && i < entry->count; ++i) {
            if (auto const offset = entry->getUnsigned(i)) page.subDirectories.push_back(*offset);
        }
    }
    return page;
}

double readPixelSize(DirectoryReader& directories, Directory const& directory, std::uint16_t tag,
                     double unit) {
    auto const entry = directories.load(directory, tag, 16);
    auto const number = entry ? entry->getNumber() : std::nullopt;
    if (!number || !(*number > 0)) return 0;
    // Rounded once: the quotient the other way round.
    auto const [above, below] = entry->getRatio().value_or(std::pair(*number, 1.0));
    double const size = unit * below / above;
    return size > 0 && size < 1e15 ? size : 0;
}

PageTable::PageTable(DirectoryReader& directories) {
    std::set<std::uint64_t> seen;
    trouble = directories.walk(directories.getFirstOffset(), seen, [&](Directory const& page) {
        pages.push_back(makePageSketch(directories, page));
    });
}

}  // namespace Quivo::detail
