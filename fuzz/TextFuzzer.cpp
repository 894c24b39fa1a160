// Strings, URLs, paths and UTF: every function against what its header promises, written down in
// the slowest and most obvious way.

#include "Fuzz.h"

#include <quivo/util/Files.h>
#include <quivo/util/Paths.h>
#include <quivo/util/Strings.h>

#include <cctype>
#include <map>
#include <optional>
#include <stdexcept>
#include <vector>

namespace Quivo::Fuzzing {

namespace {

using Tokens = std::vector<std::string>;

/// Byte after byte; a delimiter that directly follows the last `escape` before it does not count.
Tokens split(std::string const& text, std::string const& delimiter, bool skipEmpty,
             std::string const& escape) {
    Tokens tokens(1);
    std::size_t i = 0;
    while (i < text.size()) {
        if (delimiter.empty() || text.compare(i, delimiter.size(), delimiter) != 0) {
            tokens.back() += text[i++];
            continue;
        }
        // An escape that overlaps the delimiter ends later and hides one that ends in front of it.
        auto const last = text.rfind(escape, i);
        bool const isEscaped =
            !escape.empty() && last != std::string::npos && last + escape.size() == i;
        if (isEscaped) {
            tokens.back() += delimiter;
        } else {
            tokens.emplace_back();
        }
        i += delimiter.size();
    }
    if (skipEmpty) {
        std::string const last = tokens.back();
        tokens.pop_back();
        std::erase(tokens, "");
        tokens.push_back(last);
    }
    return tokens;
}

void checkSplitting(Choices& choices) {
    std::string const delimiter = choices.text(3), escape = choices.text(3);
    bool const skipEmpty = choices.flag();
    std::string const text = choices.rest();
    require(splitString(text, delimiter, skipEmpty, escape) ==
                split(text, delimiter, skipEmpty, escape),
            "splitString gives the parts between the delimiters");

    std::string unescaped;
    for (std::size_t i = 0; i < text.size(); ++i) {
        bool const begins = !escape.empty() && text.compare(i, escape.size(), escape) == 0;
        if (!begins) unescaped += text[i];
    }
    require(unescapeString(text, escape) == unescaped,
            "unescapeString drops the first byte of each escape");
}

void checkUrl(std::string const& text) {
    std::string address = text;
    auto const parameters = splitUrlParams(address, false);
    auto const question = text.find('?');
    require(address == text.substr(0, question), "splitUrlParams cuts at the first question mark");
    std::string const query = question == std::string::npos ? text : text.substr(question + 1);
    std::map<std::string, std::string> expected;
    for (auto const& piece : split(query, "&", true, "\\")) {
        Tokens const pair = split(piece, "=", true, "");
        if (pair.size() == 2) expected.emplace(pair[0], pair[1]);
    }
    require(parameters == expected, "splitUrlParams finds the pairs of key and value");

    std::string const encoded = urlEncode(text);
    std::string decoded;
    for (std::size_t i = 0; i < encoded.size(); ++i) {
        auto const c = static_cast<unsigned char>(encoded[i]);
        bool const isPlain = c < 0x80 && (std::isalnum(c) || std::strchr("-._~", c));
        require(c != 0 && (isPlain || c == '%'), "urlEncode leaves nothing else");
        if (isPlain) {
            decoded += encoded[i];
            continue;
        }
        decoded += static_cast<char>(std::stoi(encoded.substr(i + 1, 2), nullptr, 16));
        i += 2;
    }
    require(decoded == text, "urlEncode can be undone");
}

void checkPaths(std::string const& path) {
    std::string const unixPath = convertToUnixPath(path);
    require(convertToUnixPath(unixPath) == unixPath && unixPath.size() == path.size() &&
                unixPath.find('\\') == std::string::npos,
            "convertToUnixPath is done once");
    require(isNetworkPath(unixPath) == isNetworkPath(path), "separators are alike");

    auto const [directory, file] = splitFilePath(path);
    bool const hasSeparator = unixPath.find('/') != std::string::npos;
    require(hasSeparator ? directory + path[directory.size()] + file == path
                         : directory.empty() && file == path,
            "splitFilePath loses the last separator only");
    require(file.find_first_of("/\\") == std::string::npos, "a file name has no separator");
    require(getDirectoryFromFilePath(path) == directory, "getDirectoryFromFilePath");
    for (std::string name : {getImageIdFromPath(path), getGroupIdFromImagePath(path),
                             getGroupIdFromDirectoryPath(path)}) {
        std::string const before = name;
        removeInvalidFileCharacters(name);
        require(name == before, "an identifier is safe as a file name");
    }
    std::string safe = path, expected;
    removeInvalidFileCharacters(safe);
    for (char const c : path) {
        if (std::string("\"*/:<>?\\|").find(c) == std::string::npos) expected += c;
    }
    require(safe == expected, "removeInvalidFileCharacters removes nine characters");
}

/// The table of well-formed sequences (Unicode, table 3-7): which second bytes a lead byte allows,
/// and how many more follow.
bool isWellFormed(std::string const& text) {
    struct {
        int first, last, secondFirst, secondLast, numMore;
    } const rows[] = {{0xC2, 0xDF, 0x80, 0xBF, 0}, {0xE0, 0xE0, 0xA0, 0xBF, 1},
                      {0xE1, 0xEC, 0x80, 0xBF, 1}, {0xED, 0xED, 0x80, 0x9F, 1},
                      {0xEE, 0xEF, 0x80, 0xBF, 1}, {0xF0, 0xF0, 0x90, 0xBF, 2},
                      {0xF1, 0xF3, 0x80, 0xBF, 2}, {0xF4, 0xF4, 0x80, 0x8F, 2}};
    std::size_t i = 0;
    auto const next = [&] {
        return i < text.size() ? static_cast<int>(static_cast<unsigned char>(text[i++])) : -1;
    };
    while (i < text.size()) {
        int const lead = next();
        if (lead < 0x80) continue;
        auto const* const row = std::find_if(std::begin(rows), std::end(rows), [&](auto const& r) {
            return lead >= r.first && lead <= r.last;
        });
        if (row == std::end(rows)) return false;
        int const second = next();
        if (second < row->secondFirst || second > row->secondLast) return false;
        for (int more = 0; more < row->numMore; ++more) {
            int const tail = next();
            if (tail < 0x80 || tail > 0xBF) return false;
        }
    }
    return true;
}

bool isWellFormed(std::wstring const& units) {
    for (std::size_t i = 0; i < units.size(); ++i) {
        auto const unit = static_cast<std::uint32_t>(units[i]);
        auto const next = i + 1 < units.size() ? static_cast<std::uint32_t>(units[i + 1]) : 0;
        if (unit > 0xFFFF || unit >> 10 == 0x37) return false;
        if (unit >> 10 != 0x36) continue;
        if (next >> 10 != 0x37) return false;
        ++i;
    }
    return true;
}

/// What `convert` makes of `text`; nothing when it refuses it as it may.
template <typename Text, typename Convert>
auto converted(Text const& text, Convert convert) -> std::optional<decltype(convert(text))> {
    try {
        return convert(text);
    } catch (std::range_error const&) {
        return std::nullopt;
    }
}

void checkUtf(Choices choices) {
    std::wstring units;
    for (Choices unitChoices = choices; !unitChoices.isEmpty();) {
        auto const kind = unitChoices.integer(0, 3);
        long long const starts[] = {0, 0xD800, 0xDC00, 0x10000};
        units += static_cast<wchar_t>(starts[kind] + unitChoices.integer(0, 255) * 4);
    }
    auto const bytes = converted(units, convertFromUtf16ToUtf8);
    require(bytes.has_value() == isWellFormed(units), "UTF-16 is refused where it is malformed");
    require(!bytes || convertFromUtf8ToUtf16(*bytes) == units, "UTF-16 survives");

    std::string const text = choices.rest();
    auto const back = converted(text, convertFromUtf8ToUtf16);
    require(back.has_value() == isWellFormed(text), "UTF-8 is refused where it is malformed");
    require(!back || convertFromUtf16ToUtf8(*back) == text, "UTF-8 survives");
}

void checkNumbers(Choices& choices) {
    double const value = choices.real();
    char expected[64];
    std::snprintf(expected, sizeof expected, "%g", value);
    require(str(value) == expected, "six significant digits of a double");
    long long const whole = choices.integer(INT64_MIN, INT64_MAX);
    require(str(whole) == std::to_string(whole) &&
                str(static_cast<int>(whole)) == std::to_string(static_cast<int>(whole)),
            "all digits of a whole number");
}

}  // namespace

}  // namespace Quivo::Fuzzing

int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    using namespace Quivo::Fuzzing;
    Choices choices(data, size);
    switch (choices.integer(0, 4)) {
        case 0:
            checkSplitting(choices);
            break;
        case 1:
            checkUrl(choices.rest());
            break;
        case 2:
            checkPaths(choices.rest());
            break;
        case 3:
            checkUtf(choices);
            break;
        default:
            checkNumbers(choices);
    }
    return 0;
}
