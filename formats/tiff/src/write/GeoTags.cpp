#include "write/GeoTags.h"

#include "container/LibTiff.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <optional>
#include <string_view>

namespace Quivo::detail {

namespace {

using Entries = std::vector<DirectoryEntry>;
using Transform = std::array<double, 12>;

constexpr std::uint16_t scaleTag = 33550, tiePointTag = 33922, matrixTag = 34264, keysTag = 34735,
                        numbersTag = 34736, textsTag = 34737;
constexpr std::uint16_t modelTypeKey = 1024, rasterTypeKey = 1025, citationKey = 1026,
                        geographicKey = 2048, projectedKey = 3072;
constexpr std::uint16_t isPointValue = 2, userDefined = 32767;

DirectoryEntry const* find(Entries const& entries, std::uint16_t tag) {
    auto const found = std::find_if(entries.begin(), entries.end(),
                                    [tag](auto const& entry) { return entry.tag == tag; });
    return found == entries.end() ? nullptr : &*found;
}

/// The value of a key that stands in the table of keys itself.
std::optional<std::uint64_t> findKey(Entries const& entries, std::uint16_t key) {
    auto const* const keys = find(entries, keysTag);
    if (!keys) return std::nullopt;
    for (std::uint64_t i = 4; i + 3 < keys->count; i += 4) {
        bool const standsThere = keys->getUnsigned(i) == key && keys->getUnsigned(i + 1) == 0;
        if (standsThere) return keys->getUnsigned(i + 3);
    }
    return std::nullopt;
}

bool isPoint(Entries const& entries) { return findKey(entries, rasterTypeKey) == isPointValue; }

/// Positions of pixels are those of their left upper corners here, and of their centres there.
void moveByHalf(Transform& m, double distance) {
    for (std::size_t row = 0; row < 8; row += 4) m[row + 3] += (m[row] + m[row + 1]) * distance;
}

/// What the tags say of x and y; nothing where they say nothing, or by control points alone.
std::optional<Transform> parseTransform(Entries const& entries) {
    Transform m{};
    auto const* const scale = find(entries, scaleTag);
    auto const* const tiePoint = find(entries, tiePointTag);
    if (auto const* const matrix = find(entries, matrixTag); matrix && matrix->count >= 16) {
        for (std::size_t i = 0; i < m.size(); ++i) m[i] = matrix->getNumber(i).value_or(0);
    } else if (scale && tiePoint && scale->count >= 2 && tiePoint->count >= 6) {
        auto const tie = [&](std::uint64_t i) { return tiePoint->getNumber(i).value_or(0); };
        double const width = scale->getNumber(0).value_or(0);
        double const height = scale->getNumber(1).value_or(0);
        m = {width, 0, 0, tie(3) - tie(0) * width, 0, -height, 0, tie(4) + tie(1) * height};
    } else {
        return std::nullopt;
    }
    if (isPoint(entries)) moveByHalf(m, -0.5);
    return m;
}

bool areSame(Transform const& a, Transform const& b) {
    for (std::size_t row = 0; row < 8; row += 4) {
        // As far as a thousandth of a pixel at the far end of the largest of images.
        double const pixel = std::abs(a[row]) + std::abs(a[row + 1]);
        for (std::size_t const i : {row, row + 1}) {
            if (std::abs(a[i] - b[i]) > 1e-12 * pixel) return false;
        }
        double const offset = std::abs(a[row + 3] - b[row + 3]);
        if (offset > 1e-6 * pixel + 1e-15 * std::abs(a[row + 3])) return false;
    }
    return true;
}

void addTransform(Place const& place, bool ofCentres, TagList& tags) {
    auto m = place.toWorld;
    if (ofCentres) moveByHalf(m, 0.5);
    bool const isUpright = m[0] > 0 && m[1] == 0 && m[2] == 0 && m[4] == 0 && m[5] < 0 &&
                           m[6] == 0 && m[8] == 0 && m[9] == 0;
    if (isUpright) {
        bool const isFlat = m[10] == 1 && m[11] == 0;
        tags.addDoubles(scaleTag, std::array{m[0], -m[5], isFlat ? 0 : m[10]});
        tags.addDoubles(tiePointTag, std::array{0.0, 0.0, 0.0, m[3], m[7], m[11]});
        return;
    }
    std::array<double, 16> matrix{};
    std::copy(m.begin(), m.end(), matrix.begin());
    matrix[15] = 1;
    tags.addDoubles(matrixTag, matrix);
}

std::optional<std::uint16_t> parseEpsg(std::string_view system) {
    if (!system.starts_with("EPSG:")) return std::nullopt;
    system.remove_prefix(5);
    std::uint16_t code = 0;
    auto const* const end = system.data() + system.size();
    auto const [rest, error] = std::from_chars(system.data(), end, code);
    if (error != std::errc() || rest != end || code == 0 || code == userDefined) return {};
    return code;
}

/// Numbers of systems of longitude and latitude are those from 4000 on, of maps all others.
bool isGeographic(std::uint16_t code) { return code >= 4000 && code < 5000; }

void addKeys(std::string const& system, TagList& tags) {
    if (system.empty()) return;
    if (auto const code = parseEpsg(system)) {
        bool const isAngles = isGeographic(*code);
        tags.addShorts(keysTag, std::array<std::uint16_t, 16>{
                                    1, 1, 0, 3, modelTypeKey, 0, 1,
                                    isAngles ? std::uint16_t{2} : std::uint16_t{1}, rasterTypeKey,
                                    0, 1, 1, isAngles ? geographicKey : projectedKey, 0, 1, *code});
        return;
    }
    // Texts are ASCII, and end with a bar.
    std::string text = system.substr(0, 0xfff0);
    std::replace_if(
        text.begin(), text.end(), [](char c) { return c < 0x20 || c == '|'; }, ' ');
    text += '|';
    tags.addShorts(keysTag, std::array<std::uint16_t, 16>{
                                1, 1, 0, 3, modelTypeKey, 0, 1, userDefined, rasterTypeKey, 0, 1, 1,
                                citationKey, textsTag, static_cast<std::uint16_t>(text.size()), 0});
    tags.addText(textsTag, text);
}

/// Whether the keys name another system than the place does.
bool isOtherSystem(Entries const& entries, Place const& place) {
    auto const wanted = parseEpsg(place.system);
    if (!wanted) return false;
    auto code = findKey(entries, projectedKey);
    if (!code || *code == userDefined) code = findKey(entries, geographicKey);
    return code && *code != userDefined && *code != *wanted;
}

}  // namespace

void addGeoTags(Metadata const& metadata, Vector const& extent, TagList& tags,
                std::vector<std::string>& losses) {
    auto const& properties = metadata.properties;
    Entries raw;
    if (auto const found = properties.find("tiff:GeoTIFF"); found != properties.end()) {
        raw = unpackEntries(found->second);
    }
    auto const ownExtent = std::to_string(extent.x) + " x " + std::to_string(extent.y);
    auto const told = properties.find("tiff:Extent");
    bool const isWhole = told != properties.end() && told->second == ownExtent;
    auto const& place = metadata.place;
    auto const transform = parseTransform(raw);
    bool const isOther = place && isOtherSystem(raw, *place);
    bool const isSame =
        !isOther && (place ? transform && areSame(*transform, place->toWorld) : isWhole);
    if (isSame && isWhole) {
        for (auto const& entry : raw) tags.add(entry);
        return;
    }
    bool const keepsKeys = find(raw, keysTag) && !isOther;
    if (place) addTransform(*place, keepsKeys && isPoint(raw), tags);
    if (!place && find(raw, tiePointTag)) losses.emplace_back("the ground control points");
    if (keepsKeys) {
        for (auto const tag : {keysTag, numbersTag, textsTag}) {
            if (auto const* const entry = find(raw, tag)) tags.add(*entry);
        }
    } else if (place) {
        addKeys(place->system, tags);
    }
}

}  // namespace Quivo::detail
