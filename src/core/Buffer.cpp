#include <quivo/core/Buffer.h>

#include "core/Arithmetic.h"

namespace Quivo {

template <typename T>
Buffer<T>::Buffer(Box const& bounds, long long level, long long numChannels)
    : bounds_(bounds),
      level_(level),
      numChannels_(numChannels),
      data_(detail::elementCount(bounds, numChannels, sizeof(T))) {}

template <typename T>
Buffer<T>::Buffer(T const* data, Box const& bounds, long long level, long long numChannels)
    : bounds_(bounds), level_(level), numChannels_(numChannels) {
    auto const count = detail::elementCount(bounds, numChannels, sizeof(T));
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
