// What the samples of a page are, and what they mean together.

#include "read/PageInfo.h"

#include <algorithm>
#include <array>

namespace Quivo::detail {

namespace {

/// The narrowest type for integers of so many bits.
SampleType getIntegerType(long long bits, bool isSigned) {
    if (bits <= 8) return isSigned ? SampleType::I8 : SampleType::U8;
    if (bits <= 16) return isSigned ? SampleType::I16 : SampleType::U16;
    if (bits <= 32) return isSigned ? SampleType::I32 : SampleType::U32;
    return isSigned ? SampleType::I64 : SampleType::U64;
}

std::optional<SampleType> getFloatType(long long bits) {
    if (bits == 16) return SampleType::F16;
    if (bits == 24 || bits == 32) return SampleType::F32;
    if (bits == 64) return SampleType::F64;
    return std::nullopt;
}

bool isPredictable(std::uint16_t predictor, long long bits, bool isFloating) {
    bool const isWhole = bits == 8 || bits == 16 || bits == 32 || bits == 64;
    if (predictor == PREDICTOR_HORIZONTAL) return isWhole;
    return predictor != PREDICTOR_FLOATINGPOINT || (isFloating && bits >= 16);
}

}  // namespace

void PageInfo::readStoredType(TiffHandle& tiff) {
    auto const stated = tiff.getDefaulted<std::uint16_t>(TIFFTAG_BITSPERSAMPLE);
    auto const format = tiff.getDefaulted<std::uint16_t>(TIFFTAG_SAMPLEFORMAT);
    bits = stated;
    bool const isComplex =
        format == SAMPLEFORMAT_COMPLEXINT || format == SAMPLEFORMAT_COMPLEXIEEEFP;
    bool const isFloating = format == SAMPLEFORMAT_IEEEFP || format == SAMPLEFORMAT_COMPLEXIEEEFP;
    std::optional<SampleType> type;
    if (isComplex) {
        partsPerSample = 2;
        bits /= 2;
        // libtiff swaps the bytes of narrower ones as if they were one number.
        bool const isSwappedWhole =
            TIFFIsByteSwapped(tiff.get()) && stated < (isFloating ? 64 : 32);
        bool const isWhole =
            2 * bits == stated && (bits == 8 || bits == 16 || bits == 32 || bits == 64);
        if (isWhole && !isSwappedWhole) {
            type = isFloating ? getFloatType(bits) : getIntegerType(bits, true);
        }
    } else if (isFloating) {
        type = getFloatType(bits);
        if (bits == 24) packing = Packing::Float24;
    } else if (bits >= 1 && bits <= 64 && format >= 1 && format <= SAMPLEFORMAT_VOID) {
        type = getIntegerType(bits, format == SAMPLEFORMAT_INT);
        // Highest bits first whatever the file's order of bytes; but libtiff turns three of them
        // round where it is not the machine's.
        bool const isTurned = bits == 24 && TIFFIsByteSwapped(tiff.get());
        bool const isWhole = bits == 8LL * getSampleBytes(*type);
        if (!isWhole) packing = isTurned ? Packing::Bytes3 : Packing::Bits;
    }
    if (!type) {
        unsupported = "samples of " + std::to_string(stated) + " bits in format " +
                      std::to_string(format) +
                      " are not supported: only integers of 1 to 64 bits, floats of 16, 24, 32 or "
                      "64, and complex numbers of two such parts";
        return;
    }
    storedType = sampleType = *type;
    std::uint16_t predictor = PREDICTOR_NONE;
    bool const hasPredictor = TIFFGetField(tiff.get(), TIFFTAG_PREDICTOR, &predictor) != 0;
    if (hasPredictor && !isPredictable(predictor, stated, isFloating)) {
        unsupported = "predictor " + std::to_string(predictor) + " is not supported for " +
                      std::to_string(stated) + " bits in format " + std::to_string(format);
    }
}

void PageInfo::readConversion(TiffHandle& tiff) {
    // Not every page that seems fit for it has a routine: only the real thing tells.
    char reason[1024] = "";
    TIFFRGBAImage image;
    if (TIFFRGBAImageOK(tiff.get(), reason) && TIFFRGBAImageBegin(&image, tiff.get(), 1, reason)) {
        TIFFRGBAImageEnd(&image);
    } else {
        unsupported = std::string("the colours cannot be converted (") + reason + ")";
    }
    presentation = Presentation::Converted;
    maxRatio *= 16;  // one sample of colour for 4 x 4 pixels
    hasColours = true;
    colourModel = ColourModel::Rgb;
    numChannels = 3;
}

void PageInfo::readColours(TiffHandle& tiff, bool indices) {
    auto const photometric = tiff.getOr<std::uint16_t>(TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
    auto const compression = tiff.getDefaulted<std::uint16_t>(TIFFTAG_COMPRESSION);
    bool const isLogLuv = photometric == PHOTOMETRIC_LOGL || photometric == PHOTOMETRIC_LOGLUV;
    if (isLogLuv && (compression == COMPRESSION_SGILOG || compression == COMPRESSION_SGILOG24)) {
        auto const wanted = photometric == PHOTOMETRIC_LOGL ? 1 : 3;
        if (isSeparate || storedSamples != wanted) {
            unsupported =
                "damaged: logarithmic luminance of " + std::to_string(storedSamples) + " samples";
        }
        decodeMode = DecodeMode::LogLuvToFloats;
        storedType = sampleType = SampleType::F32;
        bits = 32;
        numChannels = storedSamples;
        colourModel = storedSamples == 1 ? ColourModel::Grey : ColourModel::LogLuv;
        return;
    }
    bool const isJpegColour = photometric == PHOTOMETRIC_YCBCR && compression == COMPRESSION_JPEG &&
                              !isSeparate && storedSamples == 3;
    if (isJpegColour) decodeMode = DecodeMode::JpegToRgb;
    if (photometric == PHOTOMETRIC_YCBCR && !isJpegColour) {
        readConversion(tiff);
        return;
    }
    readStoredType(tiff);
    if (!unsupported.empty()) return;
    numChannels = storedSamples * partsPerSample;
    if (partsPerSample > 1) return;  // parts of numbers are no colours
    readMeaning(tiff, photometric);
    // What is valid in a mask is above 0, whatever that is called.
    if (photometric == PHOTOMETRIC_MINISWHITE && !isMask) presentation = Presentation::Inverted;
    if (photometric == PHOTOMETRIC_PALETTE) readPalette(tiff, indices);
}

void PageInfo::readMeaning(TiffHandle& tiff, std::uint16_t photometric) {
    std::uint16_t numExtra = 0;
    std::uint16_t* extras = nullptr;
    TIFFGetFieldDefaulted(tiff.get(), TIFFTAG_EXTRASAMPLES, &numExtra, &extras);
    auto const inkSet = tiff.getDefaulted<std::uint16_t>(TIFFTAG_INKSET);
    bool const isGrey =
        photometric == PHOTOMETRIC_MINISBLACK || photometric == PHOTOMETRIC_MINISWHITE;
    // Samples of colour that the model has; what is more is extra, called so or not.
    auto const [model, needed] = [&]() -> std::pair<ColourModel, long long> {
        if (photometric == PHOTOMETRIC_RGB || decodeMode == DecodeMode::JpegToRgb) {
            return {ColourModel::Rgb, 3};
        }
        if (photometric == PHOTOMETRIC_SEPARATED && inkSet == INKSET_CMYK) {
            return {ColourModel::Cmyk, 4};
        }
        if (photometric == PHOTOMETRIC_CIELAB) return {ColourModel::CieLab, 3};
        if (photometric == PHOTOMETRIC_ICCLAB) return {ColourModel::IccLab, 3};
        if (isGrey) return {ColourModel::Grey, 1};
        return {ColourModel::None, 0};
    }();
    // Several samples of lightness, of which none is called extra, are bands.
    auto const numColours = storedSamples - numExtra;
    bool const isModel = storedSamples >= needed && (!isGrey || numColours == 1);
    if (isModel) colourModel = model;
    hasColours = colourModel == ColourModel::Rgb;
    bool hasBands = false;
    for (long long i = 0; i < numExtra; ++i) {
        auto const channel = numColours + i;  // the last samples are the extra ones
        auto const kind = extras[i];
        if (isModel && channel < needed) continue;
        hasBands |= kind == EXTRASAMPLE_UNSPECIFIED;
        if (kind == EXTRASAMPLE_ASSOCALPHA) opacity[channel] = AlphaKind::Associated;
        if (kind == EXTRASAMPLE_UNASSALPHA) opacity[channel] = AlphaKind::Unassociated;
    }
    hasAlpha = hasColours && opacity.contains(3);
    // Grey among bands that are nothing in particular is one of them.
    if (colourModel == ColourModel::Grey && hasBands) colourModel = ColourModel::None;
}

void PageInfo::readPalette(TiffHandle& tiff, bool indices) {
    constexpr long long widest = 16;
    std::array<std::uint16_t*, 3> colours{};
    bool const isTable =
        bits <= widest && isInteger(storedType) &&
        TIFFGetField(tiff.get(), TIFFTAG_COLORMAP, &colours[0], &colours[1], &colours[2]);
    if (!isTable && !indices) return;  // numbers that stand for nothing
    // Indices have no sign, whatever the file says.
    if (isInteger(storedType)) storedType = sampleType = getIntegerType(bits, false);
    if (indices) {
        colourModel = ColourModel::Classes;
        return;
    }
    auto const size = std::size_t{1} << bits;
    // Old files hold 8-bit colours in the 16-bit table.
    bool isWide = false;
    for (auto const* table : colours) {
        isWide |= std::any_of(table, table + size, [](std::uint16_t c) { return c > 255; });
    }
    auto triples = std::make_shared<std::vector<std::uint8_t>>();
    triples->reserve(3 * size);
    for (std::size_t i = 0; i < size; ++i) {
        for (auto const* table : colours) {
            triples->push_back(static_cast<std::uint8_t>(isWide ? table[i] >> 8 : table[i]));
        }
    }
    palette = std::move(triples);
    presentation = Presentation::Palette;
    sampleType = SampleType::U8;
    numChannels = storedSamples + 2;
    hasColours = true;
    colourModel = ColourModel::Rgb;
    std::map<long long, AlphaKind> moved;
    for (auto const& [channel, kind] : opacity) moved[channel + 2] = kind;
    opacity = std::move(moved);
    hasAlpha = opacity.contains(3);
}

}  // namespace Quivo::detail
