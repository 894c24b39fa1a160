#include "commands/Commands.h"
#include "options/Arguments.h"
#include "options/Channels.h"
#include "options/Input.h"
#include "options/OutputOptions.h"
#include "options/Region.h"
#include "options/Selection.h"
#include "options/Target.h"
#include "terminal/Interrupt.h"
#include "work/PyramidOutput.h"

#include <quivo/image/StoredContents.h>

#include <memory>
#include <string>
#include <vector>

namespace Quivo::tool {

namespace {

/// Where the pixels of the coarser levels come from.
enum class LevelOrigin {
    Auto,     ///< the source where it stores them all, otherwise the level written before
    Source,   ///< the source, which computes what it does not store
    Previous  ///< the level written before
};

struct ConvertOptions {
    std::string input;
    std::string target;
    OpeningOptions opening;
    std::vector<std::string> channels;
    RegionOptions region;
    ScaleOptions scale;
    LevelOrigin levels = LevelOrigin::Auto;
    OutputOptions output;
};

/// What becomes of numbers that a TIFF has, and pictures have not.
std::vector<std::string> describeLosses(Input const& input) {
    auto const* const contents = dynamic_cast<StoredContents const*>(&input.getSource());
    if (!contents) return {};
    for (auto const& [what, fact] : contents->getFacts()) {
        if (fact.find("complex") != std::string::npos) {
            return {"complex numbers become two channels, real and imaginary parts"};
        }
    }
    return {};
}

void runConvert(ConvertOptions const& options, Ending& ending) {
    if (options.scale.factor && options.levels == LevelOrigin::Source) {
        // They would have other extents than the levels of a pyramid.
        throw CLI::ExcludesError("--scale", "--levels source");
    }
    options.output.check(options.target);
    Interrupt interrupt;
    Input const input(options.input, options.opening);
    checkTarget(options.target, &input, options.output.force);

    Selection selection(input, options.region, Selection::Border::Cut,
                        findChannels(options.input, input.getImage(), options.channels));
    if (options.scale.factor) {
        selection.scale(*options.scale.factor, 0, options.scale.cacheSizeMB);
        selection.expectTiles(options.output.getTileSide(), options.scale.cacheSizeMB);
    }
    Pyramid pyramid;
    pyramid.output = options.target;
    pyramid.image = &selection.getImage();
    pyramid.takesLevels = options.levels == LevelOrigin::Auto
                              ? areLevelsStored(options.output, selection)
                              : options.levels == LevelOrigin::Source;
    pyramid.type = options.output.sampleType ? options.output.sampleType : input.getStoredType();
    pyramid.inputs = {&input};
    pyramid.warnings = describeLosses(input);
    ending.status = writePyramid(options.output, pyramid, interrupt);
}

}  // namespace

void addConvertCommand(CLI::App& app, Ending& ending) {
    CLI::App* const command = app.add_subcommand("convert", "Write an image as pyramid TIFF");
    auto const options = std::make_shared<ConvertOptions>();
    addPath(*command, "INPUT", &options->input, inputHelp)->required();
    addPath(*command, "OUTPUT", &options->target, "the TIFF to write")->required();
    options->region.addTo(*command, "what lies outside the image is cut off", "all without it");
    options->scale.addTo(*command);
    addChoice<LevelOrigin, LevelOrigin>(
        *command, "--levels", &options->levels,
        {{"auto", LevelOrigin::Auto},
         {"source", LevelOrigin::Source},
         {"previous", LevelOrigin::Previous}},
        "take the coarser levels from INPUT, or compute each from the one before; auto, as without "
        "it, takes them from INPUT if it stores them all, nothing is scaled, and the box begins "
        "where pixels of all of them do");
    addChannelsOption(*command, &options->channels,
                      "the channels, by name or by number from 0, in this order; all without it");
    options->opening.addTo(*command);
    options->opening.addDamagedTo(*command);
    options->output.addTo(*command, "that of INPUT");
    command->footer(
        "The box is cut out first, then the slice is taken, then the result is scaled.\n"
        "Examples: quivo convert mandelbrot:32768x32768 set.tif --compression zstd\n"
        "          quivo convert slide.tif part.tif --box 5000,3000,8000,6000 --scale 0.4");
    command->callback([options, &ending] { runConvert(*options, ending); });
}

}  // namespace Quivo::tool
