#pragma once

#include <quivo/metadata/Metadata.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace Quivo::detail {

/// What turns colours into those of the screen by an ICC profile. Immutable after construction; any
/// thread.
class ColourProfile {
public:
    /// Null when the bytes are no profile of colours of this model, or of one that cannot be used.
    /// error: std::bad_alloc.
    [[nodiscard]] static std::unique_ptr<ColourProfile const> make(std::span<std::byte const> bytes,
                                                                   ColourModel model);
    ~ColourProfile();

    /// Converts `count` interleaved colours to red, green and blue: those of inks and light are
    /// parts of 65535, those of L*a*b* doubles.
    void convert(void const* colours, std::uint8_t* dst, std::size_t count) const noexcept;

private:
    ColourProfile() = default;

    struct FreeContext {
        void operator()(void* context) const noexcept;
    };
    struct FreeTransform {
        void operator()(void* transform) const noexcept;
    };

    std::unique_ptr<void, FreeContext> context_;  // goes last
    std::unique_ptr<void, FreeTransform> transform_;
};

}  // namespace Quivo::detail
