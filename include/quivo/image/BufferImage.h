#pragma once

#include <quivo/core/Export.h>
#include <quivo/core/ValueRange.h>
#include <quivo/core/Vector.h>
#include <quivo/image/Facets.h>
#include <quivo/image/ImagePyramid.h>
#include <quivo/image/InvariableImage.h>
#include <quivo/image/PixelsInMemory.h>
#include <quivo/samples/SampleSource.h>

#include <string>

namespace Quivo {

/// Pixels in memory as a full image: copies the caller's block, builds every coarser level at once
/// (see `GenericImagePyramid::computeLevelsUpwards`), and answers every read from memory.
///
/// T is `double` or `unsigned char`. Immutable after construction; any thread.
template <typename T>
class QUIVO_API BufferImage : public InvariableImage, public Facets {
public:
    /// `data` holds `Box(extent).getSize() * numChannels` planar elements, is read during the call
    /// and never referenced afterwards. `valueRange` is what `getValueRange()` answers; `voxelSize`
    /// is the level-0 voxel size in nanometres.
    /// error: std::length_error or std::bad_alloc when the pyramid does not fit into memory, or the
    /// number of channels is negative.
    BufferImage(T const* data, Vector const& extent, long long numChannels,
                ValueRange<double> const& valueRange, Vector const& voxelSize);
    ~BufferImage() override;

    /// Empty, as are the slice names, the identifier and the group.
    std::string getURL() const override;
    /// (0, 0, 0) for a level that is not there.
    Vector getExtent(long long level) const override;
    long long getNumChannels() const override;
    long long getNumLevels() const override;
    ValueRange<double> getValueRange() const override;
    Vector getVoxelSize(long long level) const override;
    /// The whole level-0 extent: the image is one tile.
    Vector getTileExtent() const override;
    void openRegion(double* dst, long long level, Box const& region) override;
    /// The elements of a level in memory: `getExtent(level).prod() * getNumChannels()`, planar,
    /// owned by the image; null for a level that is not there.
    [[nodiscard]] T const* getLevelBuffer(long long level) const noexcept;
    std::string getSliceName(long long index) override;
    std::string getId() const override;
    std::string getGroupId() const override;

private:
    /// The pixels as they are: samples of type T, and in memory those that are doubles.
    class AsTheyAre final : public SampleSource, public PixelsInMemory {
    public:
        explicit AsTheyAre(BufferImage const& image) noexcept : image_(image) {}
        [[nodiscard]] std::optional<SampleType> getStoredType() const override;
        void openSamples(void* dst, long long level, Box const& region,
                         std::span<long long const> channels) override;
        [[nodiscard]] std::optional<Planes> findPlanes(long long level,
                                                       Box const& region) const override;

    private:
        BufferImage const& image_;
    };

    AsTheyAre asTheyAre_{*this};
    ImagePyramid<T> pyramid_;
    ValueRange<double> valueRange_;
    Vector voxelSize_;
};

extern template class BufferImage<double>;
extern template class BufferImage<unsigned char>;

}  // namespace Quivo
