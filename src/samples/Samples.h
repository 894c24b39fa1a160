#pragma once

// Blocks of samples whose type is known when they are met, not when they are compiled: the visit
// that leads from a `SampleType` to the loops over rows of that type.

#include <quivo/samples/SampleType.h>

#include "kernels/SampleRows.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

namespace Quivo::detail {

/// Leaves new elements as they are: what is written at once need not be zeroed first.
template <typename T>
struct UninitializedAllocator : std::allocator<T> {
    template <typename U>
    struct rebind {
        using other = UninitializedAllocator<U>;
    };
    template <typename U, typename... Arguments>
    void construct(U* place, Arguments&&... arguments) {
        if constexpr (sizeof...(arguments) == 0) {
            ::new (static_cast<void*>(place)) U;
        } else {
            ::new (static_cast<void*>(place)) U(std::forward<Arguments>(arguments)...);
        }
    }
};

/// A block of samples of any type; the type stands beside it. A new one holds anything.
using Bytes = std::vector<std::byte, UninitializedAllocator<std::byte>>;

/// Calls `function` with a zero of the type that `type` names.
template <typename Function>
auto visitSampleType(SampleType type, Function&& function) {
    switch (type) {
        case SampleType::I8:
            return function(std::int8_t{});
        case SampleType::U16:
            return function(std::uint16_t{});
        case SampleType::I16:
            return function(std::int16_t{});
        case SampleType::U32:
            return function(std::uint32_t{});
        case SampleType::I32:
            return function(std::int32_t{});
        case SampleType::U64:
            return function(std::uint64_t{});
        case SampleType::I64:
            return function(std::int64_t{});
        case SampleType::F16:
            return function(Half{});
        case SampleType::F32:
            return function(float{});
        case SampleType::F64:
            return function(double{});
        case SampleType::U8:
            break;
    }
    return function(std::uint8_t{});
}

}  // namespace Quivo::detail
