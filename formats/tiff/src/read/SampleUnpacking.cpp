#include "read/SampleUnpacking.h"

#include <bit>
#include <limits>
#include <type_traits>

namespace Quivo::detail {

namespace {

/// Spreads the sign of a number of `bits` bits where the type has one.
template <typename T, typename Raw>
T withSign(Raw raw, int bits) {
    using Bits = std::make_unsigned_t<T>;
    auto const value = static_cast<Bits>(raw);
    if constexpr (std::is_signed_v<T>) {
        auto const sign = static_cast<Bits>(Bits{1} << (bits - 1));
        return static_cast<T>(static_cast<Bits>((value ^ sign) - sign));
    } else {
        return value;
    }
}

/// Several samples in every byte.
template <typename T, int bits>
void unpackSmall(std::byte const* src, T* dst, long long count) {
    constexpr int perByte = 8 / bits;
    constexpr unsigned mask = (1U << bits) - 1;
    long long i = 0;
    for (; i + perByte <= count; i += perByte, ++src) {
        auto const byte = std::to_integer<unsigned>(*src);
        for (int k = 0; k < perByte; ++k) {
            dst[i + k] = withSign<T>((byte >> (8 - bits * (k + 1))) & mask, bits);
        }
    }
    for (int k = 0; i < count; ++i, ++k) {
        dst[i] =
            withSign<T>((std::to_integer<unsigned>(*src) >> (8 - bits * (k + 1))) & mask, bits);
    }
}

/// Wide holds the bits of a sample and seven more.
template <typename T, typename Wide>
void unpackAny(std::byte const* src, T* dst, long long count, int bits) {
    Wide const mask = (Wide{1} << bits) - 1;
    Wide pending = 0;
    int have = 0;
    for (long long i = 0; i < count; ++i) {
        for (; have < bits; have += 8) {
            pending = static_cast<Wide>(pending << 8) | std::to_integer<unsigned char>(*src++);
        }
        have -= bits;
        dst[i] = withSign<T>((pending >> have) & mask, bits);
    }
}

/// Three bytes as a number.
std::uint32_t loadBytes3(std::byte const* at) {
    bool constexpr isLittle = std::endian::native == std::endian::little;
    return std::to_integer<std::uint32_t>(at[isLittle ? 0 : 2]) |
           std::to_integer<std::uint32_t>(at[1]) << 8 |
           std::to_integer<std::uint32_t>(at[isLittle ? 2 : 0]) << 16;
}

float toFloat(std::uint32_t raw) {
    std::uint32_t const sign = (raw & 0x800000u) << 8;
    std::uint32_t const exponent = raw >> 16 & 0x7fu;
    std::uint32_t const fraction = (raw & 0xffffu) << 7;
    if (exponent == 0x7f) return std::bit_cast<float>(sign | 0x7f800000u | fraction);
    if (exponent == 0) {  // too small for its exponent
        float const value = static_cast<float>(raw & 0xffffu) * 0x1p-78f;
        return sign != 0 ? -value : value;
    }
    return std::bit_cast<float>(sign | (exponent + 64) << 23 | fraction);
}

}  // namespace

template <typename T>
void unpackBits(std::byte const* src, T* dst, long long count, int bits) {
    if constexpr (sizeof(T) == 1) {
        if (bits == 1) return unpackSmall<T, 1>(src, dst, count);
        if (bits == 2) return unpackSmall<T, 2>(src, dst, count);
        if (bits == 4) return unpackSmall<T, 4>(src, dst, count);
    }
    __extension__ using Widest = unsigned __int128;
    if (bits <= 57) return unpackAny<T, std::uint64_t>(src, dst, count, bits);
    if constexpr (sizeof(T) == 8) unpackAny<T, Widest>(src, dst, count, bits);
}

template <typename T>
void unpackBytes3(std::byte const* src, T* dst, long long count) {
    for (long long i = 0; i < count; ++i) dst[i] = withSign<T>(loadBytes3(src + 3 * i), 24);
}

void unpackFloat24(std::byte const* src, float* dst, long long count) {
    for (long long i = 0; i < count; ++i) dst[i] = toFloat(loadBytes3(src + 3 * i));
}

template void unpackBits(std::byte const*, std::uint8_t*, long long, int);
template void unpackBits(std::byte const*, std::int8_t*, long long, int);
template void unpackBits(std::byte const*, std::uint16_t*, long long, int);
template void unpackBits(std::byte const*, std::int16_t*, long long, int);
template void unpackBits(std::byte const*, std::uint32_t*, long long, int);
template void unpackBits(std::byte const*, std::int32_t*, long long, int);
template void unpackBits(std::byte const*, std::uint64_t*, long long, int);
template void unpackBits(std::byte const*, std::int64_t*, long long, int);
template void unpackBytes3(std::byte const*, std::uint32_t*, long long);
template void unpackBytes3(std::byte const*, std::int32_t*, long long);

}  // namespace Quivo::detail
