#include <quivo/image/BufferImage.h>

#include <quivo/core/Box.h>
#include <quivo/core/Levels.h>

#include <algorithm>

namespace Quivo {

template <typename T>
BufferImage<T>::BufferImage(T const* data, Vector const& extent, long long numChannels,
                            ValueRange<double> const& valueRange, Vector const& voxelSize)
    : pyramid_(extent, numChannels), valueRange_(valueRange), voxelSize_(voxelSize) {
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

template class BufferImage<double>;
template class BufferImage<unsigned char>;

}  // namespace Quivo
