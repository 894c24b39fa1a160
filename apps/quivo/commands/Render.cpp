#include "commands/Commands.h"
#include "options/Arguments.h"
#include "options/Input.h"
#include "options/Region.h"
#include "options/Selection.h"
#include "terminal/Interrupt.h"
#include "terminal/Memory.h"
#include "terminal/OutputFile.h"

#include <quivo/chains/ReadPlan.h>
#include <quivo/core/Levels.h>
#include <quivo/core/Strips.h>
#include <quivo/display/Bytes.h>
#include <quivo/display/PngEncoder.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace Quivo::tool {

namespace {

struct RenderOptions {
    std::string input;
    std::string output;
    std::optional<long long> size;
    RegionOptions region;
    ScaleOptions scale;
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

/// The file as a sink of an encoder.
class FileSink final : public ByteSink {
public:
    explicit FileSink(OutputFile& file) noexcept : file_(file) {}
    void write(std::span<std::byte const> bytes) override {
        file_.write(bytes.data(), bytes.size());
    }

private:
    OutputFile& file_;
};

/// Three and four channels are colours; of any other number the first is shown.
int getNumShownChannels(Image const& view) {
    long long const numChannels = view.getNumChannels();
    return numChannels == 3 || numChannels == 4 ? static_cast<int>(numChannels) : 1;
}

/// Writes a region of `view`; `maxBandHeight` rows of it are read at once at most.
void writePng(OutputFile& file, Image& view, long long level, Box const& region,
              long long maxBandHeight, CancellationChecker& checker) {
    Vector const extent = region.getExtent();
    int const numChannels = getNumShownChannels(view);
    Vector const pieceExtent = ReadPlan::choosePieceExtent(view.getNumChannels());
    constexpr long long maxBandBytes = 1 << 26;
    // NOLINTNEXTLINE(clang-analyzer-core.DivideZero): neither a box nor a level is empty here
    long long const bandHeight = std::clamp(maxBandBytes / (extent.x * numChannels), 1LL,
                                            std::min(pieceExtent.y, maxBandHeight));
    std::vector<unsigned char> rows(
        static_cast<std::size_t>(extent.x * numChannels * std::min(bandHeight, extent.y)));
    std::vector<double> values;

    FileSink sink(file);
    PngEncoder png(sink, extent.x, extent.y, numChannels);
    forEachStrip(region, 1, bandHeight, [&](Box const& band) {
        forEachStrip(band, 0, pieceExtent.x, [&](Box const& piece) {
            checker.checkCancelled();
            auto const count = static_cast<std::size_t>(piece.getSize() * view.getNumChannels());
            if (values.size() < count) values.resize(count);
            view.openRegion(values.data(), level, piece);
            Vector const size = piece.getExtent();
            interleaveBytes(values.data(), size.x, size.y, numChannels,
                            rows.data() + (piece.min.x - region.min.x) * numChannels, extent.x);
        });
        for (long long y = 0; y < band.getExtent().y; ++y) {
            png.writeRow(rows.data() + y * extent.x * numChannels);
        }
    });
    png.finish();
}

void runRender(RenderOptions const& options) {
    if (options.size && options.region.level && !options.region.box) {
        // A picture of one size needs no level; of a box, the level says what the box means.
        throw CLI::ExcludesError("--size", "--level without --box");
    }
    Interrupt interrupt;
    Input const input(options.input);
    input.checkIsNot(options.output);
    Selection selection(input, options.region, Selection::Border::Zeros);
    long long level = 0;
    if (options.scale.factor) {
        selection.scale(*options.scale.factor, 0, options.scale.cacheSizeMB);
    } else if (options.size || isSizeOpen(options)) {
        level = fitToSize(selection, options.size.value_or(1024), options);
    }
    Image& view = *selection.getImage().getViewableRepresentation();
    Box const region = selection.getFrame(level);
    Vector const extent = region.getExtent();
    if (extent.x > PngEncoder::maxSide || extent.y > PngEncoder::maxSide) {
        throw std::runtime_error(options.output + ": a PNG has at most " +
                                 std::to_string(PngEncoder::maxSide) +
                                 " pixels on a side: choose a smaller --box or a coarser --level");
    }
    constexpr double numRowsInMemory = 8.0;  // ours, and those in which the encoder tries filters
    checkFitsIntoMemory(options.output, static_cast<double>(extent.x) * getNumShownChannels(view) *
                                            numRowsInMemory);
    OutputFile file(options.output, interrupt);
    try {
        writePng(file, view, level, region, selection.getBandHeight(), interrupt);
    } catch (EncodingError const& error) {
        throw std::runtime_error(options.output + ": " + error.what());
    }
    file.commit();
}

}  // namespace

void addRenderCommand(CLI::App& app) {
    CLI::App* const command = app.add_subcommand("render", "Write a picture of an image as PNG");
    auto const options = std::make_shared<RenderOptions>();
    addPath(*command, "INPUT", &options->input, inputHelp)->required();
    addPath(*command, "OUTPUT", &options->output, "the PNG to write, an existing one is replaced")
        ->required();
    options->region.addTo(*command, zerosAtBorder, "0 without it");
    CLI::Option* const scale = options->scale.addTo(*command);
    addInteger(*command, "--size", &options->size, positiveInteger,
               "the pixels on the longer side of the picture, fewer only where there are no more, "
               "more where the shorter side would have none; 1024 without it, unless --level, "
               "--box or --scale is given; with --level only of a --box")
        ->excludes(scale);
    command->footer(
        "Examples: quivo render slide.tif preview.png --size 800\n"
        "          quivo render slide.tif detail.png --box 5000,3000,2000,1500 --scale 0.3");
    command->callback([options] { runRender(*options); });
}

}  // namespace Quivo::tool
