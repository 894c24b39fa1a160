#pragma once

#include <quivo/tiles/MemoryBudget.h>
#include <quivo/util/DamageLog.h>

#include <memory>

namespace Quivo {

/// How an image is opened, whatever its format: what depends on who reads, not on what is read.
/// Plain value.
struct OpenOptions {
    /// What the image keeps decoded is charged to it; null: the image bounds that by itself.
    std::shared_ptr<MemoryBudget> budget;
    /// Where damaged blocks are reported, which are filled then; null: reading one is an error.
    std::shared_ptr<DamageLog> damage;
    /// Whether anything in the file that cannot be understood is an error, even where the image
    /// itself is sound; otherwise such parts are left out and `StoredContents` tells of them.
    bool strict = false;
};

}  // namespace Quivo
