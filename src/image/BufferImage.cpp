#include <quivo/image/BufferImage.h>

#include <quivo/core/Box.h>
#include <quivo/core/Levels.h>

#include "core/Planes.h"

#include <algorithm>
#include <type_traits>

namespace Quivo {

template <typename T>
BufferImage<T>::BufferImage(T const* data, Vector const& extent, long long numChannels,
                            ValueRange<double> const& valueRange, Vector const& voxelSize)
    : pyramid_(extent, numChannels), valueRange_(valueRange), voxelSize_(voxelSize) {
    this->template offerSamples<BufferImage<T>>(&asTheyAre_);
    this->template offerPixels<BufferImage<T>>(&asTheyAre_);
    if (pyramid_.getNumLevels() == 0) return;
    long long const count = Box(extent).getSize() * numChannels;
    if (count > 0) std::copy_n(data, count, pyramid_.getLevelBuffer(0));
    pyramid_.computeLevelsUpwards(0);
}

template <typename T>
BufferImage<T>::~BufferImage() = default;

template <typename T>
std::string BufferImage<T>::getURL() const {
    return {};
}

template <typename T>
Vector BufferImage<T>::getExtent(long long level) const {
    return pyramid_.getExtent(level);
}

template <typename T>
long long BufferImage<T>::getNumChannels() const {
    return pyramid_.getNumChannels();
}

template <typename T>
long long BufferImage<T>::getNumLevels() const {
    return pyramid_.getNumLevels();
}

template <typename T>
ValueRange<double> BufferImage<T>::getValueRange() const {
    return valueRange_;
}

template <typename T>
Vector BufferImage<T>::getVoxelSize(long long level) const {
    return convertToLevel(voxelSize_, level, 0);
}

template <typename T>
Vector BufferImage<T>::getTileExtent() const {
    return getExtent(0);
}

template <typename T>
void BufferImage<T>::openRegion(double* dst, long long level, Box const& region) {
    pyramid_.openRegion(dst, level, region);
}

template <typename T>
T const* BufferImage<T>::getLevelBuffer(long long level) const noexcept {
    return pyramid_.getLevelBuffer(level);
}

template <typename T>
std::string BufferImage<T>::getSliceName(long long) {
    return {};
}

template <typename T>
std::string BufferImage<T>::getId() const {
    return {};
}

template <typename T>
std::string BufferImage<T>::getGroupId() const {
    return {};
}

template <typename T>
std::optional<SampleType> BufferImage<T>::AsTheyAre::getStoredType() const {
    return std::is_same_v<T, double> ? SampleType::F64 : SampleType::U8;
}

template <typename T>
void BufferImage<T>::AsTheyAre::openSamples(void* dst, long long level, Box const& region,
                                            std::span<long long const> channels) {
    if (region.isEmpty()) return;
    auto const& pyramid = image_.pyramid_;
    bool const takesAll = channels.empty();
    long long const numPlanes = takesAll ? pyramid.getNumChannels() : std::ssize(channels);
    Vector const levelExtent = pyramid.getExtent(level);
    Vector const extent = region.getExtent();
    Box const inside = Box(levelExtent).intersected(region);
    auto* const out = static_cast<T*>(dst);
    detail::zeroOutside(out, region, inside, numPlanes);
    if (inside.isEmpty()) return;
    T const* const values = pyramid.getLevelBuffer(level);
    Vector const place = inside.min - region.min;
    Vector const size = inside.getExtent();
    for (long long i = 0; i < numPlanes; ++i) {
        long long const channel = takesAll ? i : channels[static_cast<std::size_t>(i)];
        T const* const from = values + channel * levelExtent.prod();
        T* const to = out + i * extent.prod();
        for (long long z = 0; z < size.z; ++z) {
            for (long long y = 0; y < size.y; ++y) {
                Vector const row(0, y, z);
                std::copy_n(from + levelExtent.getStrides().dot(inside.min + row), size.x,
                            to + extent.getStrides().dot(place + row));
            }
        }
    }
}

template <typename T>
std::optional<PixelsInMemory::Planes> BufferImage<T>::AsTheyAre::findPlanes(
    long long level, Box const& region) const {
    if constexpr (std::is_same_v<T, double>) {
        Vector const e = image_.pyramid_.getExtent(level);
        if (!Box(e).contains(region.min) || !Box(e).contains(region.max)) return std::nullopt;
        long long const numSlices = region.getExtent().z;
        long long const plane = e.x * e.y;
        bool const takesAll = numSlices == e.z || image_.pyramid_.getNumChannels() == 1;
        if (!takesAll && numSlices > 1) return std::nullopt;
        return Planes{image_.pyramid_.getLevelBuffer(level) + region.min.dot(e.getStrides()), e.x,
                      takesAll ? plane : plane * e.z};
    } else {
        return std::nullopt;
    }
}

template class BufferImage<double>;
template class BufferImage<unsigned char>;

}  // namespace Quivo
