#pragma once

#include <cstddef>

namespace Quivo::Benchmarks {

/// Counts what the whole process takes from the heap while it lives: replaces `malloc` and its
/// relatives, through which `new` and the libraries go too. Memory from `mmap` is not counted. One
/// at a time.
class HeapMeter {
public:
    HeapMeter() noexcept;
    HeapMeter(HeapMeter const&) = delete;
    HeapMeter& operator=(HeapMeter const&) = delete;
    ~HeapMeter();

    /// The most bytes in use at once beyond those in use at the beginning.
    [[nodiscard]] double getPeak() const noexcept;
};

}  // namespace Quivo::Benchmarks
