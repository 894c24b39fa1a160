#include "terminal/Text.h"

#include <quivo/util/Files.h>

#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <stdexcept>

namespace Quivo::tool {

namespace {

/// Two digits at least.
std::string padded(long long value) { return (value < 10 ? "0" : "") + std::to_string(value); }

bool isUtf8(std::string_view text) {
    try {
        (void)convertFromUtf8ToUtf16(std::string(text));
        return true;
    } catch (std::range_error const&) {
        return false;
    }
}

/// `text` with U+FFFD for each byte that is no UTF-8: names of files may be any bytes.
std::string toUtf8(std::string_view text) {
    if (isUtf8(text)) return std::string(text);
    std::string result;
    while (!text.empty()) {
        std::size_t length = 1;
        while (length <= 4 && !isUtf8(text.substr(0, length))) ++length;
        result += length <= 4 ? text.substr(0, length) : "\xEF\xBF\xBD";
        text.remove_prefix(length <= 4 ? length : 1);
    }
    return result;
}

}  // namespace

std::string toText(double value) {
    std::array<char, 32> text{};  // the longest shortest form has 24 characters
    auto const end = std::to_chars(text.data(), text.data() + text.size(), value).ptr;
    return {text.data(), end};
}

std::string toText(double value, int numDecimals) {
    std::array<char, 400> text{};  // the largest double has 309 digits before the point
    auto const end = std::to_chars(text.data(), text.data() + text.size(), value,
                                   std::chars_format::fixed, numDecimals)
                         .ptr;
    return {text.data(), end};
}

std::string toText(Vector const& extent) {
    return std::to_string(extent.x) + " x " + std::to_string(extent.y) + " x " +
           std::to_string(extent.z);
}

std::string toSizeText(double numBytes) {
    static constexpr std::array units{"bytes", "kB", "MB", "GB", "TB", "PB"};
    std::size_t unit = 0;
    while (numBytes >= 1000.0 && unit + 1 < units.size()) {
        numBytes /= 1000.0;
        ++unit;
    }
    return toText(numBytes, unit == 0 ? 0 : 1) + " " + units[unit];
}

std::string toTimeText(double seconds) {
    constexpr double most = 9e18;  // what is not below it, and what is no number, has no 64 bits
    auto const whole = static_cast<long long>(seconds < most ? seconds + 0.5 : most);
    std::string const minutesAndHours =
        whole < 3600 ? std::to_string(whole / 60)
                     : std::to_string(whole / 3600) + ":" + padded(whole / 60 % 60);
    return minutesAndHours + ":" + padded(whole % 60);
}

std::string toLine(std::string text) {
    char before = 0;
    for (char& c : text) {
        // In UTF-8, those from 0x80 on follow a byte 0xC2.
        auto const byte = static_cast<unsigned char>(c);
        bool const isUpper = before == '\xC2' && byte >= 0x80 && byte < 0xA0;
        before = c;
        if (byte < 0x20 || byte == 0x7f) c = ' ';
        if (isUpper) c = '\xA0';  // a space that does not break
    }
    return text;
}

std::string toJson(std::string_view text) {
    std::string result = "\"";
    for (char const c : toUtf8(text)) {
        if (c == '"' || c == '\\') {
            result += '\\';
            result += c;
        } else if (static_cast<unsigned char>(c) < 0x20) {
            std::array<char, 8> escape{};
            std::snprintf(escape.data(), escape.size(), "\\u%04x", static_cast<unsigned>(c));
            result += escape.data();
        } else {
            result += c;
        }
    }
    return result + '"';
}

std::string toJson(double value) { return std::isfinite(value) ? toText(value) : "null"; }

std::string toJson(std::optional<double> const& value) { return value ? toJson(*value) : "null"; }

std::string toJson(Vector const& vector) {
    return "[" + std::to_string(vector.x) + "," + std::to_string(vector.y) + "," +
           std::to_string(vector.z) + "]";
}

}  // namespace Quivo::tool
