#include <quivo/core/Buffer.h>

#include "core/Arithmetic.h"

#include <new>

namespace Quivo {

namespace {

/// error: as `detail::elementCount`, also when an axis of `bounds` is longer than 64 bits can say.
template <typename T>
std::size_t countElements(Box const& bounds, long long numChannels) {
    Vector const extent = bounds.getExtent();
    bool const wraps = !bounds.isEmpty() && (extent.x < 1 || extent.y < 1 || extent.z < 1);
    if (wraps) throw std::bad_array_new_length();
    return detail::elementCount(extent, numChannels, sizeof(T));
}

}  // namespace

template <typename T>
Buffer<T>::Buffer(Box const& bounds, long long level, long long numChannels)
    : bounds_(bounds),
      level_(level),
      numChannels_(numChannels),
      data_(countElements<T>(bounds, numChannels)) {}

template <typename T>
Buffer<T>::Buffer(T* data, Box const& bounds, long long level, long long numChannels)
    : bounds_(bounds), level_(level), numChannels_(numChannels) {
    auto const count = countElements<T>(bounds, numChannels);
    if (count > 0) data_.assign(data, data + count);
}

template <typename T>
T const* Buffer<T>::getPtr(long long channel) const noexcept {
    return data_.data() + channel * bounds_.getSize();
}

template <typename T>
T* Buffer<T>::getPtr(long long channel) noexcept {
    return data_.data() + channel * bounds_.getSize();
}

template <typename T>
std::vector<T const*> Buffer<T>::getPtrVector() const {
    std::vector<T const*> planes;
    for (long long c = 0; c < numChannels_; ++c) planes.push_back(getPtr(c));
    return planes;
}

template <typename T>
std::vector<T*> Buffer<T>::getPtrVector() {
    std::vector<T*> planes;
    for (long long c = 0; c < numChannels_; ++c) planes.push_back(getPtr(c));
    return planes;
}

template <typename T>
void Buffer<T>::readChannelValues(long long index, std::vector<T>& values) const {
    for (long long c = 0; c < numChannels_; ++c) {
        values[static_cast<std::size_t>(c)] = getPtr(c)[index];
    }
}

template class Buffer<double>;
template class Buffer<long long>;

}  // namespace Quivo
