#pragma once

#include <quivo/core/Export.h>

namespace Quivo {

/// What an image may be besides: one that lies in a file, whose path its `getURL()` tells, and that
/// says how. Readers plan by it: what is computed is worth a cache, and strips are best read across
/// the whole image.
///
/// An image that is one derives from both classes; one that is none is computed or in memory.
/// Threads: as the image.
class QUIVO_API StoredLayout {
public:
    StoredLayout() = default;
    StoredLayout(StoredLayout const&) = delete;
    StoredLayout& operator=(StoredLayout const&) = delete;
    virtual ~StoredLayout();

    /// Whether the file holds this level, so that reading it computes nothing; false for a level
    /// that the image does not have.
    [[nodiscard]] virtual bool isLevelStored(long long level) const noexcept = 0;

    /// Whether level 0 lies in the file in tiles; otherwise in strips across the whole image.
    [[nodiscard]] virtual bool isTiled() const noexcept = 0;
};

}  // namespace Quivo
