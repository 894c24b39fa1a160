#include "commands/Commands.h"
#include "options/Arguments.h"
#include "options/Input.h"
#include "options/Region.h"
#include "terminal/Interrupt.h"
#include "terminal/Memory.h"
#include "terminal/OutputFile.h"

#include <quivo/chains/ReadPlan.h>
#include <quivo/filters/PiecewiseFilter.h>

#include <bit>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include <unistd.h>

namespace Quivo::tool {

namespace {

static_assert(std::endian::native == std::endian::little,
              "the values are written as they lie in memory and promised to be little-endian");

struct ReadOptions {
    std::string input;
    std::string output;
    RegionOptions region;
};

void runRead(ReadOptions const& options) {
    Interrupt interrupt;
    if (options.output.empty() && isatty(STDOUT_FILENO) == 1) {
        throw std::runtime_error(
            "standard output: is a terminal and the values are binary, use --output FILE");
    }
    Input const input(options.input);
    if (!options.output.empty()) input.checkIsNot(options.output);
    Image& image = input.getImage();
    Box const region = options.region.getRegion(input);
    Vector const extent = region.getExtent();
    long long const numChannels = image.getNumChannels();
    checkFitsIntoMemory(options.input, static_cast<double>(extent.x) *
                                           static_cast<double>(extent.y) *
                                           static_cast<double>(numChannels) * sizeof(double));

    std::optional<OutputFile> file;  // made first, so that a bad name costs no time
    if (!options.output.empty()) file.emplace(options.output, interrupt);
    auto const numValues = static_cast<std::size_t>(extent.prod() * numChannels);
    // Not cleared beforehand: that would take a while, during which nothing could be interrupted.
    auto const values = std::make_unique_for_overwrite<double[]>(numValues);
    PiecewiseFilter(&image, ReadPlan::choosePieceExtent(numChannels), false)
        .openRegion(values.get(), options.region.getLevel(), region);
    std::size_t const numBytes = numValues * sizeof(double);
    if (file) {
        file->write(values.get(), numBytes);
        file->commit();
    } else {
        writeAll(STDOUT_FILENO, "standard output", values.get(), numBytes, interrupt);
    }
    std::cerr << "float64, shape (channels, z, y, x) = (" << numChannels << ", 1, " << extent.y
              << ", " << extent.x << ")\n";
}

}  // namespace

void addReadCommand(CLI::App& app) {
    CLI::App* const command =
        app.add_subcommand("read", "Write the values of a region as raw numbers");
    auto const options = std::make_shared<ReadOptions>();
    addPath(*command, "INPUT", &options->input, inputHelp)->required();
    options->region.addTo(*command, zerosAtBorder, "0 without it");
    addPath(*command, "--output", &options->output, "the file to write, standard output without it")
        ->type_name("FILE");
    command->footer(
        "The values are little-endian doubles, channel after channel; their shape is told on "
        "standard error.\n"
        "Example: quivo read slide.tif --level 1 --box 512,512,256,256 --output region.f64");
    command->callback([options] { runRead(*options); });
}

}  // namespace Quivo::tool
