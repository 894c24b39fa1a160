#include "read/PlaceReader.h"

#include "read/Lengths.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <string>
#include <vector>

namespace Quivo::detail {

namespace {

using Entries = std::vector<DirectoryEntry>;
using Transform = std::array<double, 12>;

constexpr std::uint16_t scaleTag = 33550;
constexpr std::uint16_t tiePointTag = 33922;
constexpr std::uint16_t matrixTag = 34264;
constexpr std::uint16_t keysTag = 34735;
constexpr std::uint16_t numbersTag = 34736;
constexpr std::uint16_t textsTag = 34737;

// Keys and their values.
constexpr std::uint16_t rasterTypeKey = 1025;
constexpr std::uint16_t isPoint = 2;
constexpr std::uint16_t citationKey = 1026;
constexpr std::uint16_t geographicKey = 2048;
constexpr std::uint16_t geographicCitationKey = 2049;
constexpr std::uint16_t projectedKey = 3072;
constexpr std::uint16_t projectedCitationKey = 3073;
constexpr std::uint16_t userDefined = 32767;

DirectoryEntry const* find(Entries const& entries, std::uint16_t tag) {
    auto const found = std::find_if(entries.begin(), entries.end(),
                                    [tag](auto const& entry) { return entry.tag == tag; });
    return found == entries.end() ? nullptr : &*found;
}

/// One row of the table of keys.
struct Key {
    std::uint64_t place;  ///< the tag that has the value; 0: the row itself
    std::uint64_t count;
    std::uint64_t value;
};

std::optional<Key> findKey(Entries const& entries, std::uint16_t key) {
    auto const* const keys = find(entries, keysTag);
    if (!keys) return std::nullopt;
    for (std::uint64_t i = 4; i + 3 < keys->count; i += 4) {
        auto const get = [&](std::uint64_t k) { return keys->getUnsigned(i + k).value_or(0); };
        if (get(0) == key) return Key{get(1), get(2), get(3)};
    }
    return std::nullopt;
}

std::uint64_t findCode(Entries const& entries, std::uint16_t key) {
    auto const found = findKey(entries, key);
    return found && found->place == 0 ? found->value : 0;
}

std::string findText(Entries const& entries, std::uint16_t key) {
    auto const found = findKey(entries, key);
    auto const* const texts = find(entries, textsTag);
    if (!found || found->place != textsTag || !texts) return {};
    std::string_view const all = texts->getText();
    if (found->value > all.size()) return {};
    auto const text = all.substr(found->value, found->count);
    return toUtf8(trim(text.substr(0, text.find('|'))));
}

std::string findSystem(Entries const& entries) {
    for (auto const key : {projectedKey, geographicKey}) {
        auto const code = findCode(entries, key);
        if (code > 0 && code < userDefined) return "EPSG:" + std::to_string(code);
        if (code == userDefined) break;  // a map of one's own, whatever it is made of
    }
    for (auto const key : {projectedCitationKey, citationKey, geographicCitationKey}) {
        if (auto text = findText(entries, key); !text.empty()) return text;
    }
    return {};
}

/// From stored pixels to the world. Control points alone say no such thing.
std::optional<Transform> findTransform(Entries const& entries) {
    Transform m{};
    auto const* const scale = find(entries, scaleTag);
    auto const* const tiePoint = find(entries, tiePointTag);
    auto const* const matrix = find(entries, matrixTag);
    if (matrix && matrix->count >= 16) {
        for (std::size_t i = 0; i < m.size(); ++i) m[i] = matrix->getNumber(i).value_or(0);
    } else if (scale && tiePoint && scale->count >= 2 && tiePoint->count >= 6) {
        auto const size = [&](std::uint64_t i) { return scale->getNumber(i).value_or(0); };
        auto const tie = [&](std::uint64_t i) { return tiePoint->getNumber(i).value_or(0); };
        m = {size(0), 0,        0,       tie(3) - tie(0) * size(0),
             0,       -size(1), 0,       tie(4) + tie(1) * size(1),
             0,       0,        size(2), tie(5) - tie(2) * size(2)};
    } else {
        return std::nullopt;
    }
    bool const isFinite =
        std::all_of(m.begin(), m.end(), [](double value) { return std::isfinite(value); });
    bool const isFlat = m[0] * m[5] - m[1] * m[4] == 0;
    if (!isFinite || isFlat) return std::nullopt;
    if (m[8] == 0 && m[9] == 0 && m[10] == 0) m[10] = 1;
    if (findCode(entries, rasterTypeKey) == isPoint) {
        // Its positions are centres of pixels, ours corners.
        for (std::size_t row = 0; row < 8; row += 4) m[row + 3] -= (m[row] + m[row + 1]) / 2;
    }
    return m;
}

/// From upright pixels to the world, out of that from stored ones.
Transform turnUpright(Transform const& m, PageInfo const& page) {
    using enum Orientation;
    auto const way = page.orientation;
    bool const swaps = Turn(way, page.storedWidth, page.storedHeight).swapsAxes();
    bool const turnsX =
        way == MirroredX || way == TurnedRound || way == Transverse || way == TurnedLeft;
    bool const turnsY =
        way == TurnedRound || way == MirroredY || way == TurnedRight || way == Transverse;
    Transform out = m;
    for (std::size_t row = 0; row < 12; row += 4) {
        auto x = m[row];
        auto y = m[row + 1];
        if (turnsX) out[row + 3] += x * static_cast<double>(page.storedWidth);
        if (turnsY) out[row + 3] += y * static_cast<double>(page.storedHeight);
        if (turnsX) x = -x;
        if (turnsY) y = -y;
        out[row] = swaps ? y : x;
        out[row + 1] = swaps ? x : y;
    }
    return out;
}

}  // namespace

void readPlace(DirectoryReader& directories, Directory const& directory, PageInfo const& page,
               Metadata& metadata) {
    Entries entries;
    for (auto const tag : {scaleTag, tiePointTag, matrixTag, keysTag, numbersTag, textsTag}) {
        if (auto entry = directories.load(directory, tag)) entries.push_back(std::move(*entry));
    }
    if (entries.empty()) return;
    metadata.properties["tiff:GeoTIFF"] = packEntries(entries);
    if (auto const m = findTransform(entries)) {
        metadata.place = Place{turnUpright(*m, page), findSystem(entries)};
    }
    // Positions in the tags are those of stored pixels.
    if (page.orientation == Orientation::Upright) {
        metadata.properties["tiff:Extent"] =
            std::to_string(page.width) + " x " + std::to_string(page.height);
    }
}

}  // namespace Quivo::detail
