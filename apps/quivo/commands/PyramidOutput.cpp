#include "commands/PyramidOutput.h"

#include "terminal/ProgressBar.h"

#include <quivo/chains/Text.h>
#include <quivo/core/Levels.h>
#include <quivo/image/ChannelNames.h>
#include <quivo/tiff/TiffWriter.h>
#include <quivo/writer/Progress.h>

#include <chrono>
#include <filesystem>
#include <iostream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

namespace Quivo::tool {

namespace {

/// The names of the channels where they are not those that go without saying; none otherwise.
std::vector<std::string> getChannelNames(Image& image) {
    long long const count = image.getNumChannels();
    std::vector<std::string> names;
    bool isTold = true;
    for (long long c = 0; c < count; ++c) {
        names.push_back(image.getChannelName(c));
        isTold = isTold && names.back() == getUsualChannelName(c, count);
    }
    if (isTold) names.clear();
    return names;
}

void configure(TiffWriter& writer, OutputOptions const& options) {
    writer.setFilename(options.output);
    writer.setReplacing(options.force);
    writer.setTileExtent({options.tileSide, options.tileSide, 1});
    writer.setCompression(options.compression);
    writer.setQuality(static_cast<int>(options.quality));
    writer.setNumThreads(static_cast<int>(options.numThreads));
    if (options.sampleType) writer.setSampleType(*options.sampleType);
}

void printSummary(OutputOptions const& options, Image const& image, double seconds) {
    std::error_code none;
    auto const size = static_cast<double>(std::filesystem::file_size(options.output, none));
    long long const numLevels = image.getNumLevels();
    std::cout << toLine(options.output) << ": " << toText(image.getExtent(0)) << ", " << numLevels
              << (numLevels == 1 ? " level, " : " levels, ") << toSizeText(size) << " in "
              << toText(seconds, 1) << " s\n";
}

}  // namespace

long long countLevels(OutputOptions const& options, Vector const& extent) {
    return options.allLevels ? computeNumPyramidLevels(extent)
                             : HalvedLevels::countLevelsToTile(extent, options.tileSide);
}

void writePyramid(OutputOptions const& options, HalvedLevels& pyramid, bool takesLevels,
                  std::string const& warning, CancellationChecker& checker) {
    auto const start = std::chrono::steady_clock::now();
    TiffWriter writer;
    configure(writer, options);
    writer.setChannelNames(getChannelNames(pyramid));
    writer.setSrcImage(&pyramid, false);
    writer.setUseSrcImagePyramid(takesLevels);
    {
        ProgressBar progress(!options.quiet && ProgressBar::isTerminal(),
                             options.tileSide * options.tileSide, warning);
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
    std::chrono::duration<double> const seconds = std::chrono::steady_clock::now() - start;
    if (!options.quiet) printSummary(options, pyramid, seconds.count());
}

}  // namespace Quivo::tool
