#include "PyramidOutput.h"

#include "options/Arguments.h"
#include "terminal/ProgressBar.h"
#include "terminal/Text.h"

#include <quivo/core/Levels.h>
#include <quivo/image/ChannelNames.h>

#include <chrono>
#include <filesystem>
#include <iostream>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace Quivo::tool {

namespace {

/// Whether values of type `from` may not survive in a sample of type `to`, which a writer chose.
bool losesDigits(SampleType from, SampleType to) {
    switch (to) {
        case SampleType::U8:
            return from != SampleType::U8;
        case SampleType::U16:
            return from != SampleType::U8 && from != SampleType::U16;
        case SampleType::F32:
            return from == SampleType::U32 || from == SampleType::I32 || from == SampleType::F64;
        default:
            return false;
    }
}

/// The narrowest type that a writer has for all values of type `from`.
SampleType chooseWideType(SampleType from) {
    if (from == SampleType::I8 || from == SampleType::I16) return SampleType::F32;
    return from == SampleType::I32 ? SampleType::F64 : from;
}

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

/// The side of a tile.
/// error: CLI::ValidationError.
long long parseTileSide(std::string const& text) {
    std::optional<long long> const side = parseInteger(text);
    if (side && *side >= 16 && *side <= 65536 && *side % 16 == 0) return *side;
    throw CLI::ValidationError("--tile",
                               "\"" + text + "\" is not a multiple of 16 from 16 to 65536");
}

}  // namespace

void OutputOptions::addTo(CLI::App& app) {
    auto const storeTileSide = [this](std::string const& text) { tileSide = parseTileSide(text); };
    app.add_option_function<std::string>("--tile", storeTileSide,
                                         "the side of a tile, a multiple of 16, 256 without it")
        ->type_name("N");
    addChoice<TiffCompression, TiffCompression>(app, "--compression", &compression,
                                                {{"deflate", TiffCompression::Deflate},
                                                 {"none", TiffCompression::None},
                                                 {"lzw", TiffCompression::Lzw},
                                                 {"zstd", TiffCompression::Zstd},
                                                 {"jpeg", TiffCompression::Jpeg}},
                                                "deflate without it; all but jpeg are lossless");
    addInteger(app, "--quality", &quality, {1, 100}, "of jpeg, 90 without it");
    addChoice<std::optional<SampleType>, SampleType>(
        app, "--type", &sampleType,
        {{"u8", SampleType::U8},
         {"u16", SampleType::U16},
         {"u32", SampleType::U32},
         {"f32", SampleType::F32},
         {"f64", SampleType::F64}},
        "the type of the stored samples; without it, what the value range suggests");
    app.add_flag("--all-levels", allLevels, "go on below the first level that fits into one tile");
    addInteger(app, "--threads", &numThreads, {1, 1024},
               "threads that compress, one per processor without it");
    app.add_flag("--force", force, "replace an existing OUTPUT");
    app.add_flag("--quiet", quiet, "print neither progress nor summary");
}

void OutputOptions::checkOutput(Source const& source) const {
    source.checkIsNot(output);
    std::error_code none;
    auto const status = std::filesystem::symlink_status(output, none);
    if (!std::filesystem::exists(status)) return;
    auto const target = std::filesystem::status(output, none);
    if (std::filesystem::exists(target) && !std::filesystem::is_regular_file(target)) {
        throw std::runtime_error(output + ": is not a file that could be replaced");
    }
    if (!force) throw std::runtime_error(output + ": exists already, --force replaces it");
}

std::string OutputOptions::getWarning(Source const& source, ValueRange<double> const& range) const {
    SampleType const from = source.getSampleType();
    SampleType const to = TiffWriter::chooseSampleType(range);
    if (sampleType || !losesDigits(from, to)) return {};
    return toLine("quivo: warning: " + source.getInput() + ": its " + toString(from) +
                  " samples may lose digits as " + toString(to) + ", --type " +
                  toString(chooseWideType(from)) + " keeps them");
}

Pyramid::Pyramid(Image& image, OutputOptions const& options)
    : Filter(&image, false),
      samples_(dynamic_cast<SampleSource*>(&image)),
      numLevels_(computeNumPyramidLevels(image.getExtent(0))) {
    if (options.allLevels) return;
    // The levels up to the first that fits into one tile: further ones would only cost space.
    for (long long level = 0; level < numLevels_; ++level) {
        Vector const extent = Pyramid::getExtent(level);
        if (extent.x <= options.tileSide && extent.y <= options.tileSide) numLevels_ = level + 1;
    }
}

Vector Pyramid::getExtent(long long level) const {
    return convertToLevel(getSource()->getExtent(0), 0, level);
}

std::optional<SampleType> Pyramid::getStoredType() const {
    return samples_ ? samples_->getStoredType() : std::nullopt;
}

void Pyramid::openSamples(void* dst, long long level, Box const& region,
                          std::span<long long const> channels) {
    samples_->openSamples(dst, level, region, channels);
}

void writePyramid(OutputOptions const& options, Pyramid& pyramid, bool takesLevels,
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
