#include "BankImage.h"
#include "PyramidOutput.h"
#include "Source.h"
#include "commands/Commands.h"
#include "options/Arguments.h"
#include "terminal/Interrupt.h"

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

using Sources = std::vector<std::unique_ptr<Source>>;

Sources openSources(MergeOptions const& options, Interrupt& interrupt) {
    Sources sources;
    for (ChannelArgument const& channel : options.channels) {
        sources.push_back(std::make_unique<Source>(channel.input));
        sources.back()->setCancellationChecker(interrupt);
        options.output.checkOutput(*sources.back());
    }
    return sources;
}

void fillBank(ChannelBank& bank, MergeOptions const& options, Sources const& sources) {
    for (std::size_t i = 0; i < sources.size(); ++i) {
        try {
            bank.addChannel(&sources[i]->getImage(), options.channels[i].name, false);
        } catch (std::runtime_error const& refusal) {
            throw std::runtime_error(options.channels[i].input + ": " + refusal.what());
        }
    }
}

bool areLevelsStored(Sources const& sources, long long numLevels) {
    for (auto const& source : sources) {
        for (long long level = 0; level < numLevels; ++level) {
            if (!source->isLevelStored(level)) return false;
        }
    }
    return true;
}

void runMerge(MergeOptions const& options) {
    Interrupt interrupt;
    Sources const sources = openSources(options, interrupt);
    ChannelBank bank(&sources.front()->getImage());
    fillBank(bank, options, sources);
    BankImage image(bank);
    Pyramid pyramid(image, options.output);
    std::string warning;
    for (auto const& source : sources) {
        if (warning.empty()) warning = options.output.getWarning(*source, image.getValueRange());
    }
    writePyramid(options.output, pyramid, areLevelsStored(sources, pyramid.getNumLevels()), warning,
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
