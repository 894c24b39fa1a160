#include "read/Lengths.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <utility>

namespace Quivo::detail {

namespace {

bool isSpace(char c) noexcept { return c == ' ' || (c >= '\t' && c <= '\r') || c == '\0'; }

/// The length of the UTF-8 character that `text` begins with; 0 where it is none.
std::size_t getCharacterBytes(std::string_view text) noexcept {
    auto const at = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    std::size_t const size = at(0) < 0x80   ? 1
                             : at(0) < 0xc2 ? 0
                             : at(0) < 0xe0 ? 2
                             : at(0) < 0xf0 ? 3
                             : at(0) < 0xf5 ? 4
                                            : 0;
    if (size == 0 || size > text.size()) return 0;
    for (std::size_t i = 1; i < size; ++i) {
        if ((at(i) & 0xc0) != 0x80) return 0;
    }
    bool const isTooLong = (at(0) == 0xe0 && at(1) < 0xa0) || (at(0) == 0xf0 && at(1) < 0x90);
    bool const isNone = (at(0) == 0xed && at(1) >= 0xa0) || (at(0) == 0xf4 && at(1) >= 0x90);
    return isTooLong || isNone ? 0 : size;
}

bool isUtf8(std::string_view text) noexcept {
    while (!text.empty()) {
        auto const size = getCharacterBytes(text);
        if (size == 0) return false;
        text.remove_prefix(size);
    }
    return true;
}

}  // namespace

std::string_view trim(std::string_view text) noexcept {
    while (!text.empty() && isSpace(text.front())) text.remove_prefix(1);
    while (!text.empty() && isSpace(text.back())) text.remove_suffix(1);
    return text;
}

std::optional<double> parseDecimal(std::string_view text, int exponent) {
    std::string number(trim(text));
    if (number.empty() || number.size() > 1000) return std::nullopt;
    std::replace(number.begin(), number.end(), ',', '.');
    if (number.front() == '+') number.erase(0, 1);
    bool const isNegative = number.front() == '-';
    double const infinity = std::numeric_limits<double>::infinity();
    auto const sharp = number.find(".#");  // "-1.#INF", "1.#QNAN"
    if (sharp != std::string::npos) {
        if (number.compare(sharp + 2, 3, "INF") == 0) return isNegative ? -infinity : infinity;
        return std::numeric_limits<double>::quiet_NaN();
    }
    auto const mark = number.find_first_of("eE");
    bool const hasDigits = number.find_first_of("0123456789") != std::string::npos;
    if (exponent != 0 && hasDigits) {
        int told = 0;
        if (mark != std::string::npos) {
            std::string_view digits = std::string_view(number).substr(mark + 1);
            if (digits.starts_with('+')) digits.remove_prefix(1);
            auto const [rest, error] =
                std::from_chars(digits.data(), digits.data() + digits.size(), told);
            if (error != std::errc() || rest != digits.data() + digits.size()) return std::nullopt;
            number.resize(mark);
        }
        if (std::abs(told) > 10000) return std::nullopt;
        number += "e" + std::to_string(told + exponent);
    }
    double value = 0;
    char const* const end = number.data() + number.size();
    auto const [rest, error] = std::from_chars(number.data(), end, value);
    if (rest != end) return std::nullopt;
    if (error == std::errc::result_out_of_range) {
        auto const power = number.find_first_of("eE");
        bool const isTiny = power != std::string::npos && number.compare(power + 1, 1, "-") == 0;
        return isTiny ? 0.0 : isNegative ? -infinity : infinity;
    }
    return error == std::errc() ? std::optional(value) : std::nullopt;
}

std::optional<LengthUnit> findLengthUnit(std::string_view name) {
    static constexpr std::pair<std::string_view, LengthUnit> known[] = {
        {"\xc2\xb5m", {1, 3}},  {"\xce\xbcm", {1, 3}},  {"\xb5m", {1, 3}},
        {"\\u00B5m", {1, 3}},   {"\\u00b5m", {1, 3}},   {"um", {1, 3}},
        {"micron", {1, 3}},     {"microns", {1, 3}},    {"micrometer", {1, 3}},
        {"micrometre", {1, 3}}, {"nm", {1, 0}},         {"nanometer", {1, 0}},
        {"mm", {1, 6}},         {"millimeter", {1, 6}}, {"cm", {1, 7}},
        {"centimeter", {1, 7}}, {"dm", {1, 8}},         {"m", {1, 9}},
        {"meter", {1, 9}},      {"km", {1, 12}},        {"pm", {1, -3}},
        {"\xc3\x85", {1, -1}},  {"\xc5", {1, -1}},      {"\xe2\x84\xab", {1, -1}},
        {"angstrom", {1, -1}},  {"in", {254, 5}},       {"inch", {254, 5}},
        {"inches", {254, 5}},   {"ft", {3048, 5}},      {"fm", {1, -6}},
        {"thou", {254, 2}},     {"li", {254 / 12.0, 5}}};
    name = trim(name);
    for (auto const& [known1, unit] : known) {
        if (known1 == name) return unit;
    }
    return std::nullopt;
}

double parseLength(std::string_view number, std::string_view unit) {
    auto const found = findLengthUnit(unit);
    auto const value = found ? parseDecimal(number, found->exponent) : std::nullopt;
    if (!value) return 0;
    double const length = *value * found->factor;
    return length > 0 && length < 1e15 ? length : 0;
}

std::string toUtf8(std::string_view text) {
    bool const isKnown = isUtf8(text);
    std::string out;
    out.reserve(text.size());
    for (char const c : text) {
        auto const code = static_cast<unsigned char>(c);
        bool const isControl = (code < 0x20 && c != '\n' && c != '\r' && c != '\t') || code == 0x7f;
        if (isControl) {
            out += ' ';
        } else if (code < 0x80 || isKnown) {
            out += c;
        } else {
            out += static_cast<char>(0xc0 | code >> 6);
            out += static_cast<char>(0x80 | (code & 0x3f));
        }
    }
    return out;
}

}  // namespace Quivo::detail
