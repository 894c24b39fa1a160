#include "container/GdalMetadata.h"

#include <pugixml.hpp>

#include <algorithm>
#include <charconv>
#include <new>
#include <optional>

namespace Quivo::detail {

namespace {

// What is read takes many times its size, node by node.
constexpr std::size_t maxXmlSize = std::size_t{1} << 20;
constexpr std::size_t maxXmlSizePerChannel = 1024;
constexpr std::string_view prefix = "gdal:";

/// Appends what is saved to a text.
struct TextWriter : pugi::xml_writer {
    std::string text;
    void write(void const* data, std::size_t size) override {
        text.append(static_cast<char const*>(data), size);
    }
};

std::optional<std::size_t> parseIndex(std::string_view text) {
    std::size_t index = 0;
    char const* const end = text.data() + text.size();
    auto const [rest, error] = std::from_chars(text.data(), end, index);
    if (error != std::errc() || rest != end) return std::nullopt;
    return index;
}

/// The role that GDAL gives the items by which it knows what values of a channel mean.
char const* findRole(std::string_view name) {
    if (name == "SCALE") return "scale";
    if (name == "OFFSET") return "offset";
    if (name == "UNITTYPE") return "unittype";
    if (name == "COLORINTERP") return "colorinterp";
    return nullptr;
}

/// Adds items to a document; throws std::bad_alloc at the end when one did not fit.
class ItemWriter {
public:
    ItemWriter() : root_(document_.append_child("GDALMetadata")) { fits_ = !root_.empty(); }

    /// `sample` is negative for an item of the image.
    void add(std::string_view key, std::string text, long long sample, char const* role) {
        auto const hasPrefix = key.starts_with(prefix);
        if (hasPrefix) key.remove_prefix(prefix.size());
        auto const colon = key.find(':');
        std::string const domain(key.substr(0, colon == std::string_view::npos ? 0 : colon));
        std::string const name(key.substr(colon == std::string_view::npos ? 0 : colon + 1));
        if (!role && domain.empty() && sample >= 0) role = findRole(name);
        std::replace_if(
            text.begin(), text.end(),
            [](char c) { return static_cast<unsigned char>(c) < 0x20 && c != '\n' && c != '\t'; },
            ' ');
        auto item = root_.append_child("Item");
        set(item, "name", name.c_str());
        if (sample >= 0) set(item, "sample", std::to_string(sample).c_str());
        if (!domain.empty()) set(item, "domain", domain.c_str());
        if (role) set(item, "role", role);
        fits_ = item.text().set(text.c_str()) && fits_;
    }

    [[nodiscard]] std::string save() const {
        if (!fits_) throw std::bad_alloc();
        if (!root_.first_child()) return {};
        TextWriter writer;
        document_.save(writer, "  ", pugi::format_indent | pugi::format_no_declaration,
                       pugi::encoding_utf8);
        return std::move(writer.text);
    }

private:
    void set(pugi::xml_node& item, char const* name, char const* value) {
        fits_ = item.append_attribute(name).set_value(value) && fits_;
    }

    pugi::xml_document document_;
    pugi::xml_node root_;
    bool fits_;
};

}  // namespace

GdalMetadata parseGdalMetadata(std::string_view xml, long long numChannels) {
    GdalMetadata result;
    auto const count = static_cast<std::size_t>(numChannels);
    result.channels.resize(count);
    xml = xml.substr(0, xml.find('\0'));
    if (xml.size() > maxXmlSize + count * maxXmlSizePerChannel) return result;
    pugi::xml_document document;
    auto const parsed = document.load_buffer(
        xml.data(), xml.size(),
        pugi::parse_escapes | pugi::parse_cdata | pugi::parse_eol | pugi::parse_ws_pcdata_single,
        pugi::encoding_utf8);
    if (parsed.status == pugi::status_out_of_memory) throw std::bad_alloc();
    if (!parsed) return result;
    for (auto const& item : document.child("GDALMetadata").children("Item")) {
        std::string const name = item.attribute("name").value();
        std::string const domain = item.attribute("domain").value();
        std::string const key = std::string(prefix) + (domain.empty() ? name : domain + ":" + name);
        std::string const text = item.text().get();
        auto const sample = item.attribute("sample");
        if (!sample) {
            result.items.emplace(key, text);
            continue;
        }
        auto const index = parseIndex(sample.value());
        if (!index || *index >= count) continue;
        auto& channel = result.channels[*index];
        bool const isName = name == "DESCRIPTION" &&
                            std::string_view(item.attribute("role").value()) == "description";
        if (isName) {
            channel.name = text;
        } else {
            channel.items.emplace(key, text);
        }
    }
    return result;
}

std::string toGdalXml(GdalMetadata const& metadata) {
    ItemWriter writer;
    for (auto const& [key, text] : metadata.items) writer.add(key, text, -1, nullptr);
    for (std::size_t i = 0; i < metadata.channels.size(); ++i) {
        auto const& channel = metadata.channels[i];
        auto const sample = static_cast<long long>(i);
        if (!channel.name.empty()) {
            std::string name = channel.name;
            std::replace_if(
                name.begin(), name.end(), [](char c) { return c == '\n' || c == '\t'; }, ' ');
            writer.add("DESCRIPTION", name, sample, "description");
        }
        for (auto const& [key, text] : channel.items) writer.add(key, text, sample, nullptr);
    }
    return writer.save();
}

}  // namespace Quivo::detail
