#include "commands/Commands.h"
#include "commands/PyramidOutput.h"
#include "options/Arguments.h"
#include "options/Input.h"
#include "options/OutputOptions.h"
#include "terminal/Interrupt.h"

#include <quivo/channels/BankImage.h>
#include <quivo/channels/ChannelBank.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace Quivo::tool {

namespace {

/// What NAME=FILE says.
struct ChannelArgument {
    std::string name;
    std::string input;
};

struct MergeOptions {
    std::vector<ChannelArgument> channels;
    OutputOptions output;
};

/// error: CLI::ValidationError.
ChannelArgument parseChannel(std::string const& text) {
    std::size_t const equals = text.find('=');  // the file's name may have more of them
    if (equals == std::string::npos || equals == 0 || equals + 1 == text.size()) {
        throw CLI::ValidationError("NAME=FILE", "\"" + text + "\" is not a name, = and a file");
    }
    return {text.substr(0, equals), text.substr(equals + 1)};
}

using Inputs = std::vector<std::unique_ptr<Input>>;

Inputs openInputs(MergeOptions const& options) {
    Inputs inputs;
    for (ChannelArgument const& channel : options.channels) {
        inputs.push_back(std::make_unique<Input>(channel.input));
        options.output.checkOutput(*inputs.back());
    }
    return inputs;
}

void fillBank(ChannelBank& bank, MergeOptions const& options, Inputs const& inputs) {
    for (std::size_t i = 0; i < inputs.size(); ++i) {
        try {
            bank.addChannel(&inputs[i]->getImage(), options.channels[i].name, false);
        } catch (std::runtime_error const& refusal) {
            throw std::runtime_error(options.channels[i].input + ": " + refusal.what());
        }
    }
}

bool areLevelsStored(Inputs const& inputs, long long numLevels) {
    for (auto const& input : inputs) {
        for (long long level = 0; level < numLevels; ++level) {
            if (!input->getPlan().isLevelStored(level)) return false;
        }
    }
    return true;
}

void runMerge(MergeOptions const& options) {
    Interrupt interrupt;
    Inputs const inputs = openInputs(options);
    ChannelBank bank(&inputs.front()->getImage());
    fillBank(bank, options, inputs);
    BankImage image(bank);
    HalvedLevels pyramid(&image, countLevels(options.output, image.getExtent(0)), false);
    std::string warning;
    for (auto const& input : inputs) {
        if (warning.empty()) warning = options.output.getWarning(*input, image.getValueRange());
    }
    writePyramid(options.output, pyramid, areLevelsStored(inputs, pyramid.getNumLevels()), warning,
                 interrupt);
}

}  // namespace

void addMergeCommand(CLI::App& app) {
    CLI::App* const command =
        app.add_subcommand("merge", "Write images of one channel each as one pyramid TIFF");
    auto const options = std::make_shared<MergeOptions>();
    addPath(*command, "OUTPUT", &options->output.output, "the TIFF to write")->required();
    auto const store = [options](std::vector<std::string> const& texts) {
        for (std::string const& text : texts) options->channels.push_back(parseChannel(text));
    };
    command
        ->add_option_function<std::vector<std::string>>(
            "NAME=FILE", store,
            "the channels: the name of each and the TIFF file that it comes from, all of the same "
            "extent; voxel size and slices are those of the first")
        ->required()
        ->type_name("");
    options->output.addTo(*command);
    command->footer(
        "The levels are taken from the files if all store them, otherwise each is computed from "
        "the one before.\n"
        "Example: quivo merge cells.tif DAPI=blue.tif FITC=green.tif \"Texas Red=red.tif\"");
    command->callback([options] { runMerge(*options); });
}

}  // namespace Quivo::tool
