#include "read/Stack.h"

#include "container/LibTiff.h"
#include "read/Lengths.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

namespace Quivo::detail {

namespace {

constexpr std::uint16_t countsTag = 50838;
constexpr std::uint16_t extrasTag = 50839;

/// Lines of "key=value".
std::map<std::string, std::string, std::less<>> parseLines(std::string_view text) {
    std::map<std::string, std::string, std::less<>> values;
    while (!text.empty()) {
        auto const end = std::min(text.find('\n'), text.size());
        auto const line = trim(text.substr(0, end));
        auto const equals = line.find('=');
        if (equals != std::string_view::npos) {
            values.emplace(line.substr(0, equals), line.substr(equals + 1));
        }
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return values;
}

/// UTF-16 as UTF-8; what is damaged is left out.
std::string toUtf8(std::string_view bytes, bool isBigEndian) {
    std::string out;
    auto const unitAt = [&](std::size_t i) {
        auto const high = static_cast<unsigned char>(bytes[i + (isBigEndian ? 0 : 1)]);
        auto const low = static_cast<unsigned char>(bytes[i + (isBigEndian ? 1 : 0)]);
        return static_cast<std::uint32_t>(high) << 8 | low;
    };
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
        std::uint32_t code = unitAt(i);
        if (code >= 0xd800 && code < 0xe000) {
            bool const isPair =
                code < 0xdc00 && i + 3 < bytes.size() && (unitAt(i + 2) & 0xfc00) == 0xdc00;
            if (!isPair) continue;
            i += 2;
            code = 0x10000 + ((code & 0x3ff) << 10 | (unitAt(i) & 0x3ff));
        }
        if (code < 0x20) continue;
        auto const put = [&](std::uint32_t byte) { out += static_cast<char>(byte); };
        if (code < 0x80) {
            put(code);
        } else if (code < 0x800) {
            put(0xc0 | code >> 6);
        } else if (code < 0x10000) {
            put(0xe0 | code >> 12);
            put(0x80 | (code >> 6 & 0x3f));
        } else {
            put(0xf0 | code >> 18);
            put(0x80 | (code >> 12 & 0x3f));
            put(0x80 | (code >> 6 & 0x3f));
        }
        if (code >= 0x80) put(0x80 | (code & 0x3f));
    }
    return out;
}

/// What ImageJ stores beside the description: a table of kinds and counts, then that many pieces.
struct Extras {
    std::vector<std::string> labels;  ///< of the planes
    std::vector<double> ranges;       ///< lowest and highest shown value of each channel
    std::vector<Colour> colours;      ///< the last entry of each channel's colour table

    Extras(DirectoryReader& directories, Directory const& directory) {
        auto const counts = directories.load(directory, countsTag);
        auto const entry = directories.load(directory, extrasTag);
        if (!counts || !entry) return;
        std::string_view const all(entry->bytes);
        bool const isBigEndian = all.starts_with("IJIJ");
        if (!isBigEndian && !all.starts_with("JIJI")) return;
        auto const headBytes = counts->getUnsigned(0).value_or(0);
        if (headBytes > all.size()) return;
        std::uint64_t position = headBytes;
        std::uint64_t piece = 1;
        for (std::size_t at = 4; at + 8 <= headBytes; at += 8) {
            std::string kind(all.substr(at, 4));
            if (!isBigEndian) std::reverse(kind.begin(), kind.end());
            auto const number = getInteger(all.substr(at + 4, 4), isBigEndian);
            for (std::uint64_t i = 0; i < number && piece < counts->count; ++i, ++piece) {
                auto const size = counts->getUnsigned(piece).value_or(0);
                if (size > all.size() - position) return;
                take(kind, all.substr(position, size), isBigEndian);
                position += size;
            }
        }
    }

private:
    static std::uint64_t getInteger(std::string_view bytes, bool isBigEndian) {
        std::uint64_t value = 0;
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            auto const c = bytes[isBigEndian ? i : bytes.size() - 1 - i];
            value = value << 8 | static_cast<unsigned char>(c);
        }
        return value;
    }

    void take(std::string_view kind, std::string_view bytes, bool isBigEndian) {
        if (kind == "labl") labels.push_back(toUtf8(bytes, isBigEndian));
        if (kind == "rang") {
            for (std::size_t i = 0; i + 8 <= bytes.size(); i += 8) {
                ranges.push_back(
                    std::bit_cast<double>(getInteger(bytes.substr(i, 8), isBigEndian)));
            }
        }
        if (kind == "luts" && bytes.size() == 768) {
            auto const last = [&](std::size_t i) {
                return static_cast<unsigned char>(bytes[256 * i + 255]) / 255.0;
            };
            colours.push_back({last(0), last(1), last(2)});
        }
    }
};

/// How many planes lie behind a page that is alone: uncompressed, one behind the other from the
/// first strip on, as far as the file goes.
std::uint64_t countPlanesBehind(DirectoryReader& directories, Directory const& page,
                                std::uint64_t fileBytes) {
    auto const offset = directories.getUnsigned(page, TIFFTAG_STRIPOFFSETS).value_or(0);
    auto const get = [&](std::uint16_t tag, std::uint64_t otherwise) {
        return directories.getUnsigned(page, tag).value_or(otherwise);
    };
    auto const bits = get(TIFFTAG_BITSPERSAMPLE, 1) * get(TIFFTAG_SAMPLESPERPIXEL, 1);
    auto const width = get(TIFFTAG_IMAGEWIDTH, 0) & 0xffffffff;
    auto const height = get(TIFFTAG_IMAGELENGTH, 0) & 0xffffffff;
    bool const isPlain = get(TIFFTAG_COMPRESSION, COMPRESSION_NONE) == COMPRESSION_NONE &&
                         bits > 0 && bits % 8 == 0 && bits <= 4096 && width > 0 && height > 0;
    if (!isPlain || offset == 0 || offset >= fileBytes) return 0;
    auto const left = fileBytes - offset;
    auto const rowBytes = width * (bits / 8);
    return rowBytes > left ? 0 : left / rowBytes / height;
}

}  // namespace

std::optional<Stack> findImageJStack(std::string const& description, DirectoryReader& directories,
                                     PageTable const& table, long long time) {
    auto const values = parseLines(description);
    auto const textOf = [&](std::string_view key) {
        auto const found = values.find(key);
        return found == values.end() ? std::string_view() : std::string_view(found->second);
    };
    auto const countOf = [&](std::string_view key) {
        constexpr double most = 1 << 30;
        auto const number = parseDecimal(textOf(key)).value_or(1);
        return static_cast<long long>(number >= 1 && number <= most ? number : 1);
    };
    auto const page = directories.read(table.pages[0].directory);
    if (!page) return std::nullopt;
    Stack stack;
    stack.property = "imagej:Description";
    stack.text = description;
    auto const numChannels = countOf("channels");
    auto numSlices = countOf("slices");
    auto const numTimes = countOf("frames");
    auto const numImages = countOf("images");
    bool const isTold = numChannels > 1 || numSlices > 1 || numTimes > 1;
    if (!isTold) numSlices = numImages;
    PlaneGrid grid;
    auto const add = [&](long long index, StackPlane plane) {
        auto const rest = index / numChannels;
        if (rest / numSlices >= numTimes) return;
        grid.add(rest / numSlices, rest % numSlices, index % numChannels, plane);
    };
    if (table.pages.size() == 1) {
        auto const behind = countPlanesBehind(directories, *page, directories.getFileBytes());
        auto const most = std::max<std::uint64_t>(1, behind);
        for (std::uint64_t i = 0; i < most && i < static_cast<std::uint64_t>(numImages); ++i) {
            add(static_cast<long long>(i), {0, i});
        }
    } else {
        long long index = 0;
        for (std::size_t i = 0; i < table.pages.size() && index < numImages; ++i) {
            auto const& one = table.pages[i];
            bool const isPlane = !one.isReduced && !one.isMask && one.isSizedLike(table.pages[0]);
            if (isPlane) add(index++, {i, 0});
        }
    }
    auto const shown = grid.choose(time, numTimes, stack);
    if (!shown) return std::nullopt;
    Extras const extras(directories, *page);
    auto const& [slices, channels] = *shown;
    for (auto const slice : slices) {
        auto const index = static_cast<std::size_t>(slice * numChannels + channels[0]);
        stack.sliceNames.push_back(index < extras.labels.size() ? extras.labels[index] : "");
    }
    auto const lowest = parseDecimal(textOf("min"));
    auto const highest = parseDecimal(textOf("max"));
    for (auto const channel : channels) {
        auto const c = static_cast<std::size_t>(channel);
        ChannelMetadata told;
        auto const setWindow = [&](double low, double high) {
            bool const isRange = std::isfinite(low) && std::isfinite(high) && low < high;
            if (isRange) told.window = ValueRange<double>(low, high);
        };
        if (2 * c + 1 < extras.ranges.size()) {
            setWindow(extras.ranges[2 * c], extras.ranges[2 * c + 1]);
        } else if (lowest && highest && numChannels == 1) {
            setWindow(*lowest, *highest);
        }
        if (numChannels > 1 && c < extras.colours.size()) told.colour = extras.colours[c];
        stack.channels.push_back(std::move(told));
    }
    auto const unit = textOf("unit");
    auto const nanometres = findLengthUnit(unit) ? parseLength("1", unit) : 0;
    stack.pixelSize = {readPixelSize(directories, *page, TIFFTAG_XRESOLUTION, nanometres),
                       readPixelSize(directories, *page, TIFFTAG_YRESOLUTION, nanometres),
                       parseLength(textOf("spacing"), unit)};
    return stack;
}

}  // namespace Quivo::detail
