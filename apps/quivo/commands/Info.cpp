#include "commands/Commands.h"
#include "options/Arguments.h"
#include "options/Input.h"
#include "work/Description.h"

#include <iostream>
#include <memory>
#include <string>

namespace Quivo::tool {

namespace {

struct InfoOptions {
    std::string input;
    OpeningOptions opening;
    bool json = false;
    bool quiet = false;
};

}  // namespace

void addInfoCommand(CLI::App& app) {
    CLI::App* const command = app.add_subcommand("info", "Print what an image is");
    auto const options = std::make_shared<InfoOptions>();
    addPath(*command, "INPUT", &options->input, inputHelp)->required();
    command->add_flag("--json", options->json, "print one JSON object");
    options->opening.addTo(*command);
    command->add_flag("--quiet", options->quiet, "print nothing: the status tells if it opens");
    command->footer("Example: quivo info slide.tif --json");
    command->callback([options] {
        Input const input(options->input, options->opening);
        if (options->quiet) return;
        std::cout << (options->json ? describeAsJson(input) : describeForPeople(input));
    });
}

}  // namespace Quivo::tool
