#include "options/Channels.h"

#include <quivo/chains/Text.h>
#include <quivo/image/Image.h>

#include <algorithm>
#include <cstddef>
#include <optional>
#include <stdexcept>

namespace Quivo::tool {

namespace {

/// The only channel of that name; nothing where none has it.
/// error: std::runtime_error where several have.
std::optional<long long> findName(std::string const& input, Image& image, std::string const& name) {
    std::optional<long long> found;
    for (long long c = 0; c < image.getNumChannels(); ++c) {
        if (image.getChannelName(c) != name) continue;
        if (found) {
            throw std::runtime_error(input + ": several channels are called \"" + name +
                                     "\", say which by its number");
        }
        found = c;
    }
    return found;
}

/// What there is to choose from.
std::string listChannels(Image& image) {
    constexpr long long most = 12;
    long long const count = image.getNumChannels();
    std::string names;
    for (long long c = 0; c < std::min(count, most); ++c) {
        std::string const name = image.getChannelName(c);
        names += (c > 0 ? ", " : "") + std::to_string(c);
        if (!name.empty()) names += " (" + name + ")";
    }
    return names + (count > most ? ", ... " + std::to_string(count - 1) : "");
}

}  // namespace

long long findChannel(std::string const& input, Image& image, std::string const& text) {
    if (!text.empty()) {
        if (auto const named = findName(input, image, text)) return *named;
        auto const index = parseInteger(text);
        if (index && *index >= 0 && *index < image.getNumChannels()) return *index;
    }
    throw std::runtime_error(input + ": there is no channel \"" + text + "\", only " +
                             listChannels(image));
}

std::vector<long long> findChannels(std::string const& input, Image& image,
                                    std::vector<std::string> const& texts) {
    std::vector<long long> channels;
    auto const add = [&](std::string const& text) {
        long long const channel = findChannel(input, image, text);
        if (std::find(channels.begin(), channels.end(), channel) != channels.end()) {
            throw std::runtime_error(input + ": channel \"" + text + "\" is chosen twice");
        }
        channels.push_back(channel);
    };
    for (std::string const& text : texts) {
        // A name may have commas itself.
        if (text.find(',') == std::string::npos ||
            (!text.empty() && findName(input, image, text))) {
            add(text);
            continue;
        }
        for (std::size_t from = 0; from <= text.size();) {
            std::size_t const end = std::min(text.find(',', from), text.size());
            add(text.substr(from, end - from));
            from = end + 1;
        }
    }
    return channels;
}

void addChannelsOption(CLI::App& app, std::vector<std::string>* texts, std::string const& help) {
    auto const store = [texts](std::string const& text) {
        if (text.empty()) throw CLI::ValidationError("--channels", "at least one is needed");
        texts->push_back(text);
    };
    // One value at a time, and as often as one likes.
    app.add_option_function<std::string>("--channels", store, help)
        ->trigger_on_parse()
        ->type_name("A,B");
}

std::string nameChannel(Image& image, long long channel) {
    std::string const name = image.getChannelName(channel);
    return name.empty() ? std::to_string(channel) : "\"" + name + "\"";
}

}  // namespace Quivo::tool
