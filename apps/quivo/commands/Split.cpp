#include "commands/Commands.h"
#include "options/Arguments.h"
#include "options/Channels.h"
#include "options/Input.h"
#include "options/OutputOptions.h"
#include "options/Selection.h"
#include "options/Target.h"
#include "terminal/Interrupt.h"
#include "work/PyramidOutput.h"

#include <quivo/util/Files.h>

#include <algorithm>
#include <cstddef>
#include <map>
#include <memory>
#include <numeric>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace Quivo::tool {

namespace {

constexpr std::string_view channelMark = "{channel}", sliceMark = "{slice}";

struct SplitOptions {
    std::string input;
    std::string pattern;
    std::vector<std::string> channels;
    OpeningOptions opening;
    OutputOptions output;
};

/// A file to be written. Plain value.
struct Part {
    std::string path;
    std::vector<long long> channels;  ///< empty: all
    std::optional<long long> slice;   ///< nothing: all
};

bool contains(std::string const& text, std::string_view part) {
    return text.find(part) != std::string::npos;
}

std::string replaceAll(std::string text, std::string_view mark, std::string const& value) {
    for (std::size_t at = 0; (at = text.find(mark, at)) != std::string::npos; at += value.size()) {
        text.replace(at, mark.size(), value);
    }
    return text;
}

/// A name as part of a file's name: what means something to a file system or a shell becomes "_".
std::string makeSafe(std::string name) {
    constexpr std::size_t most = 100;
    for (char& c : name) {
        auto const byte = static_cast<unsigned char>(c);
        bool const isPlain = (byte >= '0' && byte <= '9') || (byte >= 'A' && byte <= 'Z') ||
                             (byte >= 'a' && byte <= 'z') || byte >= 0x80 ||
                             std::string_view("-_.+").find(c) != std::string_view::npos;
        if (!isPlain) c = '_';
    }
    if (name.size() > most) {
        std::size_t end = most;
        while (end > 0 && (static_cast<unsigned char>(name[end]) & 0xC0U) == 0x80U) --end;
        name.resize(end);
    }
    if (name.starts_with('.')) name.front() = '_';
    return name;
}

/// The number with as many digits as the last of `count` has, so that names sort well.
std::string makeNumber(long long index, long long count) {
    std::string const digits = std::to_string(index);
    std::size_t const width = std::to_string(count - 1).size();
    return std::string(width - digits.size(), '0') + digits;
}

/// error: std::runtime_error when two parts would have one name, and for targets that cannot be.
std::vector<Part> listParts(SplitOptions const& options, Input const& input) {
    Image& image = input.getImage();
    auto channels = findChannels(options.input, image, options.channels);
    bool const splitsChannels = contains(options.pattern, channelMark);
    bool const splitsSlices = contains(options.pattern, sliceMark);
    if (splitsChannels && channels.empty()) {
        channels.resize(static_cast<std::size_t>(image.getNumChannels()));
        std::iota(channels.begin(), channels.end(), 0);
    }
    long long const numSlices = splitsSlices ? image.getExtent(0).z : 1;
    std::size_t const numGroups = splitsChannels ? channels.size() : 1;

    std::vector<Part> parts;
    std::map<std::string, std::string> whatHasName;
    for (std::size_t i = 0; i < numGroups; ++i) {
        for (long long z = 0; z < numSlices; ++z) {
            Part part{options.pattern, channels, std::nullopt};
            std::string what;
            if (splitsChannels) {
                long long const channel = channels[i];
                std::string const name = image.getChannelName(channel);
                part.channels = {channel};
                part.path = replaceAll(
                    part.path, channelMark,
                    name.empty() ? makeNumber(channel, image.getNumChannels()) : makeSafe(name));
                what = "channel " + std::to_string(channel);
            }
            if (splitsSlices) {
                part.slice = z;
                part.path = replaceAll(part.path, sliceMark, makeNumber(z, numSlices));
                what += (what.empty() ? "slice " : ", slice ") + std::to_string(z);
            }
            auto const [before, isNew] = whatHasName.emplace(part.path, what);
            if (!isNew) {
                throw std::runtime_error(part.path + ": would be the name of both " +
                                         before->second + " and " + what);
            }
            checkTarget(part.path, &input, options.output.force);
            parts.push_back(std::move(part));
        }
    }
    return parts;
}

/// Takes files away again that were written before the work failed, but for those that replaced
/// others.
class Undo {
public:
    Undo() = default;
    Undo(Undo const&) = delete;
    Undo& operator=(Undo const&) = delete;
    ~Undo() {
        for (std::string const& path : paths_) removeFile(path);
    }

    void add(std::string const& path) { paths_.push_back(path); }
    void cancel() noexcept { paths_.clear(); }

private:
    std::vector<std::string> paths_;
};

void runSplit(SplitOptions const& options, Ending& ending) {
    options.output.check(options.pattern);
    if (!contains(options.pattern, channelMark) && !contains(options.pattern, sliceMark)) {
        throw CLI::ValidationError(
            "PATTERN", "\"" + options.pattern + "\" has neither {channel} nor {slice} in it");
    }
    Interrupt interrupt;
    Input const input(options.input, options.opening);
    auto const parts = listParts(options, input);
    Undo undo;
    for (Part const& part : parts) {
        RegionOptions region;
        region.slice = part.slice;
        Selection const selection(input, region, Selection::Border::Cut, part.channels);
        Pyramid pyramid;
        pyramid.output = part.path;
        pyramid.image = &selection.getImage();
        pyramid.takesLevels = areLevelsStored(options.output, selection);
        pyramid.type =
            options.output.sampleType ? options.output.sampleType : input.getStoredType();
        pyramid.inputs = {&input};
        bool const isNew = !fileExists(part.path);
        Status const status = writePyramid(options.output, pyramid, interrupt);
        if (isNew) undo.add(part.path);
        ending.status = std::max(ending.status, status);
    }
    undo.cancel();
}

}  // namespace

void addSplitCommand(CLI::App& app, Ending& ending) {
    CLI::App* const command = app.add_subcommand(
        "split", "Write every channel or slice of an image as a pyramid TIFF of its own");
    auto const options = std::make_shared<SplitOptions>();
    addPath(*command, "INPUT", &options->input, inputHelp)->required();
    addPath(*command, "PATTERN", &options->pattern,
            "the names of the files, with {channel} for the name of the channel (its number where "
            "it has none), {slice} for the number of the slice, or both")
        ->required();
    addChannelsOption(*command, &options->channels,
                      "the channels, by name or by number from 0; all without it");
    options->opening.addTo(*command);
    options->opening.addDamagedTo(*command);
    options->output.addTo(*command, "that of INPUT");
    command->footer(
        "No file is written unless all can be. Where the work fails, those that are new are "
        "removed again.\n"
        "Examples: quivo split cells.tif cells-{channel}.tif\n"
        "          quivo split stack.tif slices/{channel}-{slice}.tif --channels DAPI");
    command->callback([options, &ending] { runSplit(*options, ending); });
}

}  // namespace Quivo::tool
