#pragma once

#include "container/LibTiff.h"
#include "storage/files/AtomicFile.h"
#include "storage/pyramid/PyramidSession.h"
#include "storage/pyramid/TileSink.h"
#include "write/TileCodec.h"

#include <quivo/core/ValueRange.h>
#include <quivo/core/Vector.h>
#include <quivo/tiff/TiffWriter.h>

#include <string>
#include <vector>

namespace Quivo::detail {

/// What is to be written as TIFF. Plain value.
struct TiffPlan {
    PyramidPlan pyramid;
    std::string target;
    bool replaces = true;  ///< what is there
    TiffCompression compression = TiffCompression::Deflate;
    int quality = 90;
    Vector voxelSize;  ///< at level 0, nanometres; 0 where unknown
    ValueRange<double> valueRange;
    std::vector<std::string> channelNames;

    [[nodiscard]] TileFormat getFormat() const noexcept {
        return {pyramid.tile, compression, quality};
    }

    /// error: std::runtime_error "TARGET: reason" for what TIFF cannot hold, and for what no
    /// pyramid is.
    void check() const;
};

/// The pages of a TIFF file, written by libtiff tile by tile. Threads: as a `TileSink`.
class TiffSink : public TileSink {
public:
    /// error: std::runtime_error "TARGET: reason" when the file cannot be created.
    explicit TiffSink(TiffPlan plan);

    [[nodiscard]] std::string const& getTarget() const noexcept override {
        return file_.getTarget();
    }
    void beginPage(long long level, long long slice) override;
    [[nodiscard]] Bytes encode(Bytes samples) const override;
    void store(TilePlace const& place, Bytes const& encoded) override;
    void endPage() override;
    void finish() override;
    void commit() override;

private:
    TiffPlan plan_;
    std::string channelXml_;
    AtomicFile file_;
    TiffHandle tiff_;
    TileCodec codec_;
    long long tilesPerRow_ = 0;  ///< of the page
};

}  // namespace Quivo::detail
