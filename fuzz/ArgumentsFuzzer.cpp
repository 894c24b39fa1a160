// What is made of numbers, boxes, scales, sizes and first bytes of files, and how numbers and texts
// are written: against parsers that are written anew in the most obvious way.

#include "Fuzz.h"

#include <quivo/chains/Formats.h>
#include <quivo/chains/Text.h>
#include <quivo/image/Image.h>
#include <quivo/util/Files.h>

#include <algorithm>
#include <cmath>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace Quivo::Fuzzing {

namespace {

/// Wide enough that no sum or product below overflows.
__extension__ typedef __int128 Wide;

/// What `parse` returns; nothing when it refuses the argument with one line of text.
template <typename Parse>
auto accepted(Parse parse) -> std::optional<decltype(parse())> {
    try {
        return parse();
    } catch (std::runtime_error const& error) {
        require(*error.what() != 0, "a refusal has a text");
        return std::nullopt;
    }
}

/// Digits after at most one minus, digit by digit, with room for any overflow to show.
std::optional<long long> readInteger(std::string const& text) {
    std::size_t const start = text.starts_with('-') ? 1 : 0;
    if (start == text.size()) return std::nullopt;
    Wide value = 0;
    for (std::size_t i = start; i < text.size(); ++i) {
        if (text[i] < '0' || text[i] > '9') return std::nullopt;
        value = value * 10 + (start == 1 ? -(text[i] - '0') : text[i] - '0');
        if (value < INT64_MIN || value > INT64_MAX) return std::nullopt;
    }
    return static_cast<long long>(value);
}

/// The parts between single characters, the empty ones too.
std::vector<std::string> partsOf(std::string const& text, char separator) {
    std::vector<std::string> parts(1);
    for (char const c : text) {
        if (c == separator) {
            parts.emplace_back();
        } else {
            parts.back() += c;
        }
    }
    return parts;
}

void checkIntegers(Choices& choices) {
    ValueRange<long long> const range(choices.integer(INT64_MIN, INT64_MAX),
                                      choices.integer(INT64_MIN, INT64_MAX));
    std::string const text = choices.rest();
    auto const expected = readInteger(text);
    require(parseInteger(text) == expected, "a whole number is read, and nothing else");
    auto const number = accepted([&] { return parseInteger(text, range); });
    bool const fits = expected && *expected >= range.min && *expected <= range.max;
    require(number.has_value() == fits && (!fits || number == expected),
            "a number outside its range is refused");
}

void checkRectangle(std::string const& text) {
    auto const parts = partsOf(text, ',');
    std::vector<long long> numbers;
    for (auto const& part : parts) {
        if (auto const number = readInteger(part)) numbers.push_back(*number);
    }
    auto const ends = [](long long first, long long count) {
        return static_cast<Wide>(first) + count - 1 <= INT64_MAX;
    };
    bool const isBox = parts.size() == 4 && numbers.size() == 4 && numbers[2] >= 1 &&
                       numbers[3] >= 1 && ends(numbers[0], numbers[2]) &&
                       ends(numbers[1], numbers[3]);
    auto const box = accepted([&] { return parseRectangle(text); });
    require(box.has_value() == isBox, "a box is four numbers that end within 64 bits");
    require(!box || std::vector{box->x, box->y, box->width, box->height} == numbers,
            "a box has the numbers that were given");
}

/// Four numbers, many of them near the ends of 64 bits, where boxes end too.
std::string composeRectangle(Choices& choices) {
    std::string text;
    for (int i = 0; i < 4; ++i) {
        long long const starts[] = {0, INT64_MIN, INT64_MAX - 9, choices.integer(-99, 99)};
        text += (i > 0 ? "," : "") +
                std::to_string(starts[choices.integer(0, 3)] + choices.integer(0, 9));
    }
    return text;
}

void checkScale(std::string const& text) {
    auto const factor = accepted([&] { return parseScale(text); });
    char* end = nullptr;
    double const expected = std::strtod(text.c_str(), &end);
    require(!factor || (*factor > 0 && *factor < 1 && *factor == expected &&
                        end == text.c_str() + text.size()),
            "a scale lies between 0 and 1");
    // What strtod takes beside this: white space, a plus, hexadecimal digits, numbers too small.
    bool const isPlain = !text.empty() && text.find_first_not_of("0123456789.") == text.npos;
    bool const isNumber = isPlain && end == text.c_str() + text.size();
    require(factor || !isNumber || !(expected > 0 && expected < 1), "a plain fraction is a scale");
}

/// Only generated images: nothing of the file system is opened.
void checkSize(std::string const& text) {
    std::string const size = text.c_str();  // an argument ends with its first zero
    std::string const input = "mandelbrot:" + size;
    auto const sides = partsOf(size, 'x');
    std::optional<long long> width, height;
    if (sides.size() == 2) width = readInteger(sides[0]), height = readInteger(sides[1]);
    try {
        auto const image = openImage(input);
        require(width && height && image->getExtent(0) == Vector(*width, *height, 1),
                "an image has the size that was given");
        require(*width >= 1 && *height >= 1 && image->getNumLevels() >= 1 &&
                    image->getNumLevels() <= 62,
                "a size has levels");
    } catch (std::runtime_error const& error) {
        require(std::string(error.what()).starts_with(input), "a refusal names the input");
        bool const isSmall = width && height && *width >= 1 && *height >= 1 && *width <= 1 << 20 &&
                             *height <= 1 << 20;
        require(!isSmall, "a small size is taken");
    }
}

/// Four bytes tell a TIFF, whatever follows.
void checkBegin(std::string const& bytes) {
    auto const* const format = findFormatOfBytes(std::as_bytes(std::span(bytes)));
    bool isTiff = false;
    for (char const version : {'*', '+'}) {
        isTiff = isTiff || bytes.starts_with(std::string{'I', 'I', version, 0}) ||
                 bytes.starts_with(std::string{'M', 'M', 0, version});
    }
    require(isTiff == (format && format->name == "TIFF"), "a TIFF is known by its first bytes");
}

bool isUtf8(std::string const& text) {
    try {
        return !convertFromUtf8ToUtf16(text).empty() || text.empty();
    } catch (std::range_error const&) {
        return false;
    }
}

void checkTexts(Choices& choices) {
    double const value = choices.real();
    std::string const text = toText(value);
    double const back = std::strtod(text.c_str(), nullptr);
    require(std::isnan(value) ? std::isnan(back)
                              : back == value && std::signbit(back) == std::signbit(value),
            "a number reads back as the same");
    auto const numDecimals = static_cast<int>(choices.integer(0, 12));
    std::string const rounded = toText(value, numDecimals);
    char expected[400];
    std::snprintf(expected, sizeof expected, "%.*f", numDecimals, value);
    require(rounded == expected, "a number with some digits after the point");

    double const size = std::abs(value);
    std::string const sizeText = toSizeText(size);
    require(sizeText.find(' ') != sizeText.npos, "a size has a unit");
    if (size < 1e6) require(sizeText.size() <= 9, "a size is short: " + sizeText);
    std::string const time = toTimeText(size);
    require(time.find('-') == time.npos, "a time is not negative: " + time);
    if (size < 1e15) {
        long long total = 0;
        for (auto const& part : partsOf(time, ':')) total = total * 60 + std::stoll(part);
        require(total == static_cast<long long>(size + 0.5), "a time is a number of seconds");
    }
    std::string const rest = choices.rest();
    std::string const repaired = toUtf8(rest);
    require(isUtf8(repaired), "what is repaired is UTF-8");
    require(repaired == rest || !isUtf8(rest), "what is UTF-8 stays as it is");
    require(std::count(repaired.begin(), repaired.end(), '\xBD') >=
                std::count(rest.begin(), rest.end(), '\xFF'),
            "each byte that is none is replaced");
    std::string const line = toLine(rest);
    require(line.size() == rest.size() && line.find('\n') == line.npos && toLine(line) == line,
            "a line is one");
}

}  // namespace

}  // namespace Quivo::Fuzzing

int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    using namespace Quivo::Fuzzing;
    Choices choices(data, size);
    switch (choices.integer(0, 6)) {
        case 0:
            checkIntegers(choices);
            break;
        case 1:
            checkRectangle(choices.rest());
            break;
        case 2:
            checkScale(choices.rest());
            break;
        case 3:
            checkSize(choices.rest());
            break;
        case 4:
            checkRectangle(composeRectangle(choices));
            break;
        case 6:
            checkBegin(choices.rest());
            break;
        default:
            checkTexts(choices);
    }
    return 0;
}
