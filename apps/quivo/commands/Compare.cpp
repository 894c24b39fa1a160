#include "commands/Commands.h"
#include "options/Arguments.h"
#include "options/Channels.h"
#include "options/Input.h"
#include "terminal/Interrupt.h"
#include "terminal/ProgressBar.h"
#include "work/Comparison.h"

#include <quivo/chains/Text.h>

#include <iostream>
#include <memory>
#include <string>

namespace Quivo::tool {

namespace {

struct CompareOptions {
    std::string first, second;
    OpeningOptions opening;
    bool countsMetadata = false;
    bool quiet = false;
};

void print(std::string const& line) { std::cout << toLine(line) << '\n'; }

void printComparison(Comparison const& comparison, Image& image) {
    for (std::string const& obstacle : comparison.obstacles) print(obstacle);
    if (comparison.areEqual()) {
        print("all values are equal: " + toText(image.getExtent(0)) +
              ", channels: " + std::to_string(image.getNumChannels()));
        return;
    }
    for (std::size_t c = 0; c < comparison.channels.size(); ++c) {
        Difference const& difference = comparison.channels[c];
        print("channel " + nameChannel(image, static_cast<long long>(c)) + ": " +
              (difference.numDifferent == 0 ? "equal" : difference.describe(comparison.type)));
    }
}

void runCompare(CompareOptions const& options, Ending& ending) {
    Interrupt interrupt;
    Input const first(options.first, options.opening), second(options.second, options.opening);
    ProgressBar progress(
        options.quiet ? ProgressBar::Style::Quiet : ProgressBar::Style::WhenItLasts, 1);
    Comparison const comparison = compareValues(first, second, progress);
    progress.hide();
    auto const metadata = compareMetadata(first, second);
    bool const areEqual = comparison.areEqual() && (!options.countsMetadata || metadata.empty());
    ending.status = areEqual ? Success : Failure;
    if (options.quiet) return;
    printComparison(comparison, first.getImage());
    for (std::string const& line : metadata) print(line);
}

}  // namespace

void addCompareCommand(CLI::App& app, Ending& ending) {
    CLI::App* const command = app.add_subcommand("compare", "Tell whether two images are equal");
    auto const options = std::make_shared<CompareOptions>();
    addPath(*command, "A", &options->first, inputHelp)->required();
    addPath(*command, "B", &options->second, "the other one, likewise")->required();
    command->add_flag("--metadata", options->countsMetadata,
                      "what is said of the values must be the same, too");
    options->opening.addTo(*command);
    command->add_flag("--quiet", options->quiet, "print nothing: the status tells");
    command->footer(
        "Compares the values of level 0, all slices. Ends with 0 when they are equal, otherwise "
        "with 1 and how far each channel of B is from that of A. What else is told differently is "
        "listed.\n"
        "Example: quivo compare slide.tif copy.tif");
    command->callback([options, &ending] { runCompare(*options, ending); });
}

}  // namespace Quivo::tool
