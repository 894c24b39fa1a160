#include "commands/Commands.h"
#include "options/Arguments.h"
#include "options/Channels.h"
#include "options/Input.h"
#include "options/Region.h"
#include "options/SampleTypes.h"
#include "terminal/Interrupt.h"
#include "terminal/OutputFile.h"
#include "terminal/ProgressBar.h"
#include "terminal/Report.h"
#include "work/ValueStream.h"

#include <iostream>
#include <memory>
#include <numeric>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace Quivo::tool {

namespace {

enum class ReadFormat { Raw, Npy };

struct ReadOptions {
    std::string input;
    std::string output = standardOutput;
    OpeningOptions opening;
    RegionOptions region;
    bool allSlices = false;
    std::vector<std::string> channels;
    std::optional<ReadFormat> format;
    std::optional<TypeChoice> type;
    bool force = false;
    bool quiet = false;

    [[nodiscard]] ReadFormat getFormat() const {
        bool const isNpy = output.size() > 4 && output.ends_with(".npy");
        return format.value_or(isNpy ? ReadFormat::Npy : ReadFormat::Raw);
    }
};

SampleType chooseType(ReadOptions const& options, Input const& input) {
    TypeChoice const usual =
        options.getFormat() == ReadFormat::Npy ? TypeChoice() : TypeChoice(SampleType::F64);
    TypeChoice const choice = options.type.value_or(usual);
    if (choice) return *choice;
    return input.getStoredType().value_or(SampleType::F64);
}

ValueRequest makeRequest(ReadOptions const& options, Input const& input) {
    Image& image = input.getImage();
    ValueRequest request;
    request.image = &image;
    request.level = options.region.getLevel();
    request.region = options.region.getRegion(input);
    if (options.allSlices) request.region.max.z = image.getExtent(0).z - 1;
    request.channels = findChannels(options.input, image, options.channels);
    if (options.channels.empty()) {
        request.channels.resize(static_cast<std::size_t>(image.getNumChannels()));
        std::iota(request.channels.begin(), request.channels.end(), 0);
    }
    request.type = chooseType(options, input);
    constexpr double mostBytes = 0x1p62;
    if (request.countBytes() > mostBytes) {
        throw std::runtime_error(options.input +
                                 ": the region has more values than a file can "
                                 "hold: choose a smaller --box or a coarser "
                                 "--level");
    }
    return request;
}

void runRead(ReadOptions const& options, Ending& ending) {
    Interrupt interrupt;
    // Made first, so that a bad name costs no time.
    Input const input(options.input, options.opening);
    input.checkIsNot(options.output);
    ValueRequest const request = makeRequest(options, input);
    OutputFile file(options.output,
                    options.force ? detail::Existing::Replaced : detail::Existing::Kept, interrupt);
    file.checkSpace(request.countBytes());
    {
        ProgressBar progress(
            options.quiet ? ProgressBar::Style::Quiet : ProgressBar::Style::WhenItLasts, 1);
        writeValues(file, options.getFormat() == ReadFormat::Npy ? makeNumpyHeader(request) : "",
                    request, progress);
    }
    file.commit();
    ending.status = reportDamage(input.getName(), describeDamage(input.getDamage()));
    if (options.quiet) return;
    Vector const extent = request.region.getExtent();
    std::cerr << getNumpyName(request.type) << ", shape (channels, z, y, x) = ("
              << request.channels.size() << ", " << extent.z << ", " << extent.y << ", " << extent.x
              << ")\n";
}

}  // namespace

void addReadCommand(CLI::App& app, Ending& ending) {
    CLI::App* const command = app.add_subcommand("read", "Write the values of a region as numbers");
    auto const options = std::make_shared<ReadOptions>();
    addPath(*command, "INPUT", &options->input, inputHelp)->required();
    CLI::Option* const slice = options->region.addTo(*command, zerosAtBorder, "0 without it");
    command->add_flag("--all-slices", options->allSlices, "all slices; not with --slice")
        ->excludes(slice);
    addChannelsOption(*command, &options->channels,
                      "the channels, by name or by number from 0, in this order; all without it");
    addPath(*command, "--output", &options->output,
            "the file to write, standard output without it or for -")
        ->type_name("FILE");
    addChoice<std::optional<ReadFormat>, ReadFormat>(
        *command, "--format", &options->format,
        {{"raw", ReadFormat::Raw}, {"npy", ReadFormat::Npy}},
        "nothing but the values, or a NumPy file; without it, npy for a FILE called .npy");
    addChoice<std::optional<TypeChoice>, TypeChoice>(
        *command, "--type", &options->type, listTypeChoices(),
        "the type of the numbers; without it, f64 for raw and native, as they are stored, for npy");
    options->opening.addTo(*command);
    options->opening.addDamagedTo(*command);
    command->add_flag("--force", options->force, "replace an existing FILE");
    command->add_flag("--quiet", options->quiet, "print neither progress nor the shape");
    command->footer(
        "The values are little-endian, channel after channel, slice after slice, row after row; "
        "their shape (channels, z, y, x) is told on standard error.\n"
        "Examples: quivo read slide.tif --level 1 --box 512,512,256,256 --output region.npy\n"
        "          quivo read cells.tif --channels DAPI --type native | sha256sum");
    command->callback([options, &ending] { runRead(*options, ending); });
}

}  // namespace Quivo::tool
