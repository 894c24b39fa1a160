#pragma once

#include <quivo/core/Box.h>
#include <quivo/core/Export.h>
#include <quivo/core/ValueRange.h>
#include <quivo/core/Vector.h>
#include <quivo/util/MaybeOwned.h>
#include <quivo/writer/Progress.h>

#include <string>
#include <vector>

namespace Quivo {

class Image;

/// The base of writers that store an image as a tiled file of several levels: walks the source
/// level by level from full resolution upwards, counts the work, honours cancellation, and ends
/// every write that began with exactly one verdict; with two only where the good one,
/// `endWriting(false)`, throws.
///
/// A concrete writer implements the pure operations, reads pixels through the `DownsampleOrProxy`
/// it is handed, and records how the write ended, since `writeImage` returns normally after
/// failures too. The order of the virtual operations is part of the binary interface. One thread at
/// a time; everything runs on the caller's thread.
class QUIVO_API ImageWriter {
public:
    /// What a concrete writer reads from: the source image, except for the one level directly above
    /// a level already written, which is computed by 2 x 2 means of that written level.
    ///
    /// One thread at a time.
    class QUIVO_API DownsampleOrProxy {
    public:
        /// Reads from `image`, and deletes it at the end when `takeOwnership`.
        /// error: std::runtime_error "Source image for writing not set." when `image` is null.
        DownsampleOrProxy(Image* image, bool takeOwnership);
        DownsampleOrProxy(DownsampleOrProxy const&) = delete;
        DownsampleOrProxy& operator=(DownsampleOrProxy const&) = delete;
        virtual ~DownsampleOrProxy();

        /// Serves `level + 1` from now on out of `image`, whose level `imageLevel` holds the
        /// content of `level`. With `takeOwnership` the proxy deletes `image` when it is replaced
        /// or at the end. `image` must accept regions that reach past its border. Nothing is
        /// checked here: null is legal as long as that level is not read.
        virtual void setSingleLevelImage(Image* image, long long level, long long imageLevel,
                                         bool takeOwnership);

        /// As `Image::openRegion`. On the downsampling path a value is the mean of the 2 x 2 block
        /// of the level below, neither rounded nor clipped to that level's extent.
        /// error: std::runtime_error when the single-level image is needed and is null, or has
        /// another number of channels than the source image.
        /// error: std::bad_alloc, and what the image's read throws.
        virtual void openRegion(double* dst, long long level, Box const& region);

        /// The source image's answers, also for levels that are computed.
        ///@{
        virtual long long getNumChannels() const;
        virtual Vector getExtent(long long level) const;
        virtual long long getNumLevels() const;
        virtual Vector getVoxelSize(long long level) const;
        virtual ValueRange<double> getValueRange() const;
        ///@}

    private:
        MaybeOwned<Image> image_;
        MaybeOwned<Image> singleLevelImage_;
        long long singleLevel_ = -1;
        long long singleLevelImageLevel_ = -1;
    };

    ImageWriter();
    ImageWriter(ImageWriter const&) = delete;
    ImageWriter& operator=(ImageWriter const&) = delete;

    /// First call of a write. Levels, extents and channels are asked of `image`.
    virtual void beginWriting(DownsampleOrProxy* image, CancellationChecker* checker) = 0;

    /// Last call of a write that began. `aborted` is false after `finalizeImage` returned. It is
    /// true when anything from `beginWriting` on threw (also `endWriting(false)` itself); the
    /// exception is then being handled, so std::current_exception() tells the reason. It is null
    /// where the thread itself is being ended (pthread_exit, pthread_cancel): that goes on after
    /// this call, and what the call throws is dropped.
    virtual void endWriting(bool aborted) = 0;

    /// Called immediately before `writeLevel` of the same level: the place for
    /// `image->setSingleLevelImage`.
    virtual void prepareLevel(DownsampleOrProxy* image, long long level) = 0;

    /// Reads the level through `image` and stores it. Both `monitor` and `checker` may be null. A
    /// writer that calls `monitor->increase(1)` for every tile brings it to its total with the
    /// last.
    virtual void writeLevel(DownsampleOrProxy* image, long long level, ProgressMonitor* monitor,
                            CancellationChecker* checker) = 0;

    /// Called once after the last level.
    virtual void finalizeImage(ProgressMonitor* monitor, CancellationChecker* checker) = 0;

    virtual ~ImageWriter();

    /// The image to write; deleted by the writer, when replaced or at its end, if `takeOwnership`.
    /// Null is accepted here and refused by `writeImage`. Handing in the image already set deletes
    /// nothing.
    virtual void setSrcImage(Image* image, bool takeOwnership);

    /// The extent of the file's tiles, at least 1 on every axis when `writeImage` runs.
    virtual void setTileExtent(Vector extent);

    /// Whether every level is taken from the source (true, as initially) or computed from the level
    /// written before. Kept for the concrete writer.
    virtual void setUseSrcImagePyramid(bool use);

    /// Where to write to. Implemented by the concrete writer, which keeps it in `filename`.
    virtual void setFilename(std::string const& filename) = 0;

    /// Where to; empty as long as nobody has said.
    virtual std::string getFilename();

    /// Whether everything is set that the writer needs.
    virtual bool isReady() = 0;

    /// Writes the source image: progress to 0, cancellation check, readiness, source, tile extent,
    /// `beginWriting`, the total to the monitor (the number of tiles of all levels), per level a
    /// cancellation check, `prepareLevel` and `writeLevel`, then `finalizeImage` and
    /// `endWriting(false)`. Cancellation and every failure from `beginWriting` on end in
    /// `endWriting(true)` and a normal return, only the end of the thread passes through; a
    /// cancellation before that returns at once. Both arguments may be null and stay the caller's.
    /// error: std::runtime_error "Writer is not ready".
    /// error: std::runtime_error "Source image for writing not set.".
    /// error: std::runtime_error "Tile extent must be at least 1 on every axis".
    /// error: whatever `endWriting(true)`, or the monitor and the checker before the write, throw.
    virtual void writeImage(ProgressMonitor* monitor, CancellationChecker* checker);

protected:
    Vector tileExtent;               ///< see `setTileExtent`; (0, 0, 0) until somebody has said
    bool useSrcImagePyramid = true;  ///< see `setUseSrcImagePyramid`
    std::string filename;            ///< see `setFilename`
    /// Storage for the concrete writer; the base only releases it.
    ///@{
    std::vector<double> valueBuffer;
    std::vector<unsigned char> byteBuffer;
    ///@}
    Image* srcImage = nullptr;  ///< see `setSrcImage`; null until somebody has said
    /// Whether `srcImage` is deleted when it is replaced and with the writer.
    bool ownsSrcImage = false;
};

}  // namespace Quivo
