#include "Arguments.h"
#include "Commands.h"
#include "Interrupt.h"
#include "ProgressBar.h"
#include "Source.h"
#include "Text.h"

#include <quivo/filters/Filter.h>
#include <quivo/tiff/TiffWriter.h>

#include <chrono>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>

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
    std::string output;
    long long tileSide = 256;
    TiffCompression compression = TiffCompression::Deflate;
    long long quality = 90;
    LevelOrigin levels = LevelOrigin::Auto;
    bool allLevels = false;
    std::optional<SampleType> sampleType;
    long long numThreads = 0;
    bool force = false;
    bool quiet = false;
};

/// An image without its coarsest levels.
class FirstLevels : public Filter {
public:
    FirstLevels(Image* source, long long count) noexcept : Filter(source, false), count_(count) {}

    long long getNumLevels() const override { return count_; }

private:
    long long count_;
};

/// The levels up to the first that fits into one tile: further ones would only cost space.
long long countUsefulLevels(Image const& image, long long tileSide) {
    long long const numLevels = image.getNumLevels();
    for (long long level = 0; level < numLevels; ++level) {
        Vector const extent = image.getExtent(level);
        if (extent.x <= tileSide && extent.y <= tileSide) return level + 1;
    }
    return numLevels;
}

bool takesLevelsFromSource(ConvertOptions const& options, Source const& source,
                           long long numLevels) {
    if (options.levels != LevelOrigin::Auto) return options.levels == LevelOrigin::Source;
    for (long long level = 0; level < numLevels; ++level) {
        if (!source.isLevelStored(level)) return false;
    }
    return true;
}

/// error: std::runtime_error when the output must not be written.
void checkOutput(ConvertOptions const& options, Source const& source) {
    source.checkIsNot(options.output);
    std::error_code none;
    auto const status = std::filesystem::symlink_status(options.output, none);
    if (!std::filesystem::exists(status)) return;
    auto const target = std::filesystem::status(options.output, none);
    if (std::filesystem::exists(target) && !std::filesystem::is_regular_file(target)) {
        throw std::runtime_error(options.output + ": is not a file that could be replaced");
    }
    if (!options.force) {
        throw std::runtime_error(options.output + ": exists already, --force replaces it");
    }
}

/// Whether values of type `from` may not survive in a sample of type `to`, which a writer chose.
bool losesDigits(SampleType from, SampleType to) {
    bool const isFloat = from == SampleType::F32 || from == SampleType::F64;
    bool const needsDouble =
        from == SampleType::U32 || from == SampleType::I32 || from == SampleType::F64;
    return to == SampleType::F32 ? needsDouble : isFloat;
}

/// What to tell the user about the sample type that the writer chooses; empty when all is well.
std::string getWarning(ConvertOptions const& options, Source const& source) {
    SampleType const from = source.getSampleType();
    SampleType const to = TiffWriter::chooseSampleType(source.getImage().getValueRange());
    if (options.sampleType || !losesDigits(from, to)) return {};
    std::string const hint = from == SampleType::I32 ? "f64" : toString(from);
    return "quivo: warning: " + options.input + ": its " + toString(from) +
           " samples may lose digits as " + toString(to) + ", --type " + hint + " keeps them";
}

void configure(TiffWriter& writer, ConvertOptions const& options) {
    writer.setFilename(options.output);
    writer.setTileExtent({options.tileSide, options.tileSide, 1});
    writer.setCompression(options.compression);
    writer.setQuality(static_cast<int>(options.quality));
    writer.setNumThreads(static_cast<int>(options.numThreads));
    if (options.sampleType) writer.setSampleType(*options.sampleType);
}

void printSummary(ConvertOptions const& options, Image const& image, double seconds) {
    std::error_code none;
    auto const size = static_cast<double>(std::filesystem::file_size(options.output, none));
    long long const numLevels = image.getNumLevels();
    std::cout << options.output << ": " << toText(image.getExtent(0)) << ", " << numLevels
              << (numLevels == 1 ? " level, " : " levels, ") << toSizeText(size) << " in "
              << toText(seconds, 1) << " s\n";
}

void runConvert(ConvertOptions const& options) {
    auto const start = std::chrono::steady_clock::now();
    Interrupt interrupt;
    Source source(options.input);
    source.setCancellationChecker(interrupt);
    checkOutput(options, source);

    Image& image = source.getImage();
    FirstLevels levels(&image, options.allLevels ? image.getNumLevels()
                                                 : countUsefulLevels(image, options.tileSide));
    TiffWriter writer;
    configure(writer, options);
    writer.setSrcImage(&levels, false);
    writer.setUseSrcImagePyramid(takesLevelsFromSource(options, source, levels.getNumLevels()));
    {
        ProgressBar progress(!options.quiet && ProgressBar::isTerminal(),
                             options.tileSide * options.tileSide, getWarning(options, source));
        writer.writeImage(&progress, &interrupt);
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
    if (!options.quiet) printSummary(options, levels, seconds.count());
}

/// The side of a tile.
/// error: CLI::ValidationError.
long long parseTileSide(std::string const& text) {
    std::optional<long long> const side = parseInteger(text);
    if (side && *side >= 16 && *side <= 65536 && *side % 16 == 0) return *side;
    throw CLI::ValidationError("--tile",
                               "\"" + text + "\" is not a multiple of 16 from 16 to 65536");
}

void addEncodingOptions(CLI::App& command, ConvertOptions& options) {
    auto const storeTileSide = [&options](std::string const& text) {
        options.tileSide = parseTileSide(text);
    };
    command
        .add_option_function<std::string>("--tile", storeTileSide,
                                          "the side of a tile, a multiple of 16, 256 without it")
        ->type_name("N");
    addChoice<TiffCompression, TiffCompression>(command, "--compression", &options.compression,
                                                {{"deflate", TiffCompression::Deflate},
                                                 {"none", TiffCompression::None},
                                                 {"lzw", TiffCompression::Lzw},
                                                 {"zstd", TiffCompression::Zstd},
                                                 {"jpeg", TiffCompression::Jpeg}},
                                                "deflate without it; all but jpeg are lossless");
    addInteger(command, "--quality", &options.quality, {1, 100}, "of jpeg, 90 without it");
    addChoice<std::optional<SampleType>, SampleType>(
        command, "--type", &options.sampleType,
        {{"u8", SampleType::U8},
         {"u16", SampleType::U16},
         {"u32", SampleType::U32},
         {"f32", SampleType::F32},
         {"f64", SampleType::F64}},
        "the type of the stored samples; without it, what the value range of INPUT suggests");
}

}  // namespace

void addConvertCommand(CLI::App& app) {
    CLI::App* const command = app.add_subcommand("convert", "Write an image as pyramid TIFF");
    auto const options = std::make_shared<ConvertOptions>();
    addPath(*command, "INPUT", &options->input, inputHelp)->required();
    addPath(*command, "OUTPUT", &options->output, "the TIFF to write")->required();
    addEncodingOptions(*command, *options);
    addChoice<LevelOrigin, LevelOrigin>(
        *command, "--levels", &options->levels,
        {{"auto", LevelOrigin::Auto},
         {"source", LevelOrigin::Source},
         {"previous", LevelOrigin::Previous}},
        "take the coarser levels from INPUT, or compute each from the one before; auto, as without "
        "it, takes them from INPUT if it stores them all");
    command->add_flag("--all-levels", options->allLevels,
                      "go on below the first level that fits into one tile");
    addInteger(*command, "--threads", &options->numThreads, {1, 1024},
               "threads that compress, one per processor without it");
    command->add_flag("--force", options->force, "replace an existing OUTPUT");
    command->add_flag("--quiet", options->quiet, "print neither progress nor summary");
    command->footer("Example: quivo convert mandelbrot:32768x32768 set.tif --compression zstd");
    command->callback([options] { runConvert(*options); });
}

}  // namespace Quivo::tool
