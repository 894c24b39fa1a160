#include "options/Arguments.h"

#include <charconv>

namespace Quivo::tool {

std::optional<long long> parseInteger(std::string_view text) noexcept {
    long long value = 0;
    char const* const end = text.data() + text.size();
    auto const [rest, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || rest != end) return std::nullopt;
    return value;
}

long long parseInteger(std::string const& name, std::string const& text,
                       ValueRange<long long> range) {
    std::optional<long long> const number = parseInteger(text);
    if (number && *number >= range.min && *number <= range.max) return *number;
    std::string const limits =
        range == anyInteger ? " of at most 64 bits"
        : range.max == anyInteger.max
            ? " from " + std::to_string(range.min) + " on"
            : " from " + std::to_string(range.min) + " to " + std::to_string(range.max);
    throw CLI::ValidationError(name, "\"" + text + "\" is not a whole number" + limits);
}

CLI::Option* addPath(CLI::App& app, std::string const& name, std::string* path,
                     std::string const& help) {
    auto const store = [name, path](std::string const& text) {
        if (text.empty()) throw CLI::ValidationError(name, "a name is needed, not an empty text");
        *path = text;
    };
    return app.add_option_function<std::string>(name, store, help)->type_name("");
}

Rectangle parseRectangle(std::string const& text) {
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
        throw CLI::ValidationError("--box", "\"" + text +
                                                "\" is not X,Y,W,H: four whole numbers, W and H "
                                                "at least 1");
    }
    constexpr long long last = anyInteger.max;
    if ((x > 0 && width - 1 > last - x) || (y > 0 && height - 1 > last - y)) {
        throw CLI::ValidationError(
            "--box", "\"" + text + "\" ends past the largest coordinate, " + std::to_string(last));
    }
    return {x, y, width, height};
}

double parseScale(std::string const& text) {
    double factor = 0.0;
    char const* const end = text.data() + text.size();
    auto const [rest, error] = std::from_chars(text.data(), end, factor);
    bool const isFactor = error == std::errc() && rest == end && factor > 0.0 && factor < 1.0;
    if (isFactor) return factor;
    throw CLI::ValidationError("--scale", "\"" + text + "\" is not a number between 0 and 1");
}

}  // namespace Quivo::tool
