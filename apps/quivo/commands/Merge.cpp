#include "commands/Commands.h"
#include "options/Arguments.h"
#include "options/Input.h"
#include "options/OutputOptions.h"
#include "options/Selection.h"
#include "options/Target.h"
#include "terminal/Interrupt.h"
#include "work/CommonType.h"
#include "work/PyramidOutput.h"

#include <quivo/chains/Text.h>
#include <quivo/channels/BankImage.h>
#include <quivo/channels/ChannelBank.h>
#include <quivo/metadata/Metadata.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace Quivo::tool {

namespace {

/// What NAME=INPUT says.
struct ChannelArgument {
    std::string name;
    std::string input;
};

struct MergeOptions {
    std::string target;
    std::vector<ChannelArgument> channels;
    OpeningOptions opening;
    OutputOptions output;
};

/// error: CLI::ValidationError.
ChannelArgument parseChannel(std::string const& text) {
    std::size_t const equals = text.find('=');  // the file's name may have more of them
    if (equals == std::string::npos || equals == 0 || equals + 1 == text.size()) {
        throw CLI::ValidationError("NAME=INPUT", "\"" + text + "\" is not a name, = and an input");
    }
    return {text.substr(0, equals), text.substr(equals + 1)};
}

/// error: CLI::ValidationError when a name comes twice.
void checkNames(std::vector<ChannelArgument> const& channels) {
    for (auto channel = channels.begin(); channel != channels.end(); ++channel) {
        if (std::any_of(channels.begin(), channel,
                        [&](auto const& before) { return before.name == channel->name; })) {
            throw CLI::ValidationError("NAME=INPUT",
                                       "two channels are called \"" + channel->name + "\"");
        }
    }
}

using Inputs = std::vector<std::unique_ptr<Input>>;

/// error: std::runtime_error also for an input that cannot be a channel of the first.
Inputs openInputs(MergeOptions const& options) {
    Inputs inputs;
    for (ChannelArgument const& channel : options.channels) {
        inputs.push_back(std::make_unique<Input>(channel.input, options.opening));
        checkTarget(options.target, inputs.back().get(), options.output.force);
        Image const& image = inputs.back()->getImage();
        if (image.getNumChannels() != 1) {
            throw std::runtime_error(channel.input + ": has " +
                                     std::to_string(image.getNumChannels()) +
                                     " channels, choose one, as in " + channel.input + "#c=0");
        }
        Vector const extent = image.getExtent(0);
        Vector const first = inputs.front()->getImage().getExtent(0);
        if (extent == first) continue;
        throw std::runtime_error(channel.input + ": is " + toText(extent) + ", and " +
                                 options.channels.front().input + " is " + toText(first));
    }
    return inputs;
}

/// The inputs whose pixels have another size than those of the first.
std::vector<std::string> comparePixelSizes(Inputs const& inputs) {
    auto const getSize = [](Input const& input) { return getMetadata(input.getImage()).pixelSize; };
    auto const first = getSize(*inputs.front());
    std::vector<std::string> warnings;
    for (auto const& input : inputs) {
        auto const size = getSize(*input);
        for (std::size_t axis = 0; axis < 3; ++axis) {
            bool const areKnown = size[axis] > 0.0 && first[axis] > 0.0;
            if (!areKnown || std::abs(size[axis] - first[axis]) <= 1e-6 * first[axis]) continue;
            warnings.push_back(input->getName() + " has pixels of " + toLengthText(size[axis]) +
                               ", and those of " + inputs.front()->getName() + " are " +
                               toLengthText(first[axis]) + ", which counts");
            break;
        }
    }
    return warnings;
}

void runMerge(MergeOptions const& options, Ending& ending) {
    options.output.check(options.target);
    checkNames(options.channels);
    Interrupt interrupt;
    Inputs const inputs = openInputs(options);
    ChannelBank bank(&inputs.front()->getImage());
    Pyramid pyramid;
    std::vector<SampleType> types;
    pyramid.takesLevels = true;
    for (std::size_t i = 0; i < inputs.size(); ++i) {
        Input const& input = *inputs[i];
        bank.addChannel(&input.getImage(), options.channels[i].name, false);
        types.push_back(input.getSampleType());
        pyramid.inputs.push_back(&input);
        Selection const whole(input, RegionOptions(), Selection::Border::Cut);
        pyramid.takesLevels = pyramid.takesLevels && areLevelsStored(options.output, whole);
    }
    BankImage image(bank);
    pyramid.output = options.target;
    pyramid.image = &image;
    pyramid.warnings = comparePixelSizes(inputs);
    pyramid.type = options.output.sampleType;
    if (!pyramid.type) {
        CommonType const common = findCommonType(types);
        pyramid.type = common.type;
        if (!common.isExact) {
            pyramid.warnings.push_back(
                "integers above 2^53 are rounded: no type holds them and "
                "the values of the other inputs");
        }
    }
    ending.status = writePyramid(options.output, pyramid, interrupt);
}

}  // namespace

void addMergeCommand(CLI::App& app, Ending& ending) {
    CLI::App* const command =
        app.add_subcommand("merge", "Write channels of several images as one pyramid TIFF");
    auto const options = std::make_shared<MergeOptions>();
    addPath(*command, "OUTPUT", &options->target, "the TIFF to write")->required();
    auto const store = [options](std::vector<std::string> const& texts) {
        for (std::string const& text : texts) options->channels.push_back(parseChannel(text));
    };
    command
        ->add_option_function<std::vector<std::string>>(
            "NAME=INPUT", store,
            "the channels: the name of each and the file that it comes from, or a channel, slice "
            "or page of one (cells.tif#c=DAPI, stack.tif#z=3), all of the same extent; pixel size "
            "and slices are those of the first")
        ->required()
        ->type_name("");
    options->opening.addTo(*command);
    options->opening.addDamagedTo(*command);
    options->output.addTo(*command, "the narrowest that holds all inputs");
    command->footer(
        "The levels are taken from the files if all store them, otherwise each is computed from "
        "the one before.\n"
        "Example: quivo merge cells.tif DAPI=blue.tif FITC=green.tif \"Texas Red=all.tif#c=2\"");
    command->callback([options, &ending] { runMerge(*options, ending); });
}

}  // namespace Quivo::tool
