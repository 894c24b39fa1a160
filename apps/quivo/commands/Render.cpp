#include "commands/Commands.h"
#include "options/Arguments.h"
#include "options/Input.h"
#include "options/Region.h"
#include "options/Selection.h"
#include "options/Shown.h"
#include "terminal/Interrupt.h"
#include "terminal/OutputFile.h"
#include "terminal/ProgressBar.h"
#include "terminal/Report.h"
#include "work/Picture.h"
#include "work/PictureFile.h"

#include <quivo/chains/ReadPlan.h>
#include <quivo/core/Levels.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <optional>
#include <string>

namespace Quivo::tool {

namespace {

struct RenderOptions {
    std::string input;
    std::string output;
    std::optional<long long> size;
    RegionOptions region;
    ScaleOptions scale;
    ShownOptions shown;
    OpeningOptions opening;
    std::optional<PictureFormat> format;
    std::optional<long long> quality;
    bool force = false;
    bool quiet = false;
};

/// Whether nothing says how large the picture is to be.
bool isSizeOpen(RenderOptions const& options) {
    return !options.size && !options.region.level && !options.region.box && !options.scale.factor;
}

/// Gives the picture exactly `size` pixels on its longer side: less where there are less, more
/// where nothing would remain of the shorter one. Returns the level to read.
long long fitToSize(Selection& selection, long long size, RenderOptions const& options) {
    auto const getLongerSide = [&](long long level) {
        Vector const extent = selection.getFrame(level).getExtent();
        return std::max(extent.x, extent.y);
    };
    long long level = 0;
    long long const lastLevel = selection.getImage().getNumLevels() - 1;
    while (level < lastLevel && getLongerSide(level + 1) >= size) ++level;
    if (getLongerSide(level) <= size) return level;
    // Half a pixel more, so that truncation cannot lose one.
    auto const getFactor = [&] {
        return (static_cast<double>(size) + 0.5) / static_cast<double>(getLongerSide(level));
    };
    // A side of very few pixels may lose them all, where a finer level leaves one.
    auto const isTooThin = [&](double factor) {
        Vector const extent = scalePosition(selection.getFrame(level).getExtent(), factor);
        return extent.x < 1 || extent.y < 1;
    };
    while (level > 0 && isTooThin(getFactor())) --level;
    double factor = getFactor();
    if (isTooThin(factor)) {
        Vector const extent = selection.getFrame(level).getExtent();
        factor = 1.0 / static_cast<double>(std::min(extent.x, extent.y));
        while (isTooThin(factor)) factor = std::nextafter(factor, 2.0);
        if (factor >= 1.0) return level;
    }
    selection.scale(factor, level, options.scale.cacheSizeMB);
    return level;
}

PictureFormat chooseFormat(RenderOptions const& options) {
    auto const format = options.format                     ? options.format
                        : options.output == standardOutput ? PictureFormat::Png
                                                           : findPictureFormat(options.output);
    if (!format) {
        throw CLI::ValidationError("OUTPUT", "\"" + options.output +
                                                 "\" ends neither with .png nor with .jpg or "
                                                 ".jpeg, and there is no --format");
    }
    if (options.quality && *format != PictureFormat::Jpeg) {
        throw CLI::ValidationError("--quality", "is that of a JPEG");
    }
    return *format;
}

void runRender(RenderOptions const& options, Ending& ending) {
    if (options.size && options.region.level && !options.region.box) {
        // A picture of one size needs no level; of a box, the level says what the box means.
        throw CLI::ExcludesError("--size", "--level without --box");
    }
    PictureFormat const format = chooseFormat(options);
    Interrupt interrupt;
    Input const input(options.input, options.opening);
    input.checkIsNot(options.output);
    (void)options.region.getRegion(input);  // wrong ones are refused before anything is read
    OutputFile file(options.output,
                    options.force ? detail::Existing::Replaced : detail::Existing::Kept, interrupt);
    PicturePlan const plan = planPicture(input, options.shown, options.region.slice.value_or(0));
    Selection selection(input, options.region, Selection::Border::Zeros, plan.channels);
    long long level = 0;
    if (options.scale.factor) {
        selection.scale(*options.scale.factor, 0, options.scale.cacheSizeMB);
    } else if (options.size || isSizeOpen(options)) {
        level = fitToSize(selection, options.size.value_or(1024), options);
    }
    Picture const picture(selection.getImage(), plan);
    Box const region = selection.getFrame(level);
    checkPicture(format, options.output, region, picture.getImage().getNumChannels());
    {
        ProgressBar progress(
            options.quiet ? ProgressBar::Style::Quiet : ProgressBar::Style::WhenItLasts, 1);
        writePicture(file, format, static_cast<int>(options.quality.value_or(90)),
                     picture.getImage(), level, region, selection.getBandHeight(), progress,
                     interrupt);
    }
    file.commit();
    ending.status = reportDamage(input.getName(), describeDamage(input.getDamage()));
}

}  // namespace

void addRenderCommand(CLI::App& app, Ending& ending) {
    CLI::App* const command =
        app.add_subcommand("render", "Write a picture of an image as PNG or JPEG");
    auto const options = std::make_shared<RenderOptions>();
    addPath(*command, "INPUT", &options->input, inputHelp)->required();
    addPath(*command, "OUTPUT", &options->output,
            "the picture to write, .png or .jpg; standard output for -")
        ->required();
    options->region.addTo(*command, zerosAtBorder, "0 without it");
    CLI::Option* const scale = options->scale.addTo(*command);
    addInteger(*command, "--size", &options->size, positiveInteger,
               "the pixels on the longer side of the picture, fewer only where there are no more, "
               "more where the shorter side would have none; 1024 without it, unless --level, "
               "--box or --scale is given; not with --scale, with --level only of a --box")
        ->excludes(scale);
    options->shown.addTo(*command);
    addChoice<std::optional<PictureFormat>, PictureFormat>(
        *command, "--format", &options->format,
        {{"png", PictureFormat::Png}, {"jpeg", PictureFormat::Jpeg}},
        "without it what OUTPUT ends with, png for standard output");
    addInteger(*command, "--quality", &options->quality, {1, 100}, "of a JPEG, 90 without it");
    options->opening.addTo(*command);
    options->opening.addDamagedTo(*command);
    command->add_flag("--force", options->force, "replace an existing OUTPUT");
    command->add_flag("--quiet", options->quiet, "print no progress");
    command->footer(
        "Examples: quivo render slide.tif preview.jpg --size 800\n"
        "          quivo render slide.tif detail.png --box 5000,3000,2000,1500 --scale 0.3\n"
        "          quivo render cells.tif cells.png --channels 'DAPI=blue:100,4000;FITC=green'");
    command->callback([options, &ending] { runRender(*options, ending); });
}

}  // namespace Quivo::tool
