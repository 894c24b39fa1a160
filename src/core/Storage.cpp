#include "core/Storage.h"

#include <sys/mman.h>

#include <cstdint>
#include <cstdlib>

namespace Quivo {

namespace {

constexpr std::size_t hugePage = std::size_t{2} << 20;

/// Whether a block is worth whole huge pages: they add a quarter of its size at most.
bool isLarge(std::size_t bytes) { return bytes >= 4 * hugePage; }

/// error: std::bad_alloc when that overflows.
std::size_t toHugePages(std::size_t bytes) {
    if (bytes > static_cast<std::size_t>(PTRDIFF_MAX) - 2 * hugePage) throw std::bad_alloc();
    return (bytes + hugePage - 1) / hugePage * hugePage;
}

/// It is advice: where it is refused, small pages serve as well.
void askForHugePages([[maybe_unused]] void* memory, [[maybe_unused]] std::size_t bytes) noexcept {
#ifdef MADV_HUGEPAGE
    (void)::madvise(memory, bytes, MADV_HUGEPAGE);
#endif
}

}  // namespace

void* ZeroedMemory::allocate(std::size_t bytes) {
    if (!isLarge(bytes)) {
        void* const memory = std::calloc(bytes > 0 ? bytes : 1, 1);
        if (!memory) throw std::bad_alloc();
        return memory;
    }
    // New pages are zero: nobody has to write that. One huge page more leaves room to begin where
    // one begins; what lies before and behind goes back.
    std::size_t const room = toHugePages(bytes);
    void* const mapped = ::mmap(nullptr, room + hugePage, PROT_READ | PROT_WRITE,
                                MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapped == MAP_FAILED) throw std::bad_alloc();
    auto* const begin = static_cast<std::byte*>(mapped);
    std::size_t const before =
        (hugePage - reinterpret_cast<std::uintptr_t>(mapped) % hugePage) % hugePage;
    if (before > 0) (void)::munmap(begin, before);
    if (before < hugePage) (void)::munmap(begin + before + room, hugePage - before);
    askForHugePages(begin + before, room);
    return begin + before;
}

void ZeroedMemory::free(void* memory, std::size_t bytes) noexcept {
    if (isLarge(bytes)) {
        // cppcheck-suppress throwInNoexceptFunction  // the same bytes were rounded before
        (void)::munmap(memory, toHugePages(bytes));
    } else {
        std::free(memory);
    }
}

namespace detail {

void FreeScratch::operator()(void* memory) const noexcept { std::free(memory); }

Scratch allocateScratch(std::size_t count) {
    if (count > static_cast<std::size_t>(PTRDIFF_MAX) / sizeof(double)) throw std::bad_alloc();
    std::size_t const bytes = count * sizeof(double);
    // Up to here the heap keeps the pages of blocks that come and go; beyond, they are new each
    // time.
    constexpr std::size_t largestKept = std::size_t{32} << 20;
    bool const isNew = bytes > largestKept;
    std::size_t const room = isNew ? toHugePages(bytes) : bytes;
    void* const memory =
        isNew ? std::aligned_alloc(hugePage, room) : std::malloc(bytes > 0 ? bytes : 1);
    if (!memory) throw std::bad_alloc();
    if (isNew) askForHugePages(memory, room);
    return Scratch(static_cast<double*>(memory));
}

}  // namespace detail

}  // namespace Quivo
