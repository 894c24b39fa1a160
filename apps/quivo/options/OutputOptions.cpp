#include "options/OutputOptions.h"

#include "options/Arguments.h"
#include "terminal/OutputFile.h"

#include <quivo/chains/Text.h>

#include <stdexcept>

namespace Quivo::tool {

namespace {

/// The side of a tile.
/// error: std::runtime_error.
long long parseTileSide(std::string const& text) {
    std::optional<long long> const side = parseInteger(text);
    if (side && *side >= 16 && *side <= 65536 && *side % 16 == 0) return *side;
    throw std::runtime_error("\"" + text + "\" is not a multiple of 16 from 16 to 65536");
}

}  // namespace

void OutputOptions::addTo(CLI::App& app, std::string const& ownType) {
    addChoice<TiffLayout, TiffLayout>(
        app, "--layout", &layout,
        {{"plain", TiffLayout::Plain}, {"ome", TiffLayout::Ome}, {"cog", TiffLayout::Cog}},
        "plain, as without it, for most readers; OME-TIFF, for microscopy; or a Cloud Optimized "
        "GeoTIFF, of one slice, for reading over a network");
    auto const parse = [this](std::string const& text) { tileSide = parseTileSide(text); };
    addParsed(app, "--tile", parse,
              "the side of a tile, a multiple of 16; 256 without it, and 512 for cog")
        ->type_name("N");
    addChoice<TiffCompression, TiffCompression>(app, "--compression", &compression,
                                                {{"deflate", TiffCompression::Deflate},
                                                 {"none", TiffCompression::None},
                                                 {"lzw", TiffCompression::Lzw},
                                                 {"zstd", TiffCompression::Zstd},
                                                 {"jpeg", TiffCompression::Jpeg}},
                                                "deflate without it; all but jpeg are lossless");
    addInteger(app, "--quality", &quality, {1, 100}, "of --compression jpeg, 90 without it");
    addChoice<TypeChoice, TypeChoice>(app, "--type", &sampleType, listTypeChoices(),
                                      "the type of the stored samples; without it, " + ownType);
    app.add_flag("--strip", strips,
                 "leave out what may name people: description, dates, XMP, EXIF and the like");
    app.add_flag("--all-levels", allLevels, "go on below the first level that fits into one tile");
    addInteger(app, "--threads", &numThreads, {1, 1024},
               "threads that compress, one per processor without it");
    app.add_flag("--force", force, "replace what exists under the name of the output");
    app.add_flag("--quiet", quiet, "print neither progress nor summary");
}

void OutputOptions::check(std::string const& output) const {
    if (quality && compression != TiffCompression::Jpeg) {
        throw CLI::ValidationError("--quality", "is that of --compression jpeg");
    }
    if (output == standardOutput) {
        throw CLI::ValidationError("OUTPUT",
                                   "a TIFF is not written from its beginning to its end "
                                   "and needs a file, ./- for one of that name");
    }
}

long long OutputOptions::getTileSide() const noexcept {
    return tileSide.value_or(layout == TiffLayout::Cog ? 512 : 256);
}

}  // namespace Quivo::tool
