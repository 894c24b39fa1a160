#include <quivo/image/ImagePyramid.h>

#include <quivo/core/Levels.h>

#include "core/Arithmetic.h"
#include "kernels/Mean.h"

#include <algorithm>

namespace Quivo {

GenericImagePyramid::~GenericImagePyramid() = default;

template <typename T>
ImagePyramid<T>::ImagePyramid(Vector const& extent, long long numChannels)
    : extent_(extent),
      numChannels_(numChannels),
      levels_(static_cast<std::size_t>(computeNumPyramidLevels(extent))) {
    for (std::size_t level = 0; level < levels_.size(); ++level) {
        Vector const e = getExtent(static_cast<long long>(level));
        levels_[level].resize(detail::elementCount(e, numChannels, sizeof(T)));
    }
}

template <typename T>
ImagePyramid<T>::~ImagePyramid() = default;

template <typename T>
long long ImagePyramid<T>::getNumChannels() const {
    return numChannels_;
}

template <typename T>
long long ImagePyramid<T>::getNumLevels() const {
    return static_cast<long long>(levels_.size());
}

template <typename T>
Vector ImagePyramid<T>::getExtent(long long level) const {
    if (level < 0 || level >= getNumLevels()) return {};
    return convertToLevel(extent_, 0, level);
}

template <typename T>
T* ImagePyramid<T>::getLevelBuffer(long long level) noexcept {
    if (level < 0 || level >= static_cast<long long>(levels_.size())) return nullptr;
    return levels_[static_cast<std::size_t>(level)].data();
}

template <typename T>
void ImagePyramid<T>::computeLevelsUpwards(long long fromLevel) {
    for (long long level = std::max(fromLevel, 0LL); level < getNumLevels() - 1; ++level) {
        Vector const s = getExtent(level);
        Vector const d = getExtent(level + 1);
        T const* const src = getLevelBuffer(level);
        T* const dst = getLevelBuffer(level + 1);
        for (long long plane = 0; plane < numChannels_ * s.z; ++plane) {
            for (long long y = 0; y < d.y; ++y) {
                T const* const upper = src + (plane * s.y + 2 * y) * s.x;
                detail::halveRowsRounded(upper, upper + s.x, dst + (plane * d.y + y) * d.x, d.x);
            }
        }
    }
}

template <typename T>
void ImagePyramid<T>::openRegion(double* dst, long long level, Box const& region) const {
    Vector const e = region.getExtent();
    std::fill_n(dst, numChannels_ * e.prod(), 0.0);
    Vector const l = getExtent(level);
    Box const inside = Box(l).intersected(region);
    if (inside.isEmpty()) return;
    T const* const src = levels_[static_cast<std::size_t>(level)].data();
    Vector const from = inside.min;
    Vector const to = inside.min - region.min;
    Vector const k = inside.getExtent();
    for (long long c = 0; c < numChannels_; ++c) {
        for (long long z = 0; z < k.z; ++z) {
            for (long long y = 0; y < k.y; ++y) {
                T const* const row = src + ((c * l.z + from.z + z) * l.y + from.y + y) * l.x;
                double* const out = dst + ((c * e.z + to.z + z) * e.y + to.y + y) * e.x;
                std::copy_n(row + from.x, k.x, out + to.x);
            }
        }
    }
}

template class ImagePyramid<double>;
template class ImagePyramid<unsigned char>;

}  // namespace Quivo
