#include <quivo/display/ByteSink.h>

#include <utility>

namespace Quivo {

ByteSink::~ByteSink() = default;

ByteVector::ByteVector() = default;

ByteVector::~ByteVector() = default;

void ByteVector::write(std::span<std::byte const> bytes) {
    bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
}

std::vector<std::byte> ByteVector::take() noexcept { return std::exchange(bytes_, {}); }

EncodingError::~EncodingError() = default;

}  // namespace Quivo
