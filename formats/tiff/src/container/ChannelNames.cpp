#include "container/ChannelNames.h"

#include <pugixml.hpp>

#include <algorithm>
#include <array>
#include <charconv>
#include <new>

namespace Quivo::detail {

namespace {

constexpr std::uint32_t channelTag = 42112;

// What is read takes many times its size, node by node. Other metadata may stand there as well.
constexpr std::size_t maxXmlSize = std::size_t{1} << 20;
constexpr std::size_t maxXmlSizePerChannel = 1024;

/// Appends what is saved to a text.
struct TextWriter : pugi::xml_writer {
    std::string text;
    void write(void const* data, std::size_t size) override {
        text.append(static_cast<char const*>(data), size);
    }
};

pugi::xml_document parse(std::string_view text, unsigned options) {
    pugi::xml_document document;
    auto const result = document.load_buffer(
        text.data(), text.size(),
        options | pugi::parse_cdata | pugi::parse_eol | pugi::parse_ws_pcdata_single,
        pugi::encoding_utf8);
    if (result.status == pugi::status_out_of_memory) throw std::bad_alloc();
    if (!result) document.reset();
    return document;
}

/// Whether `name` stands for a character between '&' and ';'.
bool isReference(std::string_view name) {
    static constexpr std::array<std::string_view, 5> known{"amp", "lt", "gt", "quot", "apos"};
    if (!name.starts_with('#')) return std::find(known.begin(), known.end(), name) != known.end();
    bool const isHex = name.starts_with("#x");
    name.remove_prefix(isHex ? 2 : 1);
    std::uint32_t code = 0;
    char const* const end = name.data() + name.size();
    auto const [rest, error] = std::from_chars(name.data(), end, code, isHex ? 16 : 10);
    bool const isCharacter = (code >= 0x20 || code == '\t' || code == '\n' || code == '\r') &&
                             (code < 0xd800 || code > 0xdfff) && code <= 0x10ffff;
    return error == std::errc() && rest == end && isCharacter;
}

/// Whether the parser, which leaves what it does not know as it is, understands all references.
bool isUnderstood(std::string_view text) {
    for (auto at = text.find('&'); at != std::string_view::npos; at = text.find('&')) {
        text.remove_prefix(at + 1);
        auto const end = text.find(';');
        if (end == std::string_view::npos || !isReference(text.substr(0, end))) return false;
    }
    return true;
}

/// Calls `function(item, index)` for every name of a channel.
template <typename Function>
void forEachName(pugi::xml_document const& document, Function function) {
    for (auto const& item : document.child("GDALMetadata").children("Item")) {
        std::string_view const name = item.attribute("name").value();
        std::string_view const role = item.attribute("role").value();
        std::string_view const sample = item.attribute("sample").value();
        std::size_t index = 0;
        char const* const end = sample.data() + sample.size();
        auto const [rest, error] = std::from_chars(sample.data(), end, index);
        bool const isIndex = error == std::errc() && rest == end;
        if (name == "DESCRIPTION" && role == "description" && isIndex) function(item, index);
    }
}

}  // namespace

std::string toChannelXml(std::vector<std::string> const& names) {
    pugi::xml_document document;
    auto root = document.append_child("GDALMetadata");
    bool fits = !root.empty();
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (names[i].empty()) continue;
        std::string text = names[i];
        std::replace_if(
            text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20; },
            ' ');
        auto item = root.append_child("Item");
        fits = item.append_attribute("name").set_value("DESCRIPTION") &&
               item.append_attribute("sample").set_value(std::to_string(i).c_str()) &&
               item.append_attribute("role").set_value("description") &&
               item.text().set(text.c_str()) && fits;
    }
    if (!fits) throw std::bad_alloc();
    if (!root.first_child()) return {};
    TextWriter writer;
    document.save(writer, "  ", pugi::format_indent | pugi::format_no_declaration,
                  pugi::encoding_utf8);
    return std::move(writer.text);
}

std::vector<std::string> parseChannelXml(std::string_view text, long long numChannels) {
    auto const count = static_cast<std::size_t>(numChannels);
    if (text.size() > maxXmlSize + count * maxXmlSizePerChannel) return {};
    bool isWhole = true;
    forEachName(parse(text, 0), [&](pugi::xml_node const& item, std::size_t) {
        isWhole = isWhole && isUnderstood(item.text().get());
    });
    auto const document = parse(text, pugi::parse_escapes);
    if (!isWhole || !document.child("GDALMetadata")) return {};
    std::vector<std::string> names(count);
    forEachName(document, [&](pugi::xml_node const& item, std::size_t index) {
        if (index < count) names[index] = item.text().get();
    });
    return names;
}

void setChannelXml(TiffHandle& tiff, std::string const& xml) {
    // libtiff does not know the tag. It is told so for this handle alone, and for every directory
    // anew, because it forgets with each.
    static char fieldName[] = "GDALMetadata";
    TIFFFieldInfo const field{channelTag, TIFF_VARIABLE, TIFF_VARIABLE, TIFF_ASCII, FIELD_CUSTOM, 1,
                              0,          fieldName};
    tiff.check(TIFFMergeFieldInfo(tiff.get(), &field, 1) == 0, "cannot name its channels");
    tiff.set(channelTag, xml.c_str());
}

std::string_view getChannelXml(TiffHandle const& tiff) noexcept {
    // On reading, libtiff makes up a field for a tag that it does not know, from what the file
    // says: any type, with a count, not terminated. Someone else in this process may have made the
    // tag known, too: then it is a terminated text.
    TIFFField const* const field = TIFFFindField(tiff.get(), channelTag, TIFF_ANY);
    if (!field || TIFFFieldDataType(field) != TIFF_ASCII) return {};
    char const* text = nullptr;
    if (!TIFFFieldPassCount(field)) {
        bool const found = TIFFGetField(tiff.get(), channelTag, &text) == 1;
        return found && text ? std::string_view(text) : std::string_view();
    }
    if (TIFFFieldReadCount(field) != TIFF_VARIABLE2) return {};
    std::uint32_t count = 0;
    if (TIFFGetField(tiff.get(), channelTag, &count, &text) != 1 || !text) return {};
    std::string_view const all(text, count);
    return all.substr(0, all.find('\0'));
}

}  // namespace Quivo::detail
