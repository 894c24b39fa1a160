// What the tool makes of numbers, boxes, scales and sizes on its command line, and how it writes
// numbers and texts: against parsers that are written anew in the most obvious way.

#include "Fuzz.h"
#include "Source.h"
#include "options/Arguments.h"
#include "terminal/Text.h"

#include <quivo/util/Files.h>

#include <cmath>
#include <optional>
#include <stdexcept>
#include <vector>

namespace Quivo::Fuzzing {

namespace {

using namespace tool;

/// Wide enough that no sum or product below overflows.
__extension__ typedef __int128 Wide;

/// What `parse` returns; nothing when it refuses the argument with one line of text.
template <typename Parse>
auto accepted(Parse parse) -> std::optional<decltype(parse())> {
    try {
        return parse();
    } catch (CLI::ValidationError const& error) {
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
    auto const number = accepted([&] { return parseInteger("--n", text, range); });
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
        Source const source(input);
        Image const& image = source.getImage();
        require(width && height && image.getExtent(0) == Vector(*width, *height, 1),
                "an image has the size that was given");
        require(
            *width >= 1 && *height >= 1 && image.getNumLevels() >= 1 && image.getNumLevels() <= 62,
            "a size has levels");
    } catch (std::runtime_error const& error) {
        require(std::string(error.what()).starts_with(input), "a refusal names the input");
        bool const isSmall = width && height && *width >= 1 && *height >= 1 && *width <= 1 << 20 &&
                             *height <= 1 << 20;
        require(!isSmall, "a small size is taken");
    }
}

/// All of it through the command line's parser.
void checkCommandLine(Choices& choices) {
    CLI::App app("", "quivo");
    std::string path;
    long long number = 7;
    std::optional<long long> optional;
    Rectangle box;
    double factor = 0.5;
    int choice = 0;
    addPath(app, "PATH", &path, "");
    addInteger(app, "--level", &optional, anyInteger, "");
    addInteger(app, "--tile", &number, {1, 4096}, "");
    addChoice<int, int>(app, "--type", &choice, {{"u8", 1}, {"f32", 2}}, "");
    app.add_option_function<std::string>("--box",
                                         [&](std::string const& t) { box = parseRectangle(t); });
    app.add_option_function<std::string>("--scale",
                                         [&](std::string const& t) { factor = parseScale(t); });
    std::vector<std::string> reversed;
    static char const* const names[] = {"--level", "--tile", "--type", "--box", "--scale", "PATH"};
    while (!choices.isEmpty() && reversed.size() < 12) {
        auto const kind = choices.integer(0, 7);
        if (kind < 6) reversed.emplace_back(names[kind]);
        reversed.push_back(choices.text(24));
    }
    std::reverse(reversed.begin(), reversed.end());
    try {
        app.parse(reversed);
    } catch (CLI::ParseError const&) {
        return;
    }
    require(number >= 1 && number <= 4096 && factor > 0 && factor < 1 && choice >= 0 &&
                choice <= 2 && (box.width >= 1 || box.height == 0),
            "what is accepted is in range");
}

/// A string literal of JSON back into its text.
std::string readJson(std::string const& literal) {
    require(literal.size() >= 2 && literal.front() == '"' && literal.back() == '"', "quotes");
    std::string text;
    for (std::size_t i = 1; i + 1 < literal.size(); ++i) {
        require(static_cast<unsigned char>(literal[i]) >= 0x20 && literal[i] != '"',
                "control characters and quotes are escaped");
        if (literal[i] != '\\') {
            text += literal[i];
        } else if (literal[++i] == 'u') {
            text += static_cast<char>(std::stoi(literal.substr(i + 1, 4), nullptr, 16));
            i += 4;
        } else {
            text += literal[i];
        }
        require(i + 1 < literal.size(), "an escape ends inside the quotes");
    }
    return text;
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
    require(std::isfinite(value) ? toJson(value) == text : toJson(value) == "null",
            "JSON has no number for what is none");
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
    std::string const json = toJson(rest);
    require(isUtf8(json), "JSON is UTF-8");
    require(readJson(json) == rest || !isUtf8(rest), "a text of JSON reads back as the same");
    require(toJson(readJson(json)) == json, "what was no UTF-8 is replaced once");
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
            checkCommandLine(choices);
            break;
        default:
            checkTexts(choices);
    }
    return 0;
}
