#include "write/TileCodec.h"

#include <array>
#include <bit>
#include <limits>

namespace Quivo::detail {

namespace {

constexpr int subsampledBelowQuality = 90;
std::array<float, 6> referenceBlackWhite{0, 255, 128, 255, 128, 255};

}  // namespace

std::size_t TileFormat::getWorstBytes() const noexcept {
    // Codecs that fall back to storing cost a few bytes per block; LZW writes up to 12 bits for 8
    // of noise, and JPEG of noise can outgrow its source.
    bool const canGrow =
        compression == TiffCompression::Lzw || compression == TiffCompression::Jpeg;
    auto const bytes = getTileBytes();
    return 1024 + (canGrow ? 2 * bytes : bytes + bytes / 64);
}

int TileFormat::getColourStep() const noexcept { return quality < subsampledBelowQuality ? 2 : 1; }

std::uint16_t TileFormat::getCompressionTag() const noexcept {
    switch (compression) {
        case TiffCompression::None:
            return COMPRESSION_NONE;
        case TiffCompression::Lzw:
            return COMPRESSION_LZW;
        case TiffCompression::Deflate:
            return COMPRESSION_ADOBE_DEFLATE;
        case TiffCompression::Zstd:
            return COMPRESSION_ZSTD;
        case TiffCompression::Jpeg:
            return COMPRESSION_JPEG;
    }
    return COMPRESSION_NONE;
}

std::uint16_t TileFormat::getSampleFormatTag() const noexcept {
    if (!isInteger(sampleType)) return SAMPLEFORMAT_IEEEFP;
    return getDefaultValueRange(sampleType).min < 0 ? SAMPLEFORMAT_INT : SAMPLEFORMAT_UINT;
}

std::uint16_t TileFormat::getPredictorTag() const noexcept {
    bool const hasOne =
        compression == TiffCompression::Deflate || compression == TiffCompression::Zstd;
    if (!hasOne) return 0;
    if (isInteger(sampleType)) return PREDICTOR_HORIZONTAL;
    return predictsFloats ? PREDICTOR_FLOATINGPOINT : PREDICTOR_NONE;
}

TileCodec::TileCodec(TileFormat const& format, std::string name)
    : format_(format), name_(std::move(name)) {
    if (!TIFFIsCODECConfigured(format.getCompressionTag())) {
        throw std::runtime_error(name_ + ": the installed libtiff cannot write this compression");
    }
    if (format.compression != TiffCompression::Jpeg) return;
    // All tiles share the tables, which depend on the quality alone: take them from a blank tile.
    auto const tiff = openInMemory();
    Bytes blank(format.getTileBytes(), std::byte{});
    auto const written =
        TIFFWriteEncodedTile(tiff->get(), 0, blank.data(), static_cast<tmsize_t>(blank.size()));
    std::uint32_t size = 0;
    std::byte const* tables = nullptr;
    bool const hasTables = TIFFGetField(tiff->get(), TIFFTAG_JPEGTABLES, &size, &tables) != 0;
    tiff->check(written >= 0 && hasTables, "cannot be encoded");
    jpegTables_.assign(tables, tables + size);
}

std::unique_ptr<TiffHandle> TileCodec::openInMemory() const {
    auto tiff = std::make_unique<TiffHandle>(std::make_unique<MemoryStream>(), name_, "w8l");
    tiff->set(TIFFTAG_IMAGEWIDTH, static_cast<std::uint32_t>(format_.width));
    tiff->set(TIFFTAG_IMAGELENGTH, static_cast<std::uint32_t>(format_.height));
    tiff->set(TIFFTAG_TILEWIDTH, static_cast<std::uint32_t>(format_.width));
    tiff->set(TIFFTAG_TILELENGTH, static_cast<std::uint32_t>(format_.height));
    tiff->set(TIFFTAG_BITSPERSAMPLE, 8 * getSampleBytes(format_.sampleType));
    tiff->set(TIFFTAG_SAMPLEFORMAT, int{format_.getSampleFormatTag()});
    tiff->set(TIFFTAG_SAMPLESPERPIXEL, static_cast<int>(format_.numChannels));
    tiff->set(TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    tiff->set(TIFFTAG_COMPRESSION, int{format_.getCompressionTag()});
    tiff->set(TIFFTAG_PHOTOMETRIC, format_.isYCbCr() ? PHOTOMETRIC_YCBCR : PHOTOMETRIC_MINISBLACK);
    if (format_.isYCbCr()) {
        tiff->set(TIFFTAG_YCBCRSUBSAMPLING, format_.getColourStep(), format_.getColourStep());
        tiff->set(TIFFTAG_REFERENCEBLACKWHITE, referenceBlackWhite.data());
    }
    if (auto const predictor = format_.getPredictorTag()) {
        tiff->set(TIFFTAG_PREDICTOR, int{predictor});
    }
    if (format_.compression == TiffCompression::Deflate) {
        tiff->set(TIFFTAG_ZIPQUALITY, format_.deflateLevel);
    }
    if (format_.compression == TiffCompression::Jpeg) {
        tiff->set(TIFFTAG_JPEGQUALITY, format_.quality);
        if (format_.isYCbCr()) tiff->set(TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
    }
    return tiff;
}

Bytes TileCodec::encode(Bytes samples) const {
    bool const isAsInMemory = std::endian::native == std::endian::little;
    if (format_.compression == TiffCompression::None && isAsInMemory) return samples;
    auto const tiff = openInMemory();
    auto const written =
        TIFFWriteEncodedTile(tiff->get(), 0, samples.data(), static_cast<tmsize_t>(samples.size()));
    bool const isFlushed = TIFFFlushData(tiff->get()) != 0;
    tiff->check(written >= 0 && isFlushed, "cannot be encoded");
    auto const offset = static_cast<std::ptrdiff_t>(TIFFGetStrileOffset(tiff->get(), 0));
    auto const size = static_cast<std::ptrdiff_t>(TIFFGetStrileByteCount(tiff->get(), 0));
    // The handle was opened on one.
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-static-cast-downcast)
    auto const& bytes = static_cast<MemoryStream&>(tiff->getStream()).bytes;
    return Bytes(bytes.begin() + offset, bytes.begin() + offset + size);
}

}  // namespace Quivo::detail
