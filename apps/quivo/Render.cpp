#include "Arguments.h"
#include "Commands.h"
#include "Interrupt.h"
#include "Memory.h"
#include "OutputFile.h"
#include "Png.h"
#include "Region.h"
#include "Source.h"

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace Quivo::tool {

namespace {

struct RenderOptions {
    std::string input;
    std::string output;
    long long size = 1024;
    RegionOptions region;
};

/// The first level whose longer side is at most `size`; the last one if there is none.
long long getLevelOfSize(Image const& image, long long size) {
    long long level = 0;
    auto const isLarger = [&] {
        Vector const extent = image.getExtent(level);
        return std::max(extent.x, extent.y) > size;
    };
    while (level + 1 < image.getNumLevels() && isLarger()) ++level;
    return level;
}

/// Rounded half up and clamped; 0 for NaN.
unsigned char toByte(double value) noexcept {
    if (!(value > 0.0)) return 0;
    return value >= 255.0 ? 255 : static_cast<unsigned char>(value + 0.5);
}

/// Copies the planes of a piece to their places in interleaved rows of `rowLength` pixels.
void interleave(double const* src, Vector const& size, long long numChannels, unsigned char* dst,
                long long rowLength) noexcept {
    for (long long c = 0; c < numChannels; ++c) {
        for (long long y = 0; y < size.y; ++y) {
            double const* const row = src + (c * size.y + y) * size.x;
            unsigned char* const out = dst + y * rowLength * numChannels + c;
            for (long long x = 0; x < size.x; ++x) out[x * numChannels] = toByte(row[x]);
        }
    }
}

/// Three and four channels are colours; of any other number the first is shown.
int getNumShownChannels(Image const& view) {
    long long const numChannels = view.getNumChannels();
    return numChannels == 3 || numChannels == 4 ? static_cast<int>(numChannels) : 1;
}

void writePng(OutputFile& file, Image& view, long long level, Box const& region,
              CancellationChecker& checker) {
    Vector const extent = region.getExtent();
    int const numChannels = getNumShownChannels(view);
    PieceReader reader(view, level, checker);
    constexpr long long maxBandBytes = 1 << 26;
    long long const bandHeight =
        std::clamp(maxBandBytes / (extent.x * numChannels), 1LL, reader.getBandHeight());
    std::vector<unsigned char> rows(
        static_cast<std::size_t>(extent.x * numChannels * std::min(bandHeight, extent.y)));

    PngWriter png(file, extent.x, extent.y, numChannels);
    forEachStrip(region, 1, bandHeight, [&](Box const& band) {
        forEachStrip(band, 0, PieceReader::pieceWidth, [&](Box const& piece) {
            interleave(reader.read(piece), piece.getExtent(), numChannels,
                       rows.data() + (piece.min.x - region.min.x) * numChannels, extent.x);
        });
        for (long long y = 0; y < band.getExtent().y; ++y) {
            png.writeRow(rows.data() + y * extent.x * numChannels);
        }
    });
    png.finish();
}

void runRender(RenderOptions const& options) {
    Interrupt interrupt;
    Source source(options.input);
    source.setCancellationChecker(interrupt);
    source.checkIsNot(options.output);
    Image& view = *source.getImage().getViewableRepresentation();
    long long const level = options.region.level.value_or(getLevelOfSize(view, options.size));
    Box const region = options.region.getRegion(source, level);
    Vector const extent = region.getExtent();
    if (extent.x > maxPngSide || extent.y > maxPngSide) {
        throw std::runtime_error(options.output + ": a PNG has at most " +
                                 std::to_string(maxPngSide) +
                                 " pixels on a side: choose a smaller --box or a coarser --level");
    }
    constexpr double numRowsInMemory = 8.0;  // ours, and those in which the encoder tries filters
    checkFitsIntoMemory(options.output, static_cast<double>(extent.x) * getNumShownChannels(view) *
                                            numRowsInMemory);
    OutputFile file(options.output, interrupt);
    writePng(file, view, level, region, interrupt);
    file.commit();
}

}  // namespace

void addRenderCommand(CLI::App& app) {
    CLI::App* const command = app.add_subcommand("render", "Write a picture of an image as PNG");
    auto const options = std::make_shared<RenderOptions>();
    addPath(*command, "INPUT", &options->input, inputHelp)->required();
    addPath(*command, "OUTPUT", &options->output, "the PNG to write, an existing one is replaced")
        ->required();
    CLI::Option* const size =
        addInteger(*command, "--size", &options->size, positiveInteger,
                   "take the first level whose longer side is at most this, 1024 without it");
    options->region.addTo(*command)->excludes(size);
    command->footer("Example: quivo render slide.tif preview.png --size 800");
    command->callback([options] { runRender(*options); });
}

}  // namespace Quivo::tool
