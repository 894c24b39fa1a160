#include <quivo/chains/Text.h>
#include <quivo/util/Files.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <stdexcept>

namespace Quivo {

namespace {

std::string quote(std::string_view text) { return "\"" + std::string(text) + "\""; }

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

}  // namespace

std::optional<long long> parseInteger(std::string_view text) noexcept {
    long long value = 0;
    char const* const end = text.data() + text.size();
    auto const [rest, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || rest != end) return std::nullopt;
    return value;
}

long long parseInteger(std::string_view text, ValueRange<long long> range) {
    std::optional<long long> const number = parseInteger(text);
    if (number && *number >= range.min && *number <= range.max) return *number;
    std::string const limits =
        range == anyInteger ? " of at most 64 bits"
        : range.max == anyInteger.max
            ? " from " + std::to_string(range.min) + " on"
            : " from " + std::to_string(range.min) + " to " + std::to_string(range.max);
    throw std::runtime_error(quote(text) + " is not a whole number" + limits);
}

Rectangle parseRectangle(std::string_view text) {
    std::string_view rest = text;
    long long numbers[4] = {};
    bool valid = true;
    for (int i = 0; i < 4; ++i) {
        std::size_t const length = i < 3 ? rest.find(',') : rest.size();
        std::optional<long long> const number = parseInteger(rest.substr(0, length));
        valid = valid && length != std::string_view::npos && number;
        if (!valid) break;
        numbers[i] = *number;
        if (i < 3) rest.remove_prefix(length + 1);
    }
    auto const [x, y, width, height] = numbers;
    if (!valid || width < 1 || height < 1) {
        throw std::runtime_error(quote(text) +
                                 " is not X,Y,W,H: four whole numbers, W and H at least 1");
    }
    constexpr long long last = anyInteger.max;
    if ((x > 0 && width - 1 > last - x) || (y > 0 && height - 1 > last - y)) {
        throw std::runtime_error(quote(text) + " ends past the largest coordinate, " +
                                 std::to_string(last));
    }
    return {x, y, width, height};
}

double parseScale(std::string_view text) {
    double factor = 0.0;
    char const* const end = text.data() + text.size();
    auto const [rest, error] = std::from_chars(text.data(), end, factor);
    bool const isFactor = error == std::errc() && rest == end && factor > 0.0 && factor < 1.0;
    if (isFactor) return factor;
    throw std::runtime_error(quote(text) + " is not a number between 0 and 1");
}

std::optional<Vector> parseSize(std::string_view text) noexcept {
    std::size_t const cross = text.find('x');
    if (cross == std::string_view::npos) return std::nullopt;
    auto const width = parseInteger(text.substr(0, cross));
    auto const height = parseInteger(text.substr(cross + 1));
    if (!width || !height) return std::nullopt;
    return Vector(*width, *height, 1);
}

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

std::string toRoundText(double value, int numDigits) {
    std::array<char, 32> text{};
    auto const end = std::to_chars(text.data(), text.data() + text.size(), value,
                                   std::chars_format::scientific, numDigits - 1)
                         .ptr;
    // What has that many digits at most reads back from them, and has a shortest form.
    double rounded = value;
    std::from_chars(text.data(), end, rounded);
    double const size = std::abs(rounded);
    if (!(size >= 1e-4 && size < 1e15)) return toText(rounded);
    // 300000 is easier to read than 3e+05, though it is not shorter.
    auto const fixedEnd =
        std::to_chars(text.data(), text.data() + text.size(), rounded, std::chars_format::fixed)
            .ptr;
    return {text.data(), fixedEnd};
}

std::string toLengthText(double nanometres) {
    struct Unit {
        char const* name;
        double size;   ///< in nanometres
        double least;  ///< of the unit, from which on it is used
    };
    static constexpr std::array units{Unit{" m", 1e9, 1.0}, Unit{" mm", 1e6, 0.1},
                                      Unit{" um", 1e3, 0.1}, Unit{" nm", 1.0, 0.0}};
    auto const* const unit = std::find_if(units.begin(), units.end() - 1, [&](Unit const& each) {
        return nanometres >= each.size * each.least;
    });
    return toRoundText(nanometres / unit->size, 4) + unit->name;
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

}  // namespace Quivo
