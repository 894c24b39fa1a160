#pragma once

// One loop, several instruction sets. A kernel `name` is written once, as the inline function
// `nameBody`; QUIVO_DEFINE_VARIANTS compiles it for every set and defines `name`, which takes the
// best one that the CPU has. All give the same bits: nothing is fused, every sum has one order.
//
// Without QUIVO_CPU_VARIANTS (the build option), or on another architecture, there is the plain
// variant alone.

#if QUIVO_CPU_VARIANTS && defined(__x86_64__) && defined(__GNUC__)

#define QUIVO_DECLARE_VARIANTS(name, parameters) \
    void name parameters noexcept;               \
    void name##Plain parameters noexcept;        \
    void name##Avx2 parameters noexcept

#define QUIVO_DEFINE_VARIANTS(name, parameters, arguments)                                \
    void name##Plain parameters noexcept { name##Body arguments; }                        \
    [[gnu::target("avx2")]] void name##Avx2 parameters noexcept { name##Body arguments; } \
    void name parameters noexcept {                                                       \
        __builtin_cpu_supports("avx2") ? name##Avx2 arguments : name##Plain arguments;    \
    }

#else

#define QUIVO_DECLARE_VARIANTS(name, parameters) \
    void name parameters noexcept;               \
    void name##Plain parameters noexcept

#define QUIVO_DEFINE_VARIANTS(name, parameters, arguments)         \
    void name##Plain parameters noexcept { name##Body arguments; } \
    void name parameters noexcept { name##Plain arguments; }

#endif

/// What a kernel's body starts with: it is compiled into each variant, never called.
#define QUIVO_KERNEL_BODY [[gnu::always_inline]] inline void

namespace Quivo::detail {

/// Asks memory for `bytes` bytes that will be read soon. A hint: the address may be anything.
QUIVO_KERNEL_BODY prefetch(void const* address, long long bytes) {
    for (long long i = 0; i < bytes; i += 64) {
        __builtin_prefetch(static_cast<char const*>(address) + i);
    }
}

}  // namespace Quivo::detail
