#pragma once

#include <quivo/core/Storage.h>

#include <memory>

namespace Quivo::detail {

struct FreeScratch {
    void operator()(void* memory) const noexcept;
};

/// Doubles that hold anything at first.
using Scratch = std::unique_ptr<double[], FreeScratch>;

/// Room for `count` doubles that are needed for a short time only: large blocks are in huge pages
/// too.
/// error: std::bad_alloc.
[[nodiscard]] Scratch allocateScratch(std::size_t count);

}  // namespace Quivo::detail
