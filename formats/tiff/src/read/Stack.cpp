#include "read/Stack.h"

#include "container/LibTiff.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <set>
#include <stdexcept>

namespace Quivo::detail {

namespace {

constexpr std::uint16_t lsmTag = 34412;
constexpr std::uint64_t mostDescription = std::uint64_t{64} << 20;

std::string describeTimes(std::set<long long> const& times) {
    auto const first = *times.begin();
    auto const last = *times.rbegin();
    if (first == last) return "time " + std::to_string(first + 1);
    return "times " + std::to_string(first + 1) + " to " + std::to_string(last + 1);
}

}  // namespace

std::optional<std::pair<std::vector<long long>, std::vector<long long>>> PlaneGrid::choose(
    long long time, long long numTimes, Stack& stack) const {
    if (planes_.empty()) return std::nullopt;
    std::set<long long> times;
    for (auto const& plane : planes_) times.insert(plane.first[0]);
    auto shown = time - 1;
    if (!times.contains(shown)) {
        if (time != 1) {
            throw std::runtime_error("there is no time " + std::to_string(time) + ", only " +
                                     describeTimes(times));
        }
        shown = *times.begin();
    }
    std::map<long long, std::set<long long>> channelsOf;  // per slice
    std::set<long long> channels;
    for (auto const& [position, plane] : planes_) {
        if (position[0] == shown) {
            channelsOf[position[1]].insert(position[2]);
            channels.insert(position[2]);
        } else {
            stack.claimed.push_back(plane.page);
        }
    }
    auto const isWhole = [&](auto const& slice) { return slice.second.size() == channels.size(); };
    if (std::none_of(channelsOf.begin(), channelsOf.end(), isWhole)) channels = {*channels.begin()};
    std::vector<long long> slices;
    for (auto const& [slice, has] : channelsOf) {
        if (std::includes(has.begin(), has.end(), channels.begin(), channels.end())) {
            slices.push_back(slice);
        }
    }
    for (auto const slice : slices) {
        for (auto const channel : channels) {
            stack.planes.push_back(planes_.at({shown, slice, channel}));
        }
    }
    stack.planesPerSlice = channels.size();
    if (numTimes > 1) {
        stack.facts.emplace_back(
            "times", "time " + std::to_string(shown + 1) + " of " + std::to_string(numTimes));
    }
    for (auto const other : times) {
        if (other == shown) continue;
        constexpr std::size_t mostListed = 100;
        if (stack.others.size() == mostListed) {
            stack.others.push_back({"", "and further times"});
            break;
        }
        auto const number = std::to_string(other + 1);
        stack.others.push_back({"#t=" + number, "time " + number + " of the same image"});
    }
    return std::pair(std::move(slices), std::vector(channels.begin(), channels.end()));
}

std::optional<Stack> findLsmStack(DirectoryReader& directories, PageTable const& table,
                                  long long time) {
    auto const directory = directories.read(table.pages[0].directory);
    auto const entry = directory ? directories.load(*directory, lsmTag) : std::nullopt;
    if (!entry || entry->bytes.size() < 64) return std::nullopt;
    auto const valueAt = [&](std::size_t at) {
        std::int32_t value = 0;
        std::memcpy(&value, entry->bytes.data() + at, sizeof(value));
        return static_cast<long long>(value);
    };
    constexpr long long magic = 0x0400494c;
    constexpr long long oldMagic = 0x0300494c;
    if (valueAt(0) != magic && valueAt(0) != oldMagic) return std::nullopt;
    auto const numSlices = valueAt(16);
    auto const numTimes = valueAt(24);
    if (numSlices < 1 || numTimes < 2) return std::nullopt;  // else pages are slices anyway
    Stack stack;
    PlaneGrid grid;
    long long index = 0;
    for (std::size_t i = 0; i < table.pages.size(); ++i) {
        if (table.pages[i].isReduced || table.pages[i].isMask) continue;
        grid.add(index / numSlices, index % numSlices, 0, {i, 0});
        if (++index == numSlices * numTimes) break;
    }
    if (!grid.choose(time, numTimes, stack)) return std::nullopt;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        double metres = 0;
        std::memcpy(&metres, entry->bytes.data() + 40 + 8 * axis, sizeof(metres));
        if (metres > 0 && metres < 1) stack.pixelSize[axis] = metres * 1e9;
    }
    return stack;
}

std::optional<Stack> findStack(DirectoryReader& directories, PageTable const& table,
                               TiffSelection const& selection, std::string const& fileName) {
    auto const first = directories.read(table.pages[0].directory);
    if (!first) return std::nullopt;
    auto const text = directories.getText(*first, TIFFTAG_IMAGEDESCRIPTION, mostDescription);
    auto const head = std::string_view(text).substr(0, 4096);
    bool const isOme = head.find("<OME") != head.npos || head.find("<ome:OME") != head.npos;
    if (isOme) {
        if (auto stack = findOmeStack(text, table, selection, fileName)) return stack;
    }
    if (selection.page != 0) return std::nullopt;  // that page alone
    if (head.starts_with("ImageJ=") || head.starts_with("SCIFIO=")) {
        return findImageJStack(text, directories, table, selection.time);
    }
    return findLsmStack(directories, table, selection.time);
}

}  // namespace Quivo::detail
