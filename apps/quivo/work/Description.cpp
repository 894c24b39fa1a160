#include "work/Description.h"

#include "options/Channels.h"
#include "options/Input.h"

#include <quivo/chains/Text.h>
#include <quivo/core/Levels.h>
#include <quivo/image/StoredContents.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <vector>

namespace Quivo::tool {

namespace {

using Lines = std::vector<std::string>;

/// The texts joined by `separator`.
std::string join(Lines const& texts, std::string const& separator) {
    std::string result;
    for (std::string const& text : texts) {
        if (!result.empty() && !text.empty()) result += separator;
        result += text;
    }
    return result;
}

/// `texts`, of which no more than `most` are named.
std::string list(Lines texts, std::size_t most) {
    if (texts.size() <= most) return join(texts, ", ");
    std::string const rest = " and " + std::to_string(texts.size() - most) + " more";
    texts.resize(most);
    return join(texts, ", ") + rest;
}

/// A line of facts, unless there is nothing to tell.
std::string makeFact(std::string const& what, std::string const& text) {
    constexpr std::size_t width = 16;
    if (text.empty()) return {};
    std::size_t const gap = what.size() < width ? width - what.size() : 1;
    return "  " + toLine(what) + std::string(gap, ' ') + toLine(text) + "\n";
}

/// What the colours of the channels mean; empty when they say nothing.
std::string describeColours(Metadata const& metadata) {
    static constexpr std::array names{"",       "grey", "RGB",    "CMYK",
                                      "CIELab", "Lab",  "LogLuv", "classes"};
    std::string text = names.at(static_cast<std::size_t>(metadata.colourModel));
    if (!metadata.colourProfile.empty()) text += " with a colour profile";
    AlphaKind const alpha = metadata.getAlpha();
    if (alpha == AlphaKind::None) return text;
    return (text.empty() ? "" : text + ", ") + toString(alpha) + " alpha";
}

std::string describeRange(ValueRange<double> const& range) {
    return toRoundText(range.min, 10) + " to " + toRoundText(range.max, 10);
}

/// A line for each channel of which there is more to tell than a name.
std::string describeChannels(Image& image, Metadata const& metadata) {
    constexpr long long most = 64;
    std::string lines;
    for (long long c = 0; c < std::min<long long>(std::ssize(metadata.channels), most); ++c) {
        ChannelMetadata const& channel = metadata.channels[static_cast<std::size_t>(c)];
        if (!channel.colour && !channel.window) continue;
        lines +=
            makeFact("channel " + std::to_string(c),
                     join({image.getChannelName(c), channel.colour ? toString(*channel.colour) : "",
                           channel.window ? "shown from " + describeRange(*channel.window) : ""},
                          ", "));
    }
    return lines;
}

/// The first line, cut where it is long.
std::string shorten(std::string const& text) {
    constexpr std::size_t most = 160;
    std::size_t const from = std::min(text.find_first_not_of(" \t\r\n"), text.size());
    std::size_t const lineEnd = std::min(text.find_first_of("\r\n", from), text.size());
    std::size_t end = std::min(lineEnd, from + most);
    while (end > from && end < text.size() && (text[end] & 0xC0) == 0x80) --end;
    bool const isAll = text.find_first_not_of(" \t\r\n", end) == std::string::npos;
    return text.substr(from, end - from) + (isAll ? "" : " ...");
}

/// The size of a pixel of a level; empty where it is not known.
std::string describePixelSize(Metadata const& metadata, long long level) {
    Lines sides;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        double const side = metadata.pixelSize[axis];
        if (side <= 0.0) continue;
        sides.push_back(toLengthText(axis < 2 ? std::ldexp(side, static_cast<int>(level)) : side));
    }
    return join(sides, " x ");
}

std::string describeArea(Image const& image, Metadata const& metadata) {
    auto const [width, height, depth] = metadata.pixelSize;
    if (width <= 0.0 || height <= 0.0) return {};
    Vector const extent = image.getExtent(0);
    double const area = static_cast<double>(extent.x) * width * 1e-6 *
                        static_cast<double>(extent.y) * height * 1e-6;
    return area >= 1e6 ? toRoundText(area * 1e-6, 4) + " m2" : toRoundText(area, 4) + " mm2";
}

std::string describePlace(Metadata const& metadata) {
    if (!metadata.place) return {};
    auto const& m = metadata.place->toWorld;
    return join({metadata.place->system,
                 "left upper corner at " + toRoundText(m[3], 12) + ", " + toRoundText(m[7], 12)},
                ", ");
}

std::string describeSlices(Image& image) {
    Lines names;
    for (long long z = 0; z < std::min(image.getExtent(0).z, 64LL); ++z) {
        std::string const name = image.getSliceName(z);
        if (!name.empty()) names.push_back(name);
    }
    return list(names, 16);
}

/// The table of levels: those that are stored, or all where none is.
std::string describeLevels(Input const& input, Metadata const& metadata) {
    Image& image = input.getImage();
    long long const numLevels = image.getNumLevels();
    std::vector<Lines> table{{"level", "extent", "pixel size", "pixels/mm"}};
    long long numStored = 0;
    for (long long level = 0; level < numLevels; ++level) {
        bool const isStored = input.getPlan().isLevelStored(level);
        numStored += isStored ? 1 : 0;
        if (!isStored && input.getPlan().isFile()) continue;
        std::string const size = describePixelSize(metadata, level);
        double const side = std::ldexp(metadata.pixelSize[0], static_cast<int>(level));
        table.push_back({std::to_string(level), toText(image.getExtent(level)),
                         size.empty() ? "unknown" : size,
                         side > 0.0 ? toRoundText(1e6 / side, 6) : "unknown"});
    }
    std::vector<std::size_t> widths(table.front().size());
    for (auto const& row : table) {
        for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
    }
    std::string text = "\n";
    for (auto const& row : table) {
        for (std::size_t i = 0; i + 1 < row.size(); ++i) {
            text += "  " + row[i] + std::string(widths[i] - row[i].size(), ' ');
        }
        text += "  " + row.back() + "\n";
    }
    long long const numComputed = numLevels - numStored;
    if (numComputed == 0) return text;
    if (numStored == 0) return text + "  All of them are computed while they are read.\n";
    return text + "  " + std::to_string(numComputed) +
           (numComputed == 1 ? " further level is" : " further levels are") +
           " computed while they are read.\n";
}

}  // namespace

std::string toString(ColourModel model) {
    static constexpr std::array names{"none",   "grey",   "rgb",    "cmyk",
                                      "cielab", "icclab", "logluv", "classes"};
    return names.at(static_cast<std::size_t>(model));
}

std::string toString(AlphaKind alpha) {
    return alpha == AlphaKind::None         ? "none"
           : alpha == AlphaKind::Associated ? "associated"
                                            : "unassociated";
}

std::string toString(Colour const& colour) {
    constexpr char const* digits = "0123456789abcdef";
    std::string text = "#";
    for (double const part : {colour.red, colour.green, colour.blue}) {
        auto const byte = static_cast<std::size_t>(std::clamp(part, 0.0, 1.0) * 255.0 + 0.5);
        text += digits[byte / 16];
        text += digits[byte % 16];
    }
    return text;
}

std::string describeForPeople(Input const& input) {
    Image& image = input.getImage();
    Metadata const metadata = getMetadata(image);
    Lines names;
    for (long long c = 0; c < image.getNumChannels(); ++c) {
        std::string const name = image.getChannelName(c);
        if (!name.empty()) names.push_back(name);
    }
    std::string text = toLine(input.getName()) + "\n";
    text += makeFact("id", image.getId());
    text += makeFact("group", image.getGroupId());
    text += makeFact("extent", toText(image.getExtent(0)));
    text += makeFact("pixel size", describePixelSize(metadata, 0));
    text += makeFact("area", describeArea(image, metadata));
    text += makeFact("place", describePlace(metadata));
    text += makeFact("channels", std::to_string(image.getNumChannels()) +
                                     (names.empty() ? "" : " (" + list(names, 16) + ")"));
    auto const* const contents = dynamic_cast<StoredContents const*>(&input.getSource());
    text += makeFact("colours", describeColours(metadata));
    text += describeChannels(image, metadata);
    text += makeFact("sample type", toString(input.getSampleType()));
    text += makeFact("value range", describeRange(image.getValueRange()));
    text += makeFact("no-data", metadata.noData ? toText(*metadata.noData) : "");
    if (contents) {
        for (auto const& [what, fact] : contents->getFacts()) {
            if (what != "no-data" || !metadata.noData) text += makeFact(what, fact);
        }
    } else {
        text += makeFact("tile extent", toText(image.getTileExtent()));
    }
    text += makeFact("slices", describeSlices(image));
    text += makeFact("date", metadata.date);
    text += makeFact("description", shorten(metadata.description));
    if (contents) {
        for (StoredPart const& part : contents->getOtherParts()) {
            text += makeFact(
                "left out",
                part.reason + (part.selector.empty() ? "" : " (opened by " + part.selector + ")"));
        }
    }
    return text + describeLevels(input, metadata);
}

}  // namespace Quivo::tool
