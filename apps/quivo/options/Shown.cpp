#include "options/Shown.h"

#include "options/Arguments.h"
#include "options/Channels.h"
#include "options/Input.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <stdexcept>
#include <string_view>

namespace Quivo::tool {

namespace {

constexpr char const* optionName = "--channels";

struct NamedColour {
    std::string_view name;
    Colour colour;
};

constexpr std::array<NamedColour, 9> namedColours{{{"red", {1, 0, 0}},
                                                   {"green", {0, 1, 0}},
                                                   {"blue", {0, 0, 1}},
                                                   {"cyan", {0, 1, 1}},
                                                   {"magenta", {1, 0, 1}},
                                                   {"yellow", {1, 1, 0}},
                                                   {"orange", {1, 0.5, 0}},
                                                   {"white", {1, 1, 1}},
                                                   {"gray", {0.5, 0.5, 0.5}}}};

/// A name, "rrggbb" or "#rrggbb".
std::optional<Colour> parseColour(std::string_view text) {
    for (NamedColour const& named : namedColours) {
        if (named.name == text) return named.colour;
    }
    if (text.starts_with('#')) text.remove_prefix(1);
    unsigned value = 0;
    auto const [rest, error] = std::from_chars(text.data(), text.data() + text.size(), value, 16);
    if (text.size() != 6 || error != std::errc() || rest != text.data() + 6) return std::nullopt;
    auto const part = [&](unsigned shift) { return (value >> shift & 0xFFU) / 255.0; };
    return Colour{part(16), part(8), part(0)};
}

std::optional<double> parseNumber(std::string_view text) {
    double value = 0.0;
    char const* const end = text.data() + text.size();
    auto const [rest, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || rest != end || !std::isfinite(value)) return std::nullopt;
    return value;
}

/// "MIN,MAX"
/// error: std::runtime_error.
ValueRange<double> parseRange(std::string_view text) {
    std::size_t const comma = std::min(text.find(','), text.size());
    auto const min = parseNumber(text.substr(0, comma));
    auto const max =
        comma < text.size() ? parseNumber(text.substr(comma + 1)) : std::optional<double>();
    if (!min || !max || *min == *max) {
        throw std::runtime_error("\"" + std::string(text) +
                                 "\" is not MIN,MAX: two numbers, not the same");
    }
    return {*min, *max};
}

/// What stands behind the last '=' of an item.
/// error: CLI::ValidationError.
void parseLook(std::string_view look, ShownRequest& shown) {
    std::size_t const colon = std::min(look.find(':'), look.size());
    std::string_view const colour = look.substr(0, colon);
    if (!colour.empty()) {
        shown.colour = parseColour(colour);
        if (!shown.colour) {
            std::string names;
            for (NamedColour const& named : namedColours) names += std::string(named.name) + ", ";
            throw CLI::ValidationError(optionName, "\"" + std::string(colour) + "\" is neither " +
                                                       names + "nor a colour as ff8000");
        }
    }
    if (colon == look.size()) return;
    try {
        shown.window = parseRange(look.substr(colon + 1));
    } catch (std::runtime_error const& refusal) {
        throw CLI::ValidationError(optionName, refusal.what());
    }
}

bool isChannelName(Image& image, std::string const& text) {
    for (long long c = 0; c < image.getNumChannels(); ++c) {
        if (image.getChannelName(c) == text) return true;
    }
    return false;
}

}  // namespace

void ShownOptions::addTo(CLI::App& app) {
    auto const store = [this](std::string const& text) {
        for (std::size_t from = 0; from <= text.size();) {
            std::size_t const end = std::min(text.find(';', from), text.size());
            if (end == from) throw CLI::ValidationError(optionName, "a channel is needed");
            channels.push_back(text.substr(from, end - from));
            from = end + 1;
        }
    };
    app.add_option_function<std::string>(
           optionName, store,
           "the channels to mix, with ; between them or one option each: by name or by number from "
           "0, and perhaps the COLOUR of each (red, ff8000) and the values from dark to bright")
        ->trigger_on_parse()
        ->type_name("NAME[=COLOUR[:MIN,MAX]]");
    auto const parse = [this](std::string const& text) { range = parseRange(text); };
    addParsed(app, "--range", parse,
              "the values from dark to bright, of all channels; without it what the file says, "
              "else all but the lowest and highest thousandth where there are more than 8 bits")
        ->type_name("MIN,MAX");
}

std::vector<ShownRequest> ShownOptions::findShown(Input const& input) const {
    std::vector<ShownRequest> result;
    for (std::string const& text : channels) {
        ShownRequest shown;
        std::size_t const equals = text.rfind('=');
        bool const hasLook = equals != std::string::npos && !isChannelName(input.getImage(), text);
        if (hasLook) parseLook(std::string_view(text).substr(equals + 1), shown);
        shown.channel =
            findChannel(input.getName(), input.getImage(), hasLook ? text.substr(0, equals) : text);
        if (!shown.window) shown.window = range;
        result.push_back(shown);
    }
    return result;
}

}  // namespace Quivo::tool
