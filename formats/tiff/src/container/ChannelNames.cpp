#include "container/ChannelNames.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <utility>

namespace Quivo::detail {

namespace {

constexpr std::uint32_t channelTag = 42112;

constexpr std::array<std::pair<char, std::string_view>, 5> entities{
    {{'&', "amp"}, {'<', "lt"}, {'>', "gt"}, {'"', "quot"}, {'\'', "apos"}}};

std::string escaped(std::string const& text) {
    std::string result;
    for (char const c : text) {
        auto const* const entity = std::find_if(entities.begin(), entities.end(),
                                                [c](auto const& e) { return e.first == c; });
        if (entity != entities.end()) {
            result.append("&").append(entity->second).append(";");
        } else {
            result += static_cast<unsigned char>(c) < 0x20 ? ' ' : c;
        }
    }
    return result;
}

/// The UTF-8 of a character that XML can hold; false for other numbers.
bool appendCharacter(std::string& text, std::uint32_t code) {
    bool const isCharacter = (code >= 0x20 || code == '\t' || code == '\n' || code == '\r') &&
                             (code < 0xd800 || code > 0xdfff) && code <= 0x10ffff;
    if (!isCharacter) return false;
    auto const tail = [code](int shift) {
        return static_cast<char>(0x80 | (code >> shift & 0x3f));
    };
    if (code < 0x80) {
        text += static_cast<char>(code);
    } else if (code < 0x800) {
        text += {static_cast<char>(0xc0 | code >> 6), tail(0)};
    } else if (code < 0x10000) {
        text += {static_cast<char>(0xe0 | code >> 12), tail(6), tail(0)};
    } else {
        text += {static_cast<char>(0xf0 | code >> 18), tail(12), tail(6), tail(0)};
    }
    return true;
}

/// Appends what stands between '&' and ';'; false when that is nothing.
bool appendEntity(std::string& text, std::string_view name) {
    for (auto const& [character, known] : entities) {
        if (name == known) {
            text += character;
            return true;
        }
    }
    if (!name.starts_with('#')) return false;
    bool const isHex = name.starts_with("#x");
    name.remove_prefix(isHex ? 2 : 1);
    std::uint32_t code = 0;
    char const* const end = name.data() + name.size();
    auto const [rest, error] = std::from_chars(name.data(), end, code, isHex ? 16 : 10);
    return error == std::errc() && rest == end && appendCharacter(text, code);
}

std::optional<std::string> unescaped(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        auto const ampersand = std::min(text.find('&'), text.size());
        result += text.substr(0, ampersand);
        text.remove_prefix(ampersand);
        if (text.empty()) break;
        auto const end = text.find(';');
        bool const isEntity =
            end != std::string_view::npos && appendEntity(result, text.substr(1, end - 1));
        if (!isEntity) return std::nullopt;
        text.remove_prefix(end + 1);
    }
    return result;
}

/// Walks through an element whose children are elements of text. Every function that finds
/// something else than it expects marks the text as damaged.
class XmlReader {
public:
    struct Attributes {
        std::string name;
        std::string sample;
        std::string role;
    };

    explicit XmlReader(std::string_view text) : rest_(text) {}

    [[nodiscard]] bool isDamaged() const noexcept { return isDamaged_; }
    void markDamaged() noexcept { isDamaged_ = true; }

    /// Whether `token` comes next, which is then behind.
    bool take(std::string_view token) {
        if (!rest_.starts_with(token)) return false;
        rest_.remove_prefix(token.size());
        return true;
    }

    /// What stands before `token`; both are behind then.
    std::string_view takeUntil(std::string_view token) {
        auto const end = rest_.find(token);
        if (end == std::string_view::npos) {
            markDamaged();
            return {};
        }
        auto const text = rest_.substr(0, end);
        rest_.remove_prefix(end + token.size());
        return text;
    }

    void skipSpace() {
        rest_.remove_prefix(std::min(rest_.find_first_not_of(space), rest_.size()));
    }

    /// White space, comments and declarations.
    void skipMisc() {
        for (skipSpace(); !isDamaged_; skipSpace()) {
            if (take("<!--")) {
                takeUntil("-->");
            } else if (take("<?")) {
                takeUntil("?>");
            } else {
                return;
            }
        }
    }

    /// The attributes up to the end of a start tag. Returns whether the element is empty: "/>".
    bool takeAttributes(Attributes& attributes) {
        while (!isDamaged_) {
            skipSpace();
            if (take(">")) return false;
            if (take("/>")) return true;
            auto const key = takeUntil("=");
            char const* const quote = take("\"") ? "\"" : take("'") ? "'" : nullptr;
            bool const isName = key.find_first_of("<>&/\"' \t\r\n") == std::string_view::npos;
            if (!quote || !isName) {
                markDamaged();
                break;
            }
            auto const value = takeText(quote);
            if (key == "name") attributes.name = value;
            if (key == "sample") attributes.sample = value;
            if (key == "role") attributes.role = value;
        }
        return false;
    }

    /// The unescaped text before `token`.
    std::string takeText(std::string_view token) {
        auto const raw = takeUntil(token);
        bool const isText = std::none_of(raw.begin(), raw.end(), [](char c) {
            bool const isSpace = c == '\t' || c == '\n' || c == '\r';
            return c == '<' || (static_cast<unsigned char>(c) < 0x20 && !isSpace);
        });
        auto text = isText ? unescaped(raw) : std::nullopt;
        if (!text) markDamaged();
        return text.value_or("");
    }

private:
    static constexpr char const* space = " \t\r\n";

    std::string_view rest_;
    bool isDamaged_ = false;
};

/// Reads the items up to the end of the root element.
void readItems(XmlReader& xml, std::vector<std::string>& names) {
    for (xml.skipMisc(); !xml.isDamaged() && !xml.take("</GDALMetadata>"); xml.skipMisc()) {
        if (!xml.take("<Item")) return xml.markDamaged();
        XmlReader::Attributes item;
        bool const isEmpty = xml.takeAttributes(item);
        std::string text = isEmpty ? std::string() : xml.takeText("</Item>");
        if (item.name != "DESCRIPTION" || item.role != "description") continue;
        std::size_t index = 0;
        char const* const end = item.sample.data() + item.sample.size();
        auto const [rest, error] = std::from_chars(item.sample.data(), end, index);
        bool const isChannel = error == std::errc() && rest == end && index < names.size();
        if (isChannel) names[index] = std::move(text);
    }
}

}  // namespace

std::string toChannelXml(std::vector<std::string> const& names) {
    std::string items;
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (names[i].empty()) continue;
        items += "  <Item name=\"DESCRIPTION\" sample=\"" + std::to_string(i) +
                 "\" role=\"description\">" + escaped(names[i]) + "</Item>\n";
    }
    return items.empty() ? items : "<GDALMetadata>\n" + items + "</GDALMetadata>\n";
}

std::vector<std::string> parseChannelXml(std::string_view text, long long numChannels) {
    XmlReader xml(text);
    xml.skipMisc();
    if (!xml.take("<GDALMetadata")) return {};
    std::vector<std::string> names(static_cast<std::size_t>(numChannels));
    XmlReader::Attributes none;
    if (!xml.takeAttributes(none)) readItems(xml, names);
    if (xml.isDamaged()) names.clear();
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
