#pragma once

#include "storage/files/AtomicFile.h"
#include "storage/pyramid/TileSink.h"
#include "write/TagList.h"
#include "write/TiffPlan.h"
#include "write/TileCodec.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace Quivo::detail {

/// What the layouts of a TIFF file have in common: tiles go to where there is room, and every page
/// keeps where they are. Threads: as a `TileSink`.
class TiffSink : public TileSink {
public:
    /// The sink for the layout of a plan.
    /// error: std::runtime_error "TARGET: reason" when the file cannot be created.
    [[nodiscard]] static std::unique_ptr<TiffSink> create(TiffPlan plan);

    [[nodiscard]] std::string const& getTarget() const noexcept override {
        return file_.getTarget();
    }
    void beginPage(long long level, long long slice) override;
    [[nodiscard]] Bytes encode(Bytes samples) const override;
    void store(TilePlace const& place, Bytes const& encoded) override;
    void commit() override { file_.commit(); }

    /// What the file cannot hold, in a user's words.
    [[nodiscard]] std::vector<std::string> const& getLosses() const noexcept {
        return tags_.getMetadata().getLosses();
    }

protected:
    explicit TiffSink(TiffPlan plan);

    /// Stores the bytes of a tile and returns where.
    virtual std::uint64_t storeBytes(Bytes const& encoded) = 0;

    [[nodiscard]] TiffPlan const& getPlan() const noexcept { return plan_; }
    [[nodiscard]] PageTags const& getTags() const noexcept { return tags_; }
    [[nodiscard]] TileFormat const& getFormat() const noexcept { return codec_.getFormat(); }
    [[nodiscard]] std::vector<TileIndex>& getPages() noexcept { return pages_; }
    void write(File const& file, void const* data, std::size_t size, std::uint64_t position) const;
    void write(std::string const& bytes, std::uint64_t position) const {
        write(file_.getFile(), bytes.data(), bytes.size(), position);
    }
    [[nodiscard]] File const& getFile() const noexcept { return file_.getFile(); }

    long long level_ = 0, slice_ = 0;  ///< of the pages being written

private:
    TiffPlan plan_;
    AtomicFile file_;
    TileCodec codec_;
    PageTags tags_;
    std::vector<TileIndex> pages_;  ///< those of a slice
    long long tilesPerRow_ = 0, tilesPerPlane_ = 0;
};

/// Pages in the order in which they come. Those of one slice make a chain, or the levels of each
/// slice are sub-directories of its page.
class PagedSink final : public TiffSink {
public:
    explicit PagedSink(TiffPlan plan);
    void endPage() override;
    void finish() override;

private:
    std::uint64_t storeBytes(Bytes const& encoded) override;
    /// Writes a directory, as the next one of the chain or beside it, and returns where it is.
    DirectoryBlock writeDirectory(TagList const& tags, bool isChained);
    std::uint64_t append(void const* data, std::size_t size);

    TiffForm form_;
    bool areLevelsBeside_;
    std::uint64_t end_ = 0;
    std::uint64_t link_ = 0;  ///< where the offset of the next directory is to stand
    /// For each page of level 0 where its list of levels stands, and those levels.
    std::vector<std::uint64_t> lists_;
    std::vector<std::vector<std::uint64_t>> levels_;
};

/// A Cloud Optimized GeoTIFF: all directories stand at its beginning, then the tiles of the
/// coarsest level and so on to level 0, each between its length and a repetition of its end. Tiles
/// wait in a file without a name until the place of the first one is known.
class CogSink final : public TiffSink {
public:
    explicit CogSink(TiffPlan plan);
    void endPage() override;
    void finish() override;

private:
    struct Level {
        TileIndex tiles;          ///< places in the waiting file
        std::uint64_t begin = 0;  ///< there
        std::uint64_t size = 0;
    };

    std::uint64_t storeBytes(Bytes const& encoded) override;
    /// The bytes before the tiles, with tiles moved to where they will be. `isBig` as of offsets.
    [[nodiscard]] std::string makeHead(TiffForm form, std::uint64_t headBytes) const;

    std::unique_ptr<File> waiting_;
    std::uint64_t end_ = 0;
    std::vector<Level> levels_;
    Bytes block_;
};

}  // namespace Quivo::detail
