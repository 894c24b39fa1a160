#include "write/MetadataTags.h"

#include "container/GdalMetadata.h"
#include "container/LibTiff.h"
#include "write/ColourTags.h"
#include "write/GeoTags.h"
#include "write/OmeXml.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <limits>
#include <optional>
#include <string_view>

namespace Quivo::detail {

namespace {

constexpr std::uint16_t gdalMetadataTag = 42112, gdalNoDataTag = 42113;

std::string const* find(Metadata const& metadata, char const* name) {
    auto const found = metadata.properties.find(name);
    bool const hasOne = found != metadata.properties.end() && !found->second.empty();
    return hasOne ? &found->second : nullptr;
}

/// A date of TIFF, "2026:11:24 00:30:00", as ISO 8601 has it, and back; empty for what is none.
///@{
std::string toIso(std::string_view date) {
    std::string text(date.substr(0, date.find('\0')));
    constexpr std::string_view form = "dddd:dd:dd dd:dd:dd";
    bool isDate = text.size() == form.size();
    for (std::size_t i = 0; isDate && i < form.size(); ++i) {
        isDate = form[i] == 'd' ? std::isdigit(static_cast<unsigned char>(text[i])) != 0
                                : text[i] == form[i];
    }
    if (!isDate) return {};
    text[4] = text[7] = '-';
    text[10] = 'T';
    return text;
}

std::string fromIso(std::string_view date) {
    std::string text(date.substr(0, 19));
    if (text.size() != 19 || text[4] != '-' || text[7] != '-' || text[10] != 'T') return {};
    text[4] = text[7] = ':';
    text[10] = ' ';
    return text;
}
///@}

/// Whether a text of a file, in whatever encoding, is a description but for what surrounds it.
bool isTextOf(std::string_view raw, std::string const& description) {
    bool const isAscii = std::all_of(raw.begin(), raw.end(),
                                     [](char c) { return static_cast<unsigned char>(c) < 0x80; });
    return !isAscii || raw.find(description) != std::string_view::npos;
}

/// The numbers of micrometres that descriptions of slides say a pixel has, and whether the first of
/// them is a size in nanometres.
struct PixelSizes {
    std::vector<std::pair<std::size_t, std::size_t>> places;  ///< where they begin, their lengths
    bool isTold = false;
};

PixelSizes findPixelSizes(std::string_view text, double nanometres) {
    PixelSizes found;
    for (std::string_view const word : {"MPP", "MicronsPerPixel"}) {
        for (auto at = text.find(word); at != text.npos; at = text.find(word, at + 1)) {
            bool const isInWord = at > 0 && std::isalnum(static_cast<unsigned char>(text[at - 1]));
            auto const begin = text.find_first_not_of(" =:\"'", at + word.size());
            if (isInWord || begin == text.npos || begin == at + word.size()) continue;
            double value = 0;
            char const* const start = text.data() + begin;
            auto const [rest, error] = std::from_chars(start, text.data() + text.size(), value);
            if (error != std::errc() || !(value > 0)) continue;
            found.isTold = found.isTold || std::abs(value * 1000 - nanometres) < 1e-6 * nanometres;
            found.places.emplace_back(begin, static_cast<std::size_t>(rest - start));
        }
    }
    return found;
}

/// Makes a description say the size that pixels have now.
void setPixelSizes(std::string& text, double nanometres) {
    auto found = findPixelSizes(text, nanometres);
    if (found.isTold || !(nanometres > 0)) return;
    char number[32];
    auto const end = std::to_chars(number, number + sizeof(number), nanometres / 1000).ptr;
    std::sort(found.places.rbegin(), found.places.rend());
    for (auto const& [begin, size] : found.places) {
        text.replace(begin, size, number, static_cast<std::size_t>(end - number));
    }
}

/// A number of GDAL's: also with spaces around it and a comma in it.
std::optional<double> parseNumber(std::string_view text) {
    std::string clean(text.substr(0, text.find('\0')));
    std::replace(clean.begin(), clean.end(), ',', '.');
    auto const first = clean.find_first_not_of(" \t\r\n+");
    if (first == std::string::npos) return std::nullopt;
    auto const last = clean.find_last_not_of(" \t\r\n");
    // What the C library of Windows writes.
    if (clean.find("1.#INF") != std::string::npos) {
        auto const infinity = std::numeric_limits<double>::infinity();
        return clean.find('-') == std::string::npos ? infinity : -infinity;
    }
    double value = 0;
    auto const [rest, error] =
        std::from_chars(clean.data() + first, clean.data() + last + 1, value);
    if (error != std::errc() || rest != clean.data() + last + 1) return std::nullopt;
    return value;
}

/// Whether samples of a type can be told to be one number or the other.
bool areSame(double a, double b, SampleType type) {
    bool const areShort = type == SampleType::F16 || type == SampleType::F32;
    constexpr double most = std::numeric_limits<float>::max();
    auto const toFloat = [=](double value) {
        return static_cast<float>(std::isinf(value) ? value : std::clamp(value, -most, most));
    };
    return a == b || (std::isnan(a) && std::isnan(b)) || (areShort && toFloat(a) == toFloat(b));
}

/// Fractions and unit of a text "XNUM/XDEN YNUM/YDEN UNIT".
struct Resolution {
    std::array<std::array<std::uint32_t, 2>, 2> perUnit{};
    unsigned unit = 0;

    [[nodiscard]] double getPixelSize(std::size_t axis) const {
        double const nanometres = unit == RESUNIT_INCH         ? 25.4e6
                                  : unit == RESUNIT_CENTIMETER ? 1e7
                                                               : 0;
        auto const& [numerator, denominator] = perUnit[axis];
        return numerator == 0 ? 0 : nanometres * double(denominator) / double(numerator);
    }
};

std::optional<Resolution> parseResolution(std::string const& text) {
    Resolution r;
    auto& [x, y] = r.perUnit;
    int const count =
        std::sscanf(text.c_str(), "%u/%u %u/%u %u", &x[0], &x[1], &y[0], &y[1], &r.unit);
    return count == 5 ? std::optional(r) : std::nullopt;
}

}  // namespace

MetadataTags::MetadataTags(Metadata const& metadata, WrittenShape const& shape) {
    addDescription(metadata, shape);
    addTexts(metadata, shape);
    addDate(metadata);
    addBlocks(metadata);
    addGeoTags(metadata, shape.extent, first_, losses_);
    addChannels(metadata, shape);
    addNoData(metadata, shape);
    readResolution(metadata);
}

void MetadataTags::addDescription(Metadata const& metadata, WrittenShape const& shape) {
    // What says which page is which plane is only true as long as the pages are the same.
    struct {
        char const* property;
        bool (*isTrue)(std::string const&, long long, WrittenShape const&);
        char const* loss;
    } const structured[] = {
        {"ome:XML", isOmeXmlTrue, "the OME-XML"},
        {"imagej:Description", isImageJTrue, "ImageJ's description of the planes"},
    };
    auto const numChannels = std::ssize(metadata.channels);
    if (shape.layout == TiffLayout::Ome) {
        first_.addText(TIFFTAG_IMAGEDESCRIPTION, makeOmeXml(metadata, shape));
        auto const* const old = find(metadata, "ome:XML");
        auto const items = old ? findFurtherOmeItems(*old) : std::string();
        if (!items.empty()) losses_.push_back("what the OME-XML says further (" + items + ")");
        return;
    }
    for (auto const& [property, isTrue, loss] : structured) {
        auto const* const text = find(metadata, property);
        if (!text) continue;
        if (isTrue(*text, numChannels, shape)) {
            first_.addText(TIFFTAG_IMAGEDESCRIPTION, *text);
            saysPixelSize_ = true;
        } else {
            losses_.push_back(std::string(loss) +
                              ", which no longer fits (--layout ome writes a new one)");
        }
    }
    if (metadata.description.empty()) return;
    auto const* const raw = find(metadata, "tiff:ImageDescription");
    std::string text = raw && isTextOf(*raw, metadata.description) ? *raw : metadata.description;
    saysPixelSize_ = saysPixelSize_ || findPixelSizes(text, metadata.pixelSize[0]).isTold;
    setPixelSizes(text, metadata.pixelSize[0]);
    first_.addText(TIFFTAG_IMAGEDESCRIPTION, text);
}

void MetadataTags::addTexts(Metadata const& metadata, WrittenShape const&) {
    std::pair<char const*, std::uint16_t> const texts[] = {
        {"tiff:DocumentName", TIFFTAG_DOCUMENTNAME},
        {"tiff:Make", TIFFTAG_MAKE},
        {"tiff:Model", TIFFTAG_MODEL},
        {"tiff:Artist", TIFFTAG_ARTIST},
        {"tiff:HostComputer", TIFFTAG_HOSTCOMPUTER},
        {"tiff:Copyright", TIFFTAG_COPYRIGHT},
    };
    for (auto const& [property, tag] : texts) {
        if (auto const* const text = find(metadata, property)) first_.addText(tag, *text);
    }
}

void MetadataTags::addDate(Metadata const& metadata) {
    auto const* const raw = find(metadata, "tiff:DateTime");
    auto const told = raw ? toIso(*raw) : std::string();
    if (raw && (told.empty() || told == metadata.date)) {
        first_.addText(TIFFTAG_DATETIME, *raw);
    } else if (auto const date = fromIso(metadata.date); !date.empty()) {
        first_.addText(TIFFTAG_DATETIME, date);
    } else if (!metadata.date.empty()) {
        losses_.push_back("the date " + metadata.date);
    }
}

void MetadataTags::addBlocks(Metadata const& metadata) {
    struct {
        char const* property;
        std::uint16_t tag, type;
    } const blocks[] = {
        {"tiff:XMP", TIFFTAG_XMLPACKET, TIFF_BYTE},
        {"tiff:IPTC", TIFFTAG_RICHTIFFIPTC, TIFF_UNDEFINED},
        {"tiff:Photoshop", TIFFTAG_PHOTOSHOP, TIFF_BYTE},
    };
    for (auto const& [property, tag, type] : blocks) {
        if (auto const* const bytes = find(metadata, property)) first_.add(tag, type, *bytes);
    }
    if (!metadata.colourProfile.empty()) {
        auto const* const bytes = reinterpret_cast<char const*>(metadata.colourProfile.data());
        first_.add(TIFFTAG_ICCPROFILE, TIFF_UNDEFINED, {bytes, metadata.colourProfile.size()});
    }
    // What points elsewhere in the file that it came from leads nowhere in this one.
    constexpr std::uint16_t interoperabilityTag = 40965;
    std::pair<char const*, std::uint16_t> const directories[] = {{"tiff:EXIF", TIFFTAG_EXIFIFD},
                                                                 {"tiff:GPS", TIFFTAG_GPSIFD}};
    for (auto const& [property, tag] : directories) {
        auto const* const packed = find(metadata, property);
        if (!packed) continue;
        TagList entries;
        for (auto& entry : unpackEntries(*packed)) {
            bool const points = entry.tag == interoperabilityTag || entry.type == TIFF_IFD ||
                                entry.type == TIFF_IFD8;
            if (!points) entries.add(std::move(entry));
        }
        if (!entries.getEntries().empty()) directories_.emplace_back(tag, std::move(entries));
    }
}

void MetadataTags::addChannels(Metadata const& metadata, WrittenShape const& shape) {
    auto const colours =
        shape.arePagesApart ? describePlanes(metadata) : chooseColours(metadata, shape.sampleType);
    losses_.insert(losses_.end(), colours.losses.begin(), colours.losses.end());
    GdalMetadata wanted;
    auto const implied = getImpliedNames(metadata);
    bool isImplied = true, hasColours = false, hasWindows = false;
    for (std::size_t c = 0; c < implied.size(); ++c) {
        auto const& channel = metadata.channels[c];
        wanted.channels.push_back({channel.name, {}});
        for (auto const& item : channel.properties) {
            if (item.first.starts_with("gdal:")) wanted.channels.back().items.insert(item);
        }
        isImplied = isImplied && (channel.name.empty() || channel.name == implied[c]);
        hasColours = hasColours || channel.colour.has_value();
        hasWindows = hasWindows || channel.window.has_value();
    }
    for (auto const& item : metadata.properties) {
        if (item.first.starts_with("gdal:")) wanted.items.insert(item);
    }
    auto const isOme = shape.layout == TiffLayout::Ome;
    if (hasColours && !isOme) {
        losses_.emplace_back("the colours of the channels (--layout ome keeps them)");
    }
    // A single slice has a thickness as well.
    if (metadata.pixelSize[2] > 0 && !isOme && !saysPixelSize_) {
        losses_.emplace_back("the distance of the slices (--layout ome keeps it)");
    }
    if (hasWindows) losses_.emplace_back("the display windows of the channels");
    if (auto const* const raw = find(metadata, "tiff:GDALMetadata")) {
        auto told = parseGdalMetadata(*raw, std::ssize(metadata.channels));
        // A name may be told, or what goes without saying.
        for (std::size_t c = 0; c < implied.size(); ++c) {
            auto& name = told.channels[c].name;
            if (name.empty() && wanted.channels[c].name == implied[c]) name = implied[c];
        }
        if (told == wanted) {
            first_.addText(gdalMetadataTag, *raw);
            return;
        }
    }
    if (isImplied) {
        for (auto& channel : wanted.channels) channel.name.clear();
    }
    auto const xml = toGdalXml(wanted);
    if (xml.empty() && find(metadata, "tiff:GDALMetadata")) {
        losses_.emplace_back("GDAL's items of channels that there are no more");
    }
    if (!xml.empty()) first_.addText(gdalMetadataTag, xml);
}

void MetadataTags::addNoData(Metadata const& metadata, WrittenShape const& shape) {
    auto const* const raw = find(metadata, "tiff:GDALNoData");
    auto const told = raw ? parseNumber(*raw) : std::nullopt;
    if (!metadata.noData) {
        if (told) losses_.push_back("the no-data value " + *raw + ", which no sample is any more");
        return;
    }
    if (told && areSame(*told, *metadata.noData, shape.sampleType)) {
        every_.addText(gdalNoDataTag, *raw);
        return;
    }
    char text[32];
    auto const end = std::to_chars(text, text + sizeof(text), *metadata.noData).ptr;
    every_.addText(gdalNoDataTag, std::string_view(text, static_cast<std::size_t>(end - text)));
}

void MetadataTags::readResolution(Metadata const& metadata) {
    auto const& size = metadata.pixelSize;
    auto const* const text = find(metadata, "tiff:Resolution");
    auto const raw = text ? parseResolution(*text) : std::nullopt;
    auto const isStill = [&](std::size_t axis) {
        // Readers may have gone through floats of 32 bits.
        return std::abs(raw->getPixelSize(axis) - size[axis]) <= 1e-6 * size[axis];
    };
    // Where the description says the size of a pixel, the tags need not.
    if (raw && (saysPixelSize_ || (isStill(0) && isStill(1)))) {
        resolution_ = raw->perUnit;
        resolutionUnit_ = static_cast<std::uint16_t>(raw->unit);
        return;
    }
    bool isKept = true;
    for (std::size_t axis = 0; axis < 2; ++axis) {
        if (!(size[axis] > 0)) continue;
        constexpr double nanometresPerCentimetre = 1e7;
        resolution_[axis] = toRational(nanometresPerCentimetre / size[axis]);
        resolutionUnit_ = RESUNIT_CENTIMETER;
        isKept = isKept && resolution_[axis][1] > 0;
    }
    if (isKept) return;
    losses_.emplace_back("the size of a pixel");
    resolutionUnit_ = 0;
}

TagList MetadataTags::makeResolution(long long level) const {
    TagList tags;
    bool const hasLength = resolutionUnit_ == RESUNIT_INCH || resolutionUnit_ == RESUNIT_CENTIMETER;
    if (resolutionUnit_ == 0 || (level > 0 && !hasLength)) return tags;
    auto scaled = resolution_;
    for (auto& [numerator, denominator] : scaled) {
        for (long long i = 0; i < level; ++i) {
            if (denominator <= std::numeric_limits<std::uint32_t>::max() / 2) {
                denominator *= 2;
            } else {
                numerator /= 2;
            }
        }
    }
    for (std::size_t axis = 0; axis < 2; ++axis) {
        auto const tag =
            static_cast<std::uint16_t>(axis == 0 ? TIFFTAG_XRESOLUTION : TIFFTAG_YRESOLUTION);
        bool const isTold = resolution_[axis] != std::array<std::uint32_t, 2>{};
        if (isTold) tags.addRationals(tag, {&scaled[axis], 1});
    }
    tags.addShort(TIFFTAG_RESOLUTIONUNIT, resolutionUnit_);
    return tags;
}

std::uint64_t MetadataTags::countBytes() const noexcept {
    auto sum = first_.getValueBytes();
    for (auto const& directory : directories_) sum += directory.second.getValueBytes();
    return sum;
}

Metadata withoutPeople(Metadata metadata) {
    static constexpr std::array<std::string_view, 6> kept{"tiff:Resolution", "tiff:GeoTIFF",
                                                          "tiff:Extent",     "tiff:ColorMap",
                                                          "tiff:GDALNoData", "tiff:InkNames"};
    static constexpr std::array<std::string_view, 3> keptOfChannels{"gdal:UNITTYPE", "gdal:SCALE",
                                                                    "gdal:OFFSET"};
    auto const keep = [](auto& properties, auto const& names) {
        std::erase_if(properties, [&](auto const& property) {
            return std::find(names.begin(), names.end(), property.first) == names.end();
        });
    };
    metadata.description.clear();
    metadata.date.clear();
    keep(metadata.properties, kept);
    for (auto& channel : metadata.channels) keep(channel.properties, keptOfChannels);
    return metadata;
}

}  // namespace Quivo::detail
