#include <quivo/util/Strings.h>

#include <algorithm>
#include <locale>
#include <sstream>
#include <string_view>

namespace Quivo {

namespace {

template <typename T>
std::string strTempl(T value) {
    std::ostringstream stream;
    stream.imbue(std::locale::classic());
    stream << value;
    return stream.str();
}

template <typename List>
bool endsWithAny(std::string const& text, List const& suffixes) {
    return std::any_of(suffixes.begin(), suffixes.end(),
                       [&](auto const& suffix) { return text.ends_with(suffix); });
}

/// Whether the last `escape` that begins at or before `position` ends exactly there.
bool isEscaped(std::string const& text, std::size_t position, std::string const& escape) {
    auto const size = escape.size();
    if (size == 0 || size > position) return false;
    // Only what touches the position counts: a look at all of the text before it takes far longer.
    return std::string_view(text).substr(position - size, 2 * size).rfind(escape) == 0;
}

}  // namespace

std::string str(int value) { return strTempl(value); }

std::string str(long value) { return strTempl(value); }

std::string str(long long value) { return strTempl(value); }

std::string str(unsigned value) { return strTempl(value); }

std::string str(unsigned long value) { return strTempl(value); }

std::string str(unsigned long long value) { return strTempl(value); }

std::string str(double value) { return strTempl(value); }

bool startsWith(std::string const& text, std::string const& prefix) {
    return text.starts_with(prefix);
}

bool endsWith(std::string const& text, std::string const& suffix) { return text.ends_with(suffix); }

bool endsWith(std::string const& text, std::vector<std::string> const& suffixes) {
    return endsWithAny(text, suffixes);
}

bool endsWith(std::string const& text, std::initializer_list<std::string> suffixes) {
    return endsWithAny(text, suffixes);
}

bool contains(std::vector<std::string> const& list, std::string const& value) {
    return std::find(list.begin(), list.end(), value) != list.end();
}

std::vector<std::string> splitString(std::string const& text, std::string const& delimiter,
                                     bool skipEmpty, std::string const& escape) {
    std::vector<std::string> tokens;
    std::size_t start = 0;
    auto found = delimiter.empty() ? std::string::npos : text.find(delimiter);
    for (; found != std::string::npos; found = text.find(delimiter, found + delimiter.size())) {
        if (isEscaped(text, found, escape)) continue;
        if (found > start || !skipEmpty) tokens.push_back(text.substr(start, found - start));
        start = found + delimiter.size();
    }
    tokens.push_back(text.substr(start));
    return tokens;
}

std::map<std::string, std::string> splitUrlParams(std::string& url, bool) {
    auto const question = url.find('?');
    std::string const query = question == std::string::npos ? url : url.substr(question + 1);
    std::map<std::string, std::string> parameters;
    for (auto const& piece : splitString(query, "&", true, "\\")) {
        auto const pair = splitString(piece, "=", true, "");
        if (pair.size() == 2) parameters.emplace(pair[0], pair[1]);
    }
    if (question != std::string::npos) url.erase(question);
    return parameters;
}

std::string unescapeString(std::string const& text, std::string const& escape) {
    if (escape.empty()) return text;
    std::string result;
    std::size_t start = 0;
    for (auto found = text.find(escape); found != std::string::npos;
         found = text.find(escape, start)) {
        result.append(text, start, found - start);
        start = found + 1;
    }
    return result.append(text, start);
}

std::string urlEncode(std::string const& text) {
    static constexpr std::string_view unreserved =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
    static constexpr std::string_view digits = "0123456789abcdef";
    std::string result;
    for (char const c : text) {
        if (unreserved.find(c) != std::string_view::npos) {
            result += c;
            continue;
        }
        auto const byte = static_cast<unsigned char>(c);
        result += {'%', digits[byte >> 4], digits[byte & 15]};
    }
    return result;
}

void removeInvalidFileCharacters(std::string& text) {
    static constexpr std::string_view invalid = "\"*/:<>?\\|";
    std::erase_if(text, [](char c) { return invalid.find(c) != std::string_view::npos; });
}

}  // namespace Quivo
