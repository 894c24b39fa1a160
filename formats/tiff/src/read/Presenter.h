#pragma once

#include "read/PageInfo.h"
#include "storage/blocks/BlockCache.h"

#include <cstddef>
#include <vector>

namespace Quivo::detail {

/// Stores decoded rows in a planar block, as the page presents them. One thread at a time.
class Presenter {
public:
    /// Both outlive the object. The block has `PageInfo::getChannelsPerBlock` channels, of which
    /// the page's own ones are stored.
    Presenter(PageInfo const& page, Block& block);

    /// Stores `height` decoded rows of one plane from row `y` of the block on. `src` has rows of
    /// `PageInfo::getDecodedRowBytes(srcWidth)` bytes.
    void store(std::byte const* src, long long srcWidth, long long plane, long long y,
               long long height);

    /// The same for rows of which the file has nothing: what `PageInfo::fill` says, or 0.
    void storeFill(long long plane, long long y, long long height);

    /// Fills all of the block.
    void storeFill();

private:
    template <typename T>
    void unpack(std::byte const* src, long long count, T* dst) const;
    /// `pixels` has rows of `stride` pixels with the samples of one plane.
    template <typename T>
    void present(T const* pixels, long long stride, long long plane, long long y, long long height);
    template <typename T>
    void presentIndices(T const* pixels, long long stride, long long y, long long height);
    template <typename T>
    void presentExtras(T const* pixels, long long stride, long long firstChannel,
                       long long firstSample, long long y, long long height);
    template <typename T>
    void turnOver(T* row) const;
    template <typename T>
    [[nodiscard]] T getFill() const;

    PageInfo const& page_;
    Block& block_;
    Bytes row_;  ///< unpacked
};

}  // namespace Quivo::detail
