#pragma once

#include <quivo/image/DisplayView.h>
#include <quivo/image/Facets.h>
#include <quivo/image/StoredContents.h>
#include <quivo/image/StoredLayout.h>
#include <quivo/metadata/Metadata.h>
#include <quivo/samples/SampleSource.h>
#include <quivo/samples/SampleType.h>
#include <quivo/tiles/OpenOptions.h>
#include <quivo/tiles/TileImage.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace Quivo {

class CancellationChecker;

/// Which image of a file it is. Plain value.
struct TiffSelection {
    long long page = 0;    ///< from 1 on, in the order of the file; 0: the main image
    long long time = 1;    ///< from 1 on, of an image that has several
    bool indices = false;  ///< the numbers in the file where a palette has colours for them
};

/// A TIFF or BigTIFF file as a pyramid.
///
/// Reads tiles or strips, contiguous or separate planes, integers of 1 to 64 bits, floats of 16,
/// 24, 32 and 64, any number of samples, every compression of the installed libtiff. Values arrive
/// as stored, in the narrowest sample type that holds them, except: YCbCr arrives as RGB, palettes
/// are expanded to RGB (unless `TiffSelection::indices` asks for the numbers), MinIsWhite is
/// inverted within its bits, logarithmic luminance arrives as CIE XYZ. A complex sample is two
/// channels, its real and its imaginary part. Extra samples are channels. Whatever the orientation,
/// the image is upright; a large page that has to be turned on its side may take a temporary file.
///
/// Slices are the pages of the first page's size and type. A reduced-resolution page or SubIFD is
/// level L when its extent is within one pixel of the level-0 extent / 2^L on both axes; other
/// pages (labels, thumbnails) are left out. Levels that the file does not store are computed on
/// demand from the next finer one by 2 x 2 means: rounded half up for integers, plain for floats.
/// They hold what `TiffWriter` would store there for the same sample type (it does not write signed
/// integers: stored as floats, their means are not rounded).
///
/// Decoded blocks are kept in the file's own sample type: as `OpenOptions` and `setCacheLimit` say,
/// otherwise in memory that grows with the width of the image and the height of the requests at
/// most, so that reading down the image decodes everything once. Planes that lie apart are decoded
/// and kept apart. The file must not change while it is open. Locked inside; any thread may read,
/// several at once: a block that several ask for is decoded once.
class QUIVO_API TiffImage : public TileImage,
                            public SampleSource,
                            public MetadataSource,
                            public StoredLayout,
                            public StoredContents {
public:
    /// Opens a file.
    /// error: std::runtime_error, one line that starts with the path, when the file cannot be read,
    /// is no TIFF, is damaged, or stores pixels in a way that is not supported.
    explicit TiffImage(std::string const& path);
    /// The same, as `options` say.
    /// error: as above.
    TiffImage(std::string const& path, OpenOptions const& options);
    /// What is selected of the file: a page with the levels that belong to it alone, a time.
    /// error: as above; also when the file has no such page or time.
    TiffImage(std::string const& path, TiffSelection const& selection, OpenOptions const& options);
    ~TiffImage() override;

    /// The path, and behind it what is selected, as in "file.tif#7".
    std::string getURL() const override;
    Vector getExtent(long long level) const override;
    long long getNumChannels() const override;
    long long getNumLevels() const override;
    /// The file's minimum and maximum sample value where it states them, otherwise
    /// `getDefaultValueRange(getSampleType())`.
    ValueRange<double> getValueRange() const override;
    /// From the resolution tags; 0 where the file does not tell (z never does).
    Vector getVoxelSize(long long level) const override;
    Vector getTileExtent() const override;
    /// Decodes or computes the blocks under the region that are not kept.
    /// error: std::runtime_error, one line that starts with the path, when a block is damaged; the
    /// image stays usable.
    /// error: std::bad_alloc, and what the cancellation checker throws.
    void openRegion(double* dst, long long level, Box const& region) override;
    /// A part of any size: the tile's extent is no limit.
    /// error: as above.
    void openTileRegionToPosition(double* dst, long long level, Vector const& tilePosition,
                                  Box const& tileRegion, Vector const& dstExtent,
                                  Vector const& dstPosition) override;
    /// `getSampleType()`; none for an object of a derived class, whose overrides count.
    std::optional<SampleType> getStoredType() const override;
    /// The same, without the way through doubles, and of the chosen channels alone: of planes that
    /// lie apart, no other ones are decoded.
    /// error: as above.
    void openSamples(void* dst, long long level, Box const& region,
                     std::span<long long const> channels) override;
    /// Colour model and opacity as the file marks them, names, and the pixel size as the resolution
    /// tags have it.
    [[nodiscard]] Metadata getMetadata() override;
    std::string getSliceName(long long index) override;
    /// The name that the file tells (as GDAL's band descriptions, tag 42112); otherwise "Gray", or
    /// "Red", "Green", "Blue" and "Alpha" for what the file marks as such, else empty.
    /// error: std::runtime_error "Invalid channel index. Cannot determine its name." for an index
    /// out of range.
    std::string getChannelName(long long index) override;
    /// `getImageIdFromPath` and `getGroupIdFromImagePath` of the path.
    std::string getId() const override;
    std::string getGroupId() const override;
    /// 0: the content does not change.
    ContentHash getHash() override;
    Image* getViewableRepresentation() override;

    /// Whether the file holds this level, so that reading it computes nothing.
    [[nodiscard]] bool isLevelStored(long long level) const noexcept override;

    /// Whether level 0 lies in the file in tiles; otherwise in strips across the whole image.
    [[nodiscard]] bool isTiled() const noexcept override;

    [[nodiscard]] std::vector<std::pair<std::string, std::string>> getFacts() const override;
    /// Other pages, series and times, and what is damaged.
    [[nodiscard]] std::vector<StoredPart> getOtherParts() const override;

    /// The type of the values delivered: the file's, or `U8` where colours are converted.
    [[nodiscard]] SampleType getSampleType() const noexcept;

    /// How many bytes of decoded blocks are kept, beside what the budget says if there is one; what
    /// is more is evicted before this returns. One block stays in any case. Nothing, as at first:
    /// the budget alone bounds them, and without one the image does so by itself. Any thread, also
    /// while others read.
    void setCacheLimit(std::optional<std::size_t> bytes);

    /// Asked before every block that a read decodes or computes, every 64 rows on the way down a
    /// long strip, and every few milliseconds while another thread decodes the block (null:
    /// nobody), so that all reads can be stopped; what it throws leaves `openRegion`. It stays the
    /// caller's. Set it while no read is running; it must be callable from every reading thread.
    /// A `CancellationScope` is asked at the same places and stops the reads of its thread alone.
    void setCancellationChecker(CancellationChecker* checker) noexcept;

private:
    class Reader;
    std::unique_ptr<Reader> reader_;
    detail::OwnClass ownClass_ = detail::OwnClass::of<TiffImage>();
    DisplayView displayView_;
};

}  // namespace Quivo
