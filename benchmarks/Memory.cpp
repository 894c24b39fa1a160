#include "Memory.h"

#include <malloc.h>

#include <atomic>
#include <cerrno>

// The functions of glibc under their second names, for programs that replace the first ones.
extern "C" {
void* __libc_malloc(std::size_t);
void* __libc_calloc(std::size_t, std::size_t);
void* __libc_realloc(void*, std::size_t);
void* __libc_memalign(std::size_t, std::size_t);
void __libc_free(void*);
}

namespace {

std::atomic<bool> isCounting{false};
std::atomic<long long> used{0};
std::atomic<long long> peak{0};

void* countNew(void* memory) noexcept {
    if (!memory || !isCounting.load(std::memory_order_relaxed)) return memory;
    auto const size = static_cast<long long>(malloc_usable_size(memory));
    auto const now = used.fetch_add(size) + size;
    for (auto most = peak.load(); most < now && !peak.compare_exchange_weak(most, now);) {
    }
    return memory;
}

void countOld(void* memory) noexcept {
    if (!memory || !isCounting.load(std::memory_order_relaxed)) return;
    used -= static_cast<long long>(malloc_usable_size(memory));
}

}  // namespace

extern "C" {

void* malloc(std::size_t size) { return countNew(__libc_malloc(size)); }

void* calloc(std::size_t count, std::size_t size) { return countNew(__libc_calloc(count, size)); }

void* realloc(void* memory, std::size_t size) {
    auto const before = memory ? malloc_usable_size(memory) : 0;
    void* const moved = __libc_realloc(memory, size);
    if (moved || size == 0) {
        if (isCounting.load(std::memory_order_relaxed)) used -= static_cast<long long>(before);
        return countNew(moved);
    }
    return nullptr;
}

void* memalign(std::size_t alignment, std::size_t size) {
    return countNew(__libc_memalign(alignment, size));
}

void* aligned_alloc(std::size_t alignment, std::size_t size) { return memalign(alignment, size); }

int posix_memalign(void** memory, std::size_t alignment, std::size_t size) {
    if (alignment % sizeof(void*) != 0 || (alignment & (alignment - 1)) != 0) return EINVAL;
    void* const made = memalign(alignment, size);
    if (!made) return ENOMEM;
    *memory = made;
    return 0;
}

void free(void* memory) {
    countOld(memory);
    __libc_free(memory);
}

}  // extern "C"

namespace Quivo::Benchmarks {

HeapMeter::HeapMeter() noexcept {
    used = 0;
    peak = 0;
    isCounting = true;
}

HeapMeter::~HeapMeter() { isCounting = false; }

double HeapMeter::getPeak() const noexcept { return static_cast<double>(peak.load()); }

}  // namespace Quivo::Benchmarks
