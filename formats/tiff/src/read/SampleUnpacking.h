#pragma once

#include <cstddef>
#include <cstdint>

namespace Quivo::detail {

/// Takes integers of `bits` bits out of bytes in which they lie one behind the other, highest bit
/// first, those of signed types with their sign. T is an integer type of at least so many bits.
template <typename T>
void unpackBits(std::byte const* src, T* dst, long long count, int bits);

/// Integers of three bytes, in the order of the machine.
template <typename T>
void unpackBytes3(std::byte const* src, T* dst, long long count);

/// Floats of three bytes, in the order of the machine: a sign, 7 bits of exponent (less 63), 16 of
/// fraction.
void unpackFloat24(std::byte const* src, float* dst, long long count);

}  // namespace Quivo::detail
