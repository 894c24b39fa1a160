#pragma once

#include "container/LibTiff.h"
#include "samples/Samples.h"
#include "storage/pyramid/TileSink.h"

#include <quivo/samples/SampleType.h>
#include <quivo/tiff/TiffWriter.h>

#include <cstdint>
#include <memory>
#include <string>

namespace Quivo::detail {

/// How the tiles of a file are stored: of one channel each where they are planar. Plain value.
struct TileFormat : TileShape {
    TiffCompression compression = TiffCompression::Deflate;
    int quality = 90;
    bool isPicture = false;  ///< red, green and blue
    /// Of Deflate. One below libtiff's own takes a sixth less time for a thousandth more bytes of
    /// photographs.
    int deflateLevel = 5;
    bool predictsFloats = true;

    /// The most that one encoded tile can take.
    [[nodiscard]] std::size_t getWorstBytes() const noexcept;

    /// Colour stored as YCbCr, and whether at half the resolution.
    [[nodiscard]] bool isYCbCr() const noexcept {
        return compression == TiffCompression::Jpeg && isPicture;
    }
    /// Pixels of colour for which one is stored, along each axis.
    [[nodiscard]] int getColourStep() const noexcept;

    /// As TIFF numbers them.
    ///@{
    [[nodiscard]] std::uint16_t getCompressionTag() const noexcept;
    [[nodiscard]] std::uint16_t getSampleFormatTag() const noexcept;
    /// 0 where the compression has none.
    [[nodiscard]] std::uint16_t getPredictorTag() const noexcept;
    ///@}
};

/// Encodes one tile at a time without touching the file: what is compressed goes through a TIFF of
/// that one tile in memory, so that libtiff does all the coding. Immutable after construction; any
/// thread.
class TileCodec {
public:
    /// `name` is what messages start with.
    TileCodec(TileFormat const& format, std::string name);

    [[nodiscard]] TileFormat const& getFormat() const noexcept { return format_; }

    /// The bytes of a tile as they stand in a file. `samples` are interleaved pixels of the whole
    /// tile and are used up.
    /// error: std::runtime_error "NAME: reason".
    [[nodiscard]] Bytes encode(Bytes samples) const;

    /// What stands once for all tiles; empty but for JPEG.
    [[nodiscard]] Bytes const& getJpegTables() const noexcept { return jpegTables_; }

private:
    [[nodiscard]] std::unique_ptr<TiffHandle> openInMemory() const;

    TileFormat format_;
    std::string name_;
    Bytes jpegTables_;
};

}  // namespace Quivo::detail
