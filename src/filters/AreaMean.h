#pragma once

// Means of areas that begin and end anywhere: which source pixels are under a destination pixel,
// and the walk over planes. The sums themselves are kernels.

#include <quivo/core/Box.h>

#include "kernels/WeightedSum.h"

#include <vector>

namespace Quivo::detail {

/// The first and the last of the source pixels that a destination pixel uses: trunc(pixel / factor)
/// and trunc((pixel + 1) / factor), as far as 64 bits go.
[[nodiscard]] long long firstSourceOf(long long pixel, double factor) noexcept;
[[nodiscard]] long long lastSourceOf(long long pixel, double factor) noexcept;

/// The source pixels that a region of destination pixels uses.
[[nodiscard]] Box sourceOf(Box const& region, double factor) noexcept;

/// Which source pixels make up each of a run of destination pixels along one axis, and with what
/// weight: computed once per column and row, not per pixel.
///
/// The sources of a pixel follow one another. Every pixel has room for the same number of weights,
/// a multiple of `weightsPerStep`, filled up with 0.0: pixels outside the overlap count as none,
/// whatever they hold.
class AreaWeights {
public:
    /// Destination pixels `first` ... `last`, at least one, by their absolute position: source
    /// pixel q, `factor` (below 1) destination pixels wide, starts at q * factor. A pixel uses
    /// `firstSourceOf` ... `lastSourceOf` it, so its weights depend on nothing else, not on where
    /// the run begins either. Overlaps below 1e-12 count as none. Sources count from
    /// `firstSourceOf(first)`.
    [[nodiscard]] static AreaWeights ofPixels(long long first, long long last, double factor);

    /// `numPixels` destination pixels over `numSources` source pixels of which number i starts at
    /// i * factor - phase, with `factor` in (0.5, 1]. What falls outside is dropped; a pixel that
    /// no source reaches has no weights.
    [[nodiscard]] static AreaWeights ofShares(long long numSources, long long numPixels,
                                              double factor, double phase);

    [[nodiscard]] long long getSize() const noexcept {
        return static_cast<long long>(pixels_.size());
    }
    /// The first source pixel of pixel i, and how many there are: perhaps none.
    [[nodiscard]] long long getSource(long long i) const noexcept { return pixel(i).source; }
    [[nodiscard]] long long getNumSources(long long i) const noexcept {
        return pixel(i).numSources;
    }
    /// One past the last source pixel that any pixel uses.
    [[nodiscard]] long long getEnd() const noexcept { return end_; }
    /// One past the last source pixel of pixel i; 0 when there are none.
    [[nodiscard]] long long getSourceEnd(long long i) const noexcept {
        return pixel(i).source + pixel(i).numSources;
    }
    [[nodiscard]] double const* getWeights(long long i) const noexcept {
        return weights_.data() + i * numWeights_;
    }
    /// The number of weights per pixel, with the 0.0 at the end.
    [[nodiscard]] long long getNumWeights() const noexcept { return numWeights_; }

private:
    struct Pixel {
        long long source;
        long long numSources;
    };

    explicit AreaWeights(long long numPixels);
    void makeRoom(long long maxSources);

    [[nodiscard]] Pixel const& pixel(long long i) const noexcept {
        return pixels_[static_cast<std::size_t>(i)];
    }
    void add(long long i, long long source, double weight) noexcept;

    long long numWeights_ = 0;
    long long end_ = 0;
    std::vector<Pixel> pixels_;
    std::vector<double> weights_;
};

/// Planes in memory: how far apart their rows are, and they from each other, in values.
struct PlanesView {
    double const* values;
    long long rowStride;
    long long planeStride;
};

/// Shrinks planes into those of columns.getSize() x rows.getSize() values each: rows first, then
/// columns, so that every value depends on its own weights and sources alone.
/// error: std::bad_alloc.
void averageByArea(PlanesView const& src, double* dst, long long numPlanes,
                   AreaWeights const& columns, AreaWeights const& rows);

}  // namespace Quivo::detail
