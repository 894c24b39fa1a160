#pragma once

#include <quivo/core/Export.h>

#include <cstddef>
#include <new>
#include <type_traits>
#include <utility>

namespace Quivo {

/// Memory that is all 0 when it comes. Large blocks come in huge pages where the system has them:
/// making and finding thousands of small ones costs more than most of what is done with the
/// numbers. Any thread.
struct QUIVO_API ZeroedMemory {
    /// The caller gives it back through `free`. It is aligned for every scalar type.
    /// error: std::bad_alloc.
    [[nodiscard]] static void* allocate(std::size_t bytes);

    /// Gives back what `allocate` gave for the same number of bytes.
    static void free(void* memory, std::size_t bytes) noexcept;
};

/// Lets a standard container have such memory. Elements that it makes without a value are 0 by
/// that; so it must not make them twice in one place, as it would after shrinking and growing
/// again. For numbers: their zero is all bits 0. No state; any thread.
template <typename T>
struct ZeroedAllocator {
    static_assert(std::is_arithmetic_v<T>, "an element without a value is memory that is all 0");

    using value_type = T;  ///< what containers ask for

    ZeroedAllocator() noexcept = default;
    /// All of them are alike.
    template <typename U>
    ZeroedAllocator(ZeroedAllocator<U> const&) noexcept {}

    /// Room for `count` elements, all 0.
    /// error: std::bad_alloc, also when the number of bytes overflows.
    [[nodiscard]] T* allocate(std::size_t count) {
        if (count > static_cast<std::size_t>(-1) / sizeof(T)) throw std::bad_array_new_length();
        return static_cast<T*>(ZeroedMemory::allocate(count * sizeof(T)));
    }
    /// Gives back what `allocate` gave for the same count.
    void deallocate(T* memory, std::size_t count) noexcept {
        // cppcheck-suppress throwInNoexceptFunction  // as in the function itself
        ZeroedMemory::free(memory, count * sizeof(T));
    }

    /// An element without a value: it is 0 already.
    template <typename U>
    void construct(U*) noexcept {}
    /// An element with a value.
    template <typename U, typename... Arguments>
    void construct(U* place, Arguments&&... arguments) {
        ::new (static_cast<void*>(place)) U(std::forward<Arguments>(arguments)...);
    }

    /// True: memory of one can be given back through another.
    friend bool operator==(ZeroedAllocator const&, ZeroedAllocator const&) noexcept { return true; }
};

}  // namespace Quivo
