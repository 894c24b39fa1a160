#pragma once

#include <quivo/core/Export.h>

#include <cstddef>
#include <span>
#include <stdexcept>
#include <vector>

namespace Quivo {

/// Where the bytes of an encoded picture go: a file, a connection, memory. One thread at a time.
class QUIVO_API ByteSink {
public:
    ByteSink() = default;
    ByteSink(ByteSink const&) = delete;
    ByteSink& operator=(ByteSink const&) = delete;
    virtual ~ByteSink();

    /// Takes the next bytes, which stay the caller's. What it throws leaves the encoder's call, and
    /// the encoder can only be destroyed then.
    virtual void write(std::span<std::byte const> bytes) = 0;
};

/// A sink that keeps the bytes. One thread at a time.
class QUIVO_API ByteVector final : public ByteSink {
public:
    ByteVector();
    ~ByteVector() override;

    /// error: std::bad_alloc.
    void write(std::span<std::byte const> bytes) override;

    /// All bytes so far, which are the caller's from now on.
    [[nodiscard]] std::vector<std::byte> take() noexcept;

private:
    std::vector<std::byte> bytes_;
};

/// What an encoder refuses or cannot do, as opposed to what its sink throws. One line. Plain value.
class QUIVO_API EncodingError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
    ~EncodingError() override;
};

}  // namespace Quivo
