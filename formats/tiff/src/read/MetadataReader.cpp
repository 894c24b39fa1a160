#include "read/MetadataReader.h"

#include "container/ChannelNames.h"
#include "read/Lengths.h"
#include "read/PlaceReader.h"

#include <quivo/image/ChannelNames.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstring>
#include <limits>
#include <string_view>

namespace Quivo::detail {

namespace {

constexpr std::uint16_t gdalMetadataTag = 42112;
constexpr std::uint16_t gdalNoDataTag = 42113;

/// "2026:11:24 00:30:00" as ISO 8601; empty for what is no date.
std::string toIsoDate(std::string_view date) {
    std::string text(trim(date));
    constexpr std::string_view form = "dddd:dd:dd dd:dd:dd";
    if (text.size() != form.size()) return {};
    for (std::size_t i = 0; i < form.size(); ++i) {
        bool const isDigit = text[i] >= '0' && text[i] <= '9';
        bool const isDash = i < 10 && form[i] == ':' && text[i] == '-';
        bool const isMark = text[i] == form[i] || isDash || (form[i] == ' ' && text[i] == 'T');
        if (form[i] == 'd' ? !isDigit : !isMark) return {};
    }
    text[4] = text[7] = '-';
    text[10] = 'T';
    return text.starts_with("0000") ? std::string() : text;
}

/// The number behind a word, "MPP = 0.2526" or "MicronsPerPixel: 0.25", as micrometres.
double findMicrometres(std::string_view text, std::string_view word) {
    for (auto at = text.find(word); at != text.npos; at = text.find(word, at + 1)) {
        bool const isStart = at == 0 || !std::isalnum(static_cast<unsigned char>(text[at - 1]));
        auto rest = text.substr(at + word.size());
        auto const begin = rest.find_first_not_of(" =:\"'");
        if (!isStart || begin == rest.npos || begin == 0) continue;
        rest.remove_prefix(begin);
        auto const end = std::min(rest.find_first_not_of("0123456789.eE+-"), rest.size());
        if (auto const length = parseLength(rest.substr(0, end), "um"); length > 0) return length;
    }
    return 0;
}

class Reading {
public:
    Reading(DirectoryReader& directories, PyramidLayout const& layout)
        : directories_(directories),
          layout_(layout),
          page_(layout.getFirstPage()),
          directory_(directories.read(page_.directory).value_or(Directory())) {}

    ToldMetadata read() {
        readTexts();
        readBlocks();
        readPlace(directories_, directory_, page_, result_.image);
        readPixelSize();
        readChannels();
        readNoData();
        return std::move(result_);
    }

private:
    void keep(char const* property, std::string_view bytes) {
        if (!bytes.empty()) result_.image.properties[property] = bytes;
    }

    void readTexts() {
        auto const get = [&](std::uint16_t tag) { return directories_.getText(directory_, tag); };
        struct {
            char const* property;
            std::uint16_t tag;
        } const texts[] = {
            {"tiff:DocumentName", TIFFTAG_DOCUMENTNAME},
            {"tiff:PageName", TIFFTAG_PAGENAME},
            {"tiff:Make", TIFFTAG_MAKE},
            {"tiff:Model", TIFFTAG_MODEL},
            {"tiff:Software", TIFFTAG_SOFTWARE},
            {"tiff:DateTime", TIFFTAG_DATETIME},
            {"tiff:Artist", TIFFTAG_ARTIST},
            {"tiff:HostComputer", TIFFTAG_HOSTCOMPUTER},
            {"tiff:TargetPrinter", TIFFTAG_TARGETPRINTER},
            {"tiff:Copyright", TIFFTAG_COPYRIGHT},
            {"tiff:GDALMetadata", gdalMetadataTag},
            {"tiff:GDALNoData", gdalNoDataTag},
        };
        for (auto const& [property, tag] : texts) keep(property, get(tag));
        result_.image.date = toIsoDate(get(TIFFTAG_DATETIME));
        auto const text = get(TIFFTAG_IMAGEDESCRIPTION);
        auto const& stack = layout_.stack;
        std::string_view const head = std::string_view(text).substr(0, 4096);
        if (!stack.property.empty()) {
            keep(stack.property.c_str(), stack.text);
            result_.image.description = stack.description;
            if (!stack.date.empty()) result_.image.date = stack.date;
        } else if (!layout_.isSinglePage ||
                   !(head.starts_with("ImageJ=") || head.find("<OME") != head.npos)) {
            result_.image.description = toUtf8(trim(text));
            if (result_.image.description != text) keep("tiff:ImageDescription", text);
        }
        description_ = text;
    }

    void readBlocks() {
        struct {
            char const* property;
            std::uint16_t tag;
        } const blocks[] = {
            {"tiff:XMP", TIFFTAG_XMLPACKET},
            {"tiff:IPTC", TIFFTAG_RICHTIFFIPTC},
            {"tiff:Photoshop", TIFFTAG_PHOTOSHOP},
            {"tiff:InkNames", TIFFTAG_INKNAMES},
        };
        for (auto const& [property, tag] : blocks) {
            auto entry = directories_.load(directory_, tag);
            if (!entry) continue;
            bool const isTurned = directories_.isBigEndian() && getTypeBytes(entry->type) == 4;
            if (isTurned) {  // bytes that are called numbers, and were turned as such
                for (std::size_t i = 0; i + 4 <= entry->bytes.size(); i += 4) {
                    std::reverse(&entry->bytes[i], &entry->bytes[i] + 4);
                }
            }
            keep(property, entry->bytes);
        }
        auto const map = directories_.load(directory_, TIFFTAG_COLORMAP);
        if (map && page_.colourModel == ColourModel::Classes) keep("tiff:ColorMap", map->bytes);
        if (auto const profile = directories_.load(directory_, TIFFTAG_ICCPROFILE)) {
            auto const* const bytes = reinterpret_cast<std::byte const*>(profile->bytes.data());
            result_.image.colourProfile.assign(bytes, bytes + profile->bytes.size());
        }
        std::pair<char const*, std::uint16_t> const places[] = {{"tiff:EXIF", TIFFTAG_EXIFIFD},
                                                                {"tiff:GPS", TIFFTAG_GPSIFD}};
        for (auto const& [property, tag] : places) {
            auto const offset = directories_.getUnsigned(directory_, tag);
            if (offset) keep(property, packEntries(directories_.loadAll(*offset)));
        }
    }

    void readPixelSize() {
        constexpr std::uint64_t none = 1;
        constexpr std::uint64_t inch = 2;
        constexpr std::uint64_t centimetre = 3;
        auto const unit =
            directories_.getUnsigned(directory_, TIFFTAG_RESOLUTIONUNIT).value_or(inch);
        double const nanometres = unit == inch ? 25.4e6 : unit == centimetre ? 1e7 : 0;
        auto const x = directories_.load(directory_, TIFFTAG_XRESOLUTION, 16);
        auto const y = directories_.load(directory_, TIFFTAG_YRESOLUTION, 16);
        auto& size = result_.image.pixelSize;
        if (nanometres > 0) {
            size[0] =
                detail::readPixelSize(directories_, directory_, TIFFTAG_XRESOLUTION, nanometres);
            size[1] =
                detail::readPixelSize(directories_, directory_, TIFFTAG_YRESOLUTION, nanometres);
        }
        bool const swaps =
            Turn(page_.orientation, page_.storedWidth, page_.storedHeight).swapsAxes();
        if (swaps) std::swap(size[0], size[1]);
        auto const textOf = [](DirectoryEntry const& entry) {
            auto const [above, below] = entry.getRatio().value_or(std::pair(0.0, 0.0));
            return std::to_string(static_cast<long long>(above)) + "/" +
                   std::to_string(static_cast<long long>(below));
        };
        if (x && y && x->getRatio() && y->getRatio()) {
            bool const isKnown = unit >= none && unit <= centimetre;
            keep("tiff:Resolution", textOf(swaps ? *y : *x) + " " + textOf(swaps ? *x : *y) + " " +
                                        std::to_string(isKnown ? unit : none));
        }
        if (layout_.isFirstPage) {
            for (auto const* word : {"MPP", "MicronsPerPixel"}) {
                double const told = findMicrometres(description_, word);
                if (told > 0) size[0] = size[1] = told;
            }
        }
        for (std::size_t axis = 0; axis < 3; ++axis) {
            auto const told = layout_.stack.pixelSize[axis];
            if (told > 0) size[axis] = told;
        }
    }

    void readChannels() {
        result_.image.colourModel =
            layout_.planesPerSlice == 1 ? page_.colourModel : ColourModel::None;
        auto const found = result_.image.properties.find("tiff:GDALMetadata");
        if (found == result_.image.properties.end()) return;
        // Items are those of stored samples, which a palette has none of; where planes lie in
        // pages of their own, the first of them speaks for all.
        bool const areStored = page_.presentation != Presentation::Palette;
        auto const numChannels = areStored ? layout_.getNumChannels() : 0;
        auto told = parseGdalMetadata(found->second, numChannels);
        if (areStored) result_.names = parseChannelXml(found->second, numChannels);
        result_.channels = std::move(told.channels);
        result_.image.properties.insert(told.items.begin(), told.items.end());
    }

    void readNoData() { result_.image.noData = layout_.noData; }

    DirectoryReader& directories_;
    PyramidLayout const& layout_;
    PageInfo const& page_;
    Directory directory_;
    std::string description_;
    ToldMetadata result_;
};

}  // namespace

ToldMetadata readMetadata(DirectoryReader& directories, PyramidLayout const& layout) {
    return Reading(directories, layout).read();
}

ChannelMetadata describeChannel(ToldMetadata const& told, PyramidLayout const& layout,
                                long long channel) {
    PageInfo const& page = layout.getFirstPage();
    bool const isPlain = layout.planesPerSlice == 1;
    bool const isAlone = page.numChannels == 1;
    auto const plane = static_cast<std::size_t>(channel / page.numChannels);
    auto const ofPage = channel % page.numChannels;
    auto const sample = static_cast<std::size_t>(channel);
    auto const& planes = layout.stack.channels;
    auto const ofPlane = plane < planes.size() ? planes[plane] : ChannelMetadata();
    ChannelMetadata result = isAlone ? ofPlane : ChannelMetadata();
    if (result.name.empty() && sample < told.names.size()) result.name = told.names[sample];
    if (result.name.empty() && isAlone && isPlain) result.name = getUsualChannelName(0, 1);
    if (result.name.empty() && !isAlone) {
        auto const numColours = !page.hasColours ? 0 : page.hasAlpha ? 4 : 3;
        result.name = getUsualChannelName(ofPage, numColours);
    }
    if (!isPlain && !isAlone && !ofPlane.name.empty()) {
        auto const part = result.name.empty() ? std::to_string(ofPage + 1) : result.name;
        result.name = ofPlane.name + " " + part;
    }
    if (sample < told.channels.size()) {
        auto const& items = told.channels[sample].items;
        result.properties.insert(items.begin(), items.end());
    }
    auto const opacity = page.opacity.find(ofPage);
    if (opacity != page.opacity.end()) result.alpha = opacity->second;
    return result;
}

}  // namespace Quivo::detail
