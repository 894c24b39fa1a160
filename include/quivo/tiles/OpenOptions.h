#pragma once

#include <quivo/tiles/MemoryBudget.h>

#include <memory>

namespace Quivo {

/// How an image is opened, whatever its format. Plain value.
struct OpenOptions {
    /// What the image keeps decoded is charged to it; null: the image bounds that by itself.
    std::shared_ptr<MemoryBudget> budget;
};

}  // namespace Quivo
