#include "options/OutputOptions.h"

#include "options/Arguments.h"

#include <quivo/chains/Text.h>

#include <filesystem>
#include <stdexcept>
#include <system_error>

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
            return from == SampleType::F64 || (isInteger(from) && getSampleBytes(from) >= 4);
        default:
            return false;
    }
}

/// The narrowest type that a writer has for all values of type `from`.
SampleType chooseWideType(SampleType from) {
    switch (from) {
        case SampleType::I8:
        case SampleType::I16:
        case SampleType::F16:
            return SampleType::F32;
        case SampleType::I32:
        case SampleType::U64:
        case SampleType::I64:
            return SampleType::F64;
        default:
            return from;
    }
}

/// The side of a tile.
/// error: std::runtime_error.
long long parseTileSide(std::string const& text) {
    std::optional<long long> const side = parseInteger(text);
    if (side && *side >= 16 && *side <= 65536 && *side % 16 == 0) return *side;
    throw std::runtime_error("\"" + text + "\" is not a multiple of 16 from 16 to 65536");
}

}  // namespace

void OutputOptions::addTo(CLI::App& app) {
    auto const parse = [this](std::string const& text) { tileSide = parseTileSide(text); };
    addParsed(app, "--tile", parse, "the side of a tile, a multiple of 16, 256 without it")
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

void OutputOptions::checkOutput(Input const& input) const {
    input.checkIsNot(output);
    std::error_code none;
    auto const status = std::filesystem::symlink_status(output, none);
    if (!std::filesystem::exists(status)) return;
    auto const target = std::filesystem::status(output, none);
    if (std::filesystem::exists(target) && !std::filesystem::is_regular_file(target)) {
        throw std::runtime_error(output + ": is not a file that could be replaced");
    }
    if (!force) throw std::runtime_error(output + ": exists already, --force replaces it");
}

std::string OutputOptions::getWarning(Input const& input, ValueRange<double> const& range) const {
    SampleType const from = input.getSampleType();
    SampleType const to = TiffWriter::chooseSampleType(range);
    if (sampleType || !losesDigits(from, to)) return {};
    return toLine("quivo: warning: " + input.getName() + ": its " + toString(from) +
                  " samples may lose digits as " + toString(to) + ", --type " +
                  toString(chooseWideType(from)) + " keeps them");
}

}  // namespace Quivo::tool
