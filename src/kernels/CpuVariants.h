#pragma once

// One loop, several instruction sets. A kernel `name` is written once, as the inline function
// `nameBody`; QUIVO_DEFINE_VARIANTS compiles it for every set and defines `name`, which takes the
// best one that the CPU has. All give the same bits: nothing is fused, every sum has one order.
//
// Two sets are enough: loops of four doubles per step wait for memory already, and wider ones cost
// clock. Without QUIVO_CPU_VARIANTS (the build option), or on another architecture, there is the
// plain variant alone. QUIVO_FORCED_VARIANT (a build option too) takes one for all kernels, so that
// every test can be run with each.

#if QUIVO_CPU_VARIANTS && defined(__x86_64__) && defined(__GNUC__)
#define QUIVO_HAS_AVX2_VARIANTS 1
#define QUIVO_IF_AVX2(...) __VA_ARGS__
#else
#define QUIVO_HAS_AVX2_VARIANTS 0
#define QUIVO_IF_AVX2(...)
#endif

// Kernels are plain functions, one overload per type, made by macros where there are many: GCC 12
// compiles function templates without the instruction set that their attribute names.
#define QUIVO_DECLARE_VARIANTS(name, parameters)        \
    QUIVO_IF_AVX2(void name##Avx2 parameters noexcept;) \
    void name##Plain parameters noexcept;               \
    void name parameters noexcept

#define QUIVO_DEFINE_VARIANTS(name, parameters, arguments)                                     \
    QUIVO_IF_AVX2(                                                                             \
        [[gnu::target("avx2")]] void name##Avx2 parameters noexcept { name##Body arguments; }) \
    void name##Plain parameters noexcept { name##Body arguments; }                             \
    void name parameters noexcept { QUIVO_CALL_VARIANT(name, arguments); }

/// The one place where a kernel takes its variant.
#if QUIVO_HAS_AVX2_VARIANTS
#define QUIVO_CALL_VARIANT(name, arguments) \
    Quivo::detail::takesAvx2() ? name##Avx2 arguments : name##Plain arguments
#else
#define QUIVO_CALL_VARIANT(name, arguments) name##Plain arguments
#endif

/// What a kernel's body starts with: it is compiled into each variant, never called.
#define QUIVO_KERNEL_BODY [[gnu::always_inline]] inline void

namespace Quivo::detail {

/// Whether kernels take their variants for AVX2: the same answer for the whole life of a process.
[[nodiscard]] bool takesAvx2() noexcept;

/// Asks memory for `bytes` bytes that will be read soon. A hint: the address may be anything.
QUIVO_KERNEL_BODY prefetch(void const* address, long long bytes) {
    for (long long i = 0; i < bytes; i += 64) {
        __builtin_prefetch(static_cast<char const*>(address) + i);
    }
}

/// A number that is known when compiling, so that loops of that many steps unroll.
template <long long value>
struct Constant {
    constexpr operator long long() const noexcept { return value; }
};

}  // namespace Quivo::detail
