#include <quivo/image/ImagePyramid.h>

#include <quivo/core/Levels.h>

#include "core/Arithmetic.h"
#include "core/Planes.h"
#include "kernels/Copy.h"
#include "kernels/Mean.h"

#include <algorithm>
#include <array>
#include <new>
#include <type_traits>

namespace Quivo {

namespace {

/// What copies a plane; see `detail::copyRows`.
template <typename T>
using CopyRows = void(T const*, long long, double*, long long, long long, long long) noexcept;

}  // namespace

GenericImagePyramid::~GenericImagePyramid() = default;

template <typename T>
ImagePyramid<T>::ImagePyramid(Vector const& extent, long long numChannels)
    : extent_(extent),
      numChannels_(numChannels),
      levels_(static_cast<std::size_t>(computeNumPyramidLevels(extent))) {
    if (numChannels < 0) throw std::bad_array_new_length();
    for (std::size_t level = 0; level < levels_.size(); ++level) {
        Vector const e = convertToLevel(extent_, 0, static_cast<long long>(level));
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
T const* ImagePyramid<T>::getLevelBuffer(long long level) const noexcept {
    if (level < 0 || level >= static_cast<long long>(levels_.size())) return nullptr;
    return levels_[static_cast<std::size_t>(level)].data();
}

template <typename T>
void ImagePyramid<T>::computeLevelsUpwards(long long fromLevel) {
    struct Level {
        T* values;
        Vector extent;

        T* rowAt(long long plane, long long y) const {
            return values + (plane * extent.y + y) * extent.x;
        }
    };
    std::array<Level, 64> levels;  // no extent of 64 bits has more, and nothing is allocated
    std::size_t numLevels = 0;
    for (long long level = std::max(fromLevel, 0LL); level < getNumLevels(); ++level) {
        levels[numLevels++] = {getLevelBuffer(level), getExtent(level)};
    }
    if (numLevels < 2 || extent_.z < 1 || numChannels_ < 1) return;
    for (long long plane = 0; plane < numChannels_ * extent_.z; ++plane) {
        for (long long row = 0; row < levels[1].extent.y; ++row) {
            // As soon as two rows of a level are there, so is one of the next: they are still in
            // the cache.
            long long y = row;
            for (std::size_t i = 1; i < numLevels; ++i, y /= 2) {
                Level const& from = levels[i - 1];
                detail::halveRowsRounded(from.rowAt(plane, 2 * y), from.extent.x,
                                         levels[i].rowAt(plane, y), levels[i].extent.x);
                if (y % 2 == 0) break;
            }
        }
    }
}

template <typename T>
void ImagePyramid<T>::openRegion(double* dst, long long level, Box const& region) const {
    Vector const e = region.getExtent();
    Vector const l = getExtent(level);
    Box const inside = Box(l).intersected(region);
    detail::zeroOutside(dst, region, inside, numChannels_);
    if (inside.isEmpty()) return;
    auto* copy = static_cast<CopyRows<T>*>(detail::copyRows);
    if constexpr (std::is_same_v<T, double>) {
        if (numChannels_ * e.prod() >= detail::streamedCount) copy = detail::streamRows;
    }
    T const* const src = levels_[static_cast<std::size_t>(level)].data();
    Vector const to = inside.min - region.min;
    Vector const k = inside.getExtent();
    for (long long c = 0; c < numChannels_; ++c) {
        for (long long z = 0; z < k.z; ++z) {
            auto const from = (c * l.z + inside.min.z + z) * l.y + inside.min.y;
            copy(src + from * l.x + inside.min.x, l.x,
                 dst + ((c * e.z + to.z + z) * e.y + to.y) * e.x + to.x, e.x, k.x, k.y);
        }
    }
}

template class ImagePyramid<double>;
template class ImagePyramid<unsigned char>;

}  // namespace Quivo
