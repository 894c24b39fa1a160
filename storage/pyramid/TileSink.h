#pragma once

// What a format implements to be written: a pyramid comes to it as tiles of samples, level after
// level. Everything else about writing is PyramidSession's.

#include "samples/Samples.h"

#include <quivo/samples/SampleType.h>

#include <string>

namespace Quivo::detail {

/// How samples of several channels lie in tiles.
enum class TileLayout {
    Interleaved,  ///< a tile has all channels, pixel by pixel
    Planar        ///< every channel has tiles of its own
};

/// What all tiles of a file have in common. Plain value.
struct TileShape {
    long long width = 0;
    long long height = 0;
    long long numChannels = 0;
    SampleType sampleType = SampleType::U8;

    /// The bytes of one tile with all its channels.
    [[nodiscard]] std::size_t getTileBytes() const noexcept {
        return static_cast<std::size_t>(width * height * numChannels * getSampleBytes(sampleType));
    }
};

/// Where a tile lies on its page.
struct TilePlace {
    long long column = 0;
    long long row = 0;
    long long channel = 0;  ///< 0 where tiles are interleaved
};

/// One file being written: under another name until `commit`, gone when destroyed without it.
///
/// All calls but `encode` come from one thread: page after page, slices within levels, on each page
/// all tiles, row by row, channels within columns. What they throw ends the write.
class TileSink {
public:
    TileSink() = default;
    TileSink(TileSink const&) = delete;
    TileSink& operator=(TileSink const&) = delete;
    virtual ~TileSink() = default;

    /// The file to be, beside which there is room; messages start with it.
    [[nodiscard]] virtual std::string const& getTarget() const noexcept = 0;

    virtual void beginPage(long long level, long long slice) = 0;

    /// The bytes to store for a tile. `samples` are those of a whole tile, the last column and row
    /// of the image repeated to its border; they are used up. Any thread, several at once.
    [[nodiscard]] virtual Bytes encode(Bytes samples) const = 0;

    virtual void store(TilePlace const& place, Bytes const& encoded) = 0;
    virtual void endPage() = 0;

    /// Writes what is left; after the last page.
    virtual void finish() = 0;

    /// Gives the finished file its name.
    virtual void commit() = 0;
};

}  // namespace Quivo::detail
