#pragma once

#include "container/LibTiff.h"
#include "samples/Samples.h"
#include "storage/pyramid/TileSink.h"

#include <quivo/samples/SampleType.h>
#include <quivo/tiff/TiffWriter.h>

#include <memory>
#include <string>

namespace Quivo::detail {

/// How the tiles of a file are stored. Plain value.
struct TileFormat : TileShape {
    TiffCompression compression = TiffCompression::Deflate;
    int quality = 90;

    /// The most that one encoded tile can take.
    [[nodiscard]] std::size_t getWorstBytes() const noexcept;

    /// Colour stored as YCbCr, and whether at half the resolution.
    [[nodiscard]] bool isYCbCr() const noexcept {
        return compression == TiffCompression::Jpeg && numChannels == 3;
    }

    /// Sets the tags that say how samples and tiles are laid out and compressed; the size of the
    /// image is the caller's.
    void setTags(TiffHandle& tiff) const;
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

    /// Sets all tags of a page whose tiles come from `encode`.
    void setPageTags(TiffHandle& tiff) const;

private:
    [[nodiscard]] std::unique_ptr<TiffHandle> openInMemory() const;

    TileFormat format_;
    std::string name_;
    Bytes jpegTables_;
};

}  // namespace Quivo::detail
