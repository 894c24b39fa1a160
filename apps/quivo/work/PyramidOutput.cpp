#include "work/PyramidOutput.h"

#include "options/Input.h"
#include "options/Selection.h"
#include "terminal/ProgressBar.h"
#include "terminal/Report.h"
#include "work/CommonType.h"

#include <quivo/chains/Text.h>
#include <quivo/core/Levels.h>
#include <quivo/filters/HalvedLevels.h>
#include <quivo/tiff/TiffWriter.h>
#include <quivo/writer/Progress.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <iostream>
#include <stdexcept>
#include <system_error>

namespace Quivo::tool {

namespace {

/// How many levels of an image of `extent` are worth being written.
long long countLevels(OutputOptions const& options, Vector const& extent) {
    return options.allLevels ? computeNumPyramidLevels(extent)
                             : HalvedLevels::countLevelsToTile(extent, options.getTileSide());
}

void configure(TiffWriter& writer, OutputOptions const& options, Pyramid const& pyramid) {
    writer.setFilename(pyramid.output);
    writer.setReplacing(options.force);
    writer.setTileExtent({options.getTileSide(), options.getTileSide(), 1});
    writer.setCompression(options.compression);
    writer.setQuality(static_cast<int>(options.quality.value_or(90)));
    writer.setNumThreads(static_cast<int>(options.numThreads));
    writer.setLayout(options.layout);
    writer.setStrip(options.strips);
    if (pyramid.type) writer.setSampleType(*pyramid.type);
    writer.setUseSrcImagePyramid(pyramid.takesLevels);
}

/// Whoever chooses a type by --type should know that values may change.
void warnOfType(OutputOptions const& options, Pyramid const& pyramid) {
    if (!options.sampleType) return;
    for (Input const* input : pyramid.inputs) {
        SampleType const type = input->getSampleType();
        if (holds(*options.sampleType, type)) continue;
        warn(pyramid.output, toString(*options.sampleType) + " does not hold all values of " +
                                 toString(type) + ": the others become the nearest that it has");
        return;
    }
}

/// Prints what the user should know when the work begins. --strip is no loss.
void printWarnings(TiffWriter const& writer, OutputOptions const& options, Pyramid const& pyramid) {
    warnOfType(options, pyramid);
    for (std::string const& warning : pyramid.warnings) warn(pyramid.output, warning);
    std::string losses;
    for (std::string const& loss : writer.getLosses())
        losses += (losses.empty() ? "" : ", ") + loss;
    if (!losses.empty()) warn(pyramid.output, "does not hold " + losses);
}

/// What was filled in the inputs together.
std::string describeAllDamage(std::vector<Input const*> const& inputs) {
    std::string text;
    for (Input const* input : inputs) {
        std::string const one = describeDamage(input->getDamage());
        if (!one.empty()) text += (text.empty() ? "" : "; ") + one;
    }
    return text;
}

void printSummary(std::string const& output, Image const& image, double seconds,
                  std::string const& damage) {
    std::error_code none;
    auto const size = static_cast<double>(std::filesystem::file_size(output, none));
    long long const numLevels = image.getNumLevels();
    std::cout << toLine(output + ": " + toText(image.getExtent(0)) + ", " +
                        std::to_string(numLevels) + (numLevels == 1 ? " level, " : " levels, ") +
                        toSizeText(size) + " in " + toText(seconds, 1) + " s" +
                        (damage.empty() ? "" : ", " + damage))
              << std::endl;
}

}  // namespace

bool areLevelsStored(OutputOptions const& options, Selection const& selection) {
    long long const numLevels = countLevels(options, selection.getImage().getExtent(0));
    for (long long level = 0; level < numLevels; ++level) {
        if (!selection.isLevelStored(level)) return false;
    }
    return true;
}

Status writePyramid(OutputOptions const& options, Pyramid const& pyramid,
                    CancellationChecker& checker) {
    auto const start = std::chrono::steady_clock::now();
    HalvedLevels levels(pyramid.image, countLevels(options, pyramid.image->getExtent(0)), false);
    TiffWriter writer;
    configure(writer, options, pyramid);
    writer.setSrcImage(&levels, false);
    {
        ProgressBar progress(options.quiet ? ProgressBar::Style::Quiet : ProgressBar::Style::AtOnce,
                             options.getTileSide() * options.getTileSide(),
                             [&] { printWarnings(writer, options, pyramid); });
        writer.writeImage(&progress, &checker);
    }
    switch (writer.getOutcome()) {
        case TiffWriter::Outcome::Complete:
            break;
        case TiffWriter::Outcome::Failed:
            throw std::runtime_error(writer.getFailure());
        case TiffWriter::Outcome::NotRun:  // stopped before it began
        case TiffWriter::Outcome::Cancelled:
            throw CancellationException();
    }
    std::string const damage = describeAllDamage(pyramid.inputs);
    if (options.quiet) return reportDamage(pyramid.output, damage);
    std::chrono::duration<double> const seconds = std::chrono::steady_clock::now() - start;
    printSummary(pyramid.output, levels, seconds.count(), damage);
    return damage.empty() ? Success : Filled;
}

}  // namespace Quivo::tool
