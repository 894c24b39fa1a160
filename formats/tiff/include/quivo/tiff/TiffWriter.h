#pragma once

#include <quivo/metadata/Metadata.h>
#include <quivo/samples/SampleType.h>
#include <quivo/writer/ImageWriter.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Quivo {

namespace detail {
class PyramidSession;
}  // namespace detail

/// How tiles are packed: without loss, except for `Jpeg`. `Zstd` is there where libtiff has it.
enum class TiffCompression { None, Lzw, Deflate, Zstd, Jpeg };

/// How the pages of a file are arranged, and who reads it best.
enum class TiffLayout {
    /// A pyramid of one slice is a chain of pages, the coarser ones marked as reduced, as every
    /// reader of pyramids knows it. With several slices the chain has the slices, and the levels of
    /// each are sub-directories of its page.
    Plain,
    /// OME-TIFF, for microscopy: OME-XML, a page for every channel of every slice (one for all
    /// channels of a colour picture), levels as sub-directories.
    Ome,
    /// Cloud Optimized GeoTIFF, for reading in parts over a network: directories first, then the
    /// tiles of coarser levels, then those of level 0. One slice.
    Cog
};

/// Writes an image as one tiled pyramid TIFF.
///
/// Values are rounded half up to integer sample types and clamped to their range, never wrapped.
/// The image's metadata say what the channels are: colours, opacity, classes, or nothing in
/// particular, which is MinIsBlack with extra samples. With them go the colour profile, the size of
/// a pixel, description, date, XMP, EXIF, IPTC, the place on the earth, the no-data value and
/// names; what stood in tags of a source is written byte for byte while it still says what the
/// metadata say. JPEG stores a picture of red, green and blue as such, the channels of all others
/// apart, so that none bleeds into another. The file becomes a BigTIFF when it could exceed 4 GB.
/// Its bytes depend neither on the number of threads nor on timing. Tiles are never larger than
/// level 0, rounded up to multiples of 16.
///
/// With `setUseSrcImagePyramid(false)` only level 0 is read from the source, once; every further
/// level is the 2 x 2 mean of the values stored in the one before (taken before any lossy codec),
/// rounded half up for integers, plain for floats.
///
/// The file is written beside the target and takes its name when it is complete: a failed or
/// cancelled write leaves no new file and an existing target untouched. Memory grows with the width
/// of the image at most. The source, the monitor and the checker are called on the caller's thread;
/// worker threads only encode. One thread at a time.
class QUIVO_API TiffWriter : public ImageWriter {
public:
    /// How the last `writeImage` ended.
    enum class Outcome {
        NotRun,     ///< never called, or refused before it began (then `writeImage` threw)
        Complete,   ///< the file is there
        Cancelled,  ///< the checker stopped it
        Failed      ///< see `getFailure()`
    };

    /// Deflate, tiles of 256 x 256, one thread per processor.
    TiffWriter();
    ~TiffWriter() override;

    /// The file to write; see `setReplacing` for one that exists.
    void setFilename(std::string const& path) override;

    /// Whether an existing file is replaced (as at first) or the write fails: when it begins, or at
    /// its end for a file that came in between.
    void setReplacing(bool replaces) noexcept;

    /// What fits to what is checked when writing begins.
    void setCompression(TiffCompression compression) noexcept;

    /// JPEG quality, 1 ... 100 (90 at first; checked when writing begins): colour is subsampled
    /// (4:2:0) below 90.
    void setQuality(int quality) noexcept;

    /// The type of the stored samples. Without this call it is that in which the source has its
    /// samples, where it has any (`findSampleSource`), otherwise `chooseSampleType` of its value
    /// range.
    void setSampleType(SampleType type) noexcept;

    /// How pages are arranged; `Plain` at first.
    void setLayout(TiffLayout layout) noexcept;

    /// What the numbers mean, instead of what the source says (`getMetadata`); entries of channels
    /// are added or dropped to fit the source.
    void setMetadata(Metadata metadata);

    /// Whether all is left out that may name people: description, dates, XMP, EXIF, IPTC, the texts
    /// of cameras and programs, names of slices. Colour profile, place, no-data value, size of a
    /// pixel and names of channels stay. Not at first.
    void setStrip(bool strips) noexcept;

    /// Names of channels, in their order, instead of those in the metadata; empty ones and those
    /// that are missing leave them as they are. None at first.
    void setChannelNames(std::vector<std::string> names);

    /// The number of threads that encode; 0 (as at first) means one per processor, 1 means that the
    /// caller's thread does everything.
    void setNumThreads(int count) noexcept;

    /// `U8` for a range of exactly 0 ... 255, `U16` for 0 ... 65535, otherwise `F32`.
    [[nodiscard]] static SampleType chooseSampleType(ValueRange<double> const& range) noexcept;

    /// How the last write ended; `NotRun` also while `writeImage` runs.
    [[nodiscard]] Outcome getOutcome() const noexcept;

    /// One line that says what failed, empty unless the outcome is `Failed`. It starts with the
    /// path of the target when the target is what failed; what the source threw is passed on.
    [[nodiscard]] std::string const& getFailure() const noexcept;

    /// What the file of the last write does not hold of the metadata, each as a user would say it
    /// ("the display windows of the channels"); known as soon as `beginWriting` has returned.
    [[nodiscard]] std::vector<std::string> const& getLosses() const noexcept;

    bool isReady() override;
    /// As the base class, and keeps the outcome.
    void writeImage(ProgressMonitor* monitor, CancellationChecker* checker) override;

    /// Refuses what the format cannot hold, before anything is written. All of these are
    /// std::runtime_error, one line that starts with the path of the target.
    /// error: tile sides that are no multiple of 16 or above 2^20, tiles several slices deep or of
    /// 2 GB and more.
    /// error: no pixels, a side of 2^32 and more, 2^32 tiles in one page, channels not in 1 ...
    /// 65535.
    /// error: JPEG of anything but u8; a quality not in 1 ... 100; a compression that the installed
    /// libtiff cannot write.
    /// error: OME-TIFF of 64-bit integers or 16-bit floats; a Cloud Optimized GeoTIFF of several
    /// slices or with tile sides above 1024.
    /// error: a level that is not half of the one before while levels are to be computed.
    /// error: more names than channels.
    /// error: a target that cannot be created, that is there and no regular file, or that is there
    /// and not to be replaced.
    void beginWriting(DownsampleOrProxy* image, CancellationChecker* checker) override;
    void prepareLevel(DownsampleOrProxy* image, long long level) override;
    void writeLevel(DownsampleOrProxy* image, long long level, ProgressMonitor* monitor,
                    CancellationChecker* checker) override;
    void finalizeImage(ProgressMonitor* monitor, CancellationChecker* checker) override;
    void endWriting(bool aborted) override;

private:
    TiffCompression compression_ = TiffCompression::Deflate;
    int quality_ = 90;
    std::optional<SampleType> sampleType_;
    std::vector<std::string> channelNames_;
    TiffLayout layout_ = TiffLayout::Plain;
    std::optional<Metadata> metadata_;
    bool strips_ = false;
    int numThreads_ = 0;
    bool replaces_ = true;
    std::unique_ptr<detail::PyramidSession> session_;
    Outcome outcome_ = Outcome::NotRun;
    std::string failure_;
    std::vector<std::string> losses_;
};

}  // namespace Quivo
