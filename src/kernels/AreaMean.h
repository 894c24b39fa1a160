#pragma once

#include <vector>

namespace Quivo::detail {

/// The first and the last of the source pixels that a destination pixel uses: trunc(pixel / factor)
/// and trunc((pixel + 1) / factor), as far as 64 bits go.
[[nodiscard]] long long firstSourceOf(long long pixel, double factor) noexcept;
[[nodiscard]] long long lastSourceOf(long long pixel, double factor) noexcept;

/// Which source pixels make up each of a run of destination pixels along one axis, and with what
/// weight: source pixel q, `factor` (below 1) destination pixels wide, starts at q * factor.
///
/// A destination pixel uses `firstSourceOf` ... `lastSourceOf` it, so its weights depend on nothing
/// else, not on where the run begins either. Overlaps below 1e-12 count as none.
class AreaWeights {
public:
    struct Weight {
        long long source;  ///< relative to the first source pixel of the run
        double overlap;    ///< in destination pixels
    };

    /// The weights of the destination pixels `first` ... `last`, at least one.
    AreaWeights(long long first, long long last, double factor);

    [[nodiscard]] long long getFirstSource() const noexcept { return firstSource_; }
    [[nodiscard]] long long getLastSource() const noexcept { return lastSource_; }
    [[nodiscard]] long long getSize() const noexcept {
        return static_cast<long long>(ends_.size()) - 1;
    }
    [[nodiscard]] Weight const* begin(long long i) const noexcept {
        return weights_.data() + ends_[static_cast<std::size_t>(i)];
    }
    [[nodiscard]] Weight const* end(long long i) const noexcept { return begin(i + 1); }

private:
    long long firstSource_;
    long long lastSource_;
    std::vector<Weight> weights_;
    std::vector<std::ptrdiff_t> ends_;  ///< where the weights of pixel i begin; one more at the end
};

/// Shrinks one plane: every value is the sum over its source rows, in ascending order, of overlap
/// times the row's own sum over its source columns, in ascending order. `src` has the extent of the
/// source pixels of `columns` and `rows`; `line` is scratch for one row of the destination.
void averageByArea(double const* src, double* dst, AreaWeights const& columns,
                   AreaWeights const& rows, double* line) noexcept;

}  // namespace Quivo::detail
