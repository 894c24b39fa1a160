#include "commands/Commands.h"
#include "commands/PyramidOutput.h"
#include "options/Arguments.h"
#include "options/Input.h"
#include "options/OutputOptions.h"
#include "options/Region.h"
#include "options/Selection.h"
#include "terminal/Interrupt.h"

#include <memory>
#include <string>

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
    RegionOptions region;
    ScaleOptions scale;
    LevelOrigin levels = LevelOrigin::Auto;
    OutputOptions output;
};

bool takesLevelsFromSource(LevelOrigin origin, Selection const& selection, long long numLevels) {
    if (origin != LevelOrigin::Auto) return origin == LevelOrigin::Source;
    for (long long level = 0; level < numLevels; ++level) {
        if (!selection.isLevelStored(level)) return false;
    }
    return true;
}

void runConvert(ConvertOptions const& options) {
    if (options.scale.factor && options.levels == LevelOrigin::Source) {
        // They would have other extents than the levels of a pyramid.
        throw CLI::ExcludesError("--scale", "--levels source");
    }
    Interrupt interrupt;
    Input const input(options.input);
    options.output.checkOutput(input);

    Selection selection(input, options.region, Selection::Border::Cut);
    if (options.scale.factor) {
        selection.scale(*options.scale.factor, 0, options.scale.cacheSizeMB);
        selection.expectTiles(options.output.tileSide, options.scale.cacheSizeMB);
    }
    Image& image = selection.getImage();
    HalvedLevels pyramid(&image, countLevels(options.output, image.getExtent(0)), false);
    writePyramid(options.output, pyramid,
                 takesLevelsFromSource(options.levels, selection, pyramid.getNumLevels()),
                 options.output.getWarning(input, pyramid.getValueRange()), interrupt);
}

}  // namespace

void addConvertCommand(CLI::App& app) {
    CLI::App* const command = app.add_subcommand("convert", "Write an image as pyramid TIFF");
    auto const options = std::make_shared<ConvertOptions>();
    addPath(*command, "INPUT", &options->input, inputHelp)->required();
    addPath(*command, "OUTPUT", &options->output.output, "the TIFF to write")->required();
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
    options->output.addTo(*command);
    command->footer(
        "The box is cut out first, then the slice is taken, then the result is scaled.\n"
        "Examples: quivo convert mandelbrot:32768x32768 set.tif --compression zstd\n"
        "          quivo convert slide.tif part.tif --box 5000,3000,8000,6000 --scale 0.4");
    command->callback([options] { runConvert(*options); });
}

}  // namespace Quivo::tool
