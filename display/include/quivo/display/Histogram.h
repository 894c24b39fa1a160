#pragma once

#include <quivo/core/Export.h>
#include <quivo/core/ValueRange.h>

#include <optional>
#include <vector>

namespace Quivo {

class Image;

/// How often which values occur: what a display window is chosen by.
///
/// Plain value.
class QUIVO_API Histogram {
public:
    /// A value and how many times it stands for. Plain value.
    struct Entry {
        double value = 0.0;   ///< not NaN
        long long count = 0;  ///< at least 1
    };

    /// Nothing was counted.
    Histogram();

    /// `entries` in any order, a value several times too. Percentiles may be wrong by
    /// `rankError` of all values, see there.
    explicit Histogram(std::vector<Entry> entries, double rankError = 0.0);

    /// The number of values counted.
    [[nodiscard]] long long getCount() const noexcept;

    /// The values in ascending order, each once.
    [[nodiscard]] std::vector<Entry> const& getEntries() const noexcept { return entries_; }

    /// The smallest value that is at least as large as `fraction` of all values: 0 gives the
    /// smallest, 0.5 the (lower) median, 1 the largest. `fraction` is clamped to 0 ... 1; NaN when
    /// nothing was counted.
    [[nodiscard]] double getPercentile(double fraction) const noexcept;

    /// How far a percentile may be off: it is the exact one of a fraction that differs from the one
    /// asked for by no more than this. 0 where every value was kept.
    [[nodiscard]] double getRankError() const noexcept { return rankError_; }

    /// The counts of `numBins` equal parts of `range`, the upper end part of the last; what lies
    /// outside is not counted. `range` is finite with min < max, and `numBins` at least 1 (asserted
    /// only).
    [[nodiscard]] std::vector<long long> countBins(ValueRange<double> const& range,
                                                   int numBins) const;

private:
    std::vector<Entry> entries_;
    std::vector<long long> ranks_;  ///< how many values there are up to and with each entry
    double rankError_ = 0.0;
};

/// What is counted. Plain value.
struct HistogramOptions {
    long long channel = 0;              ///< its index
    std::optional<long long> level;     ///< without it, the coarsest of at least 65,536 pixels
    std::optional<long long> slice;     ///< without it, all
    std::optional<double> noDataValue;  ///< left out where given, as NaN always is
};

/// Counts the values of one channel, read in pieces of a few megabytes.
///
/// Integers of 8 and 16 bits are counted exactly. Other values are kept, exactly up to 2^18 of
/// them; of more, pairs of neighbours in order become one of the two that counts twice, so that
/// memory stays at a few megabytes for each doubling. How far that may move a percentile is told
/// (`getRankError`): no more than about n / 2^18 for 2^(18 + n) values. Any thread, as far as the
/// image allows.
/// error: std::runtime_error when there is no such channel, level or slice.
/// error: std::bad_alloc, and what the image's read throws.
[[nodiscard]] QUIVO_API Histogram computeHistogram(Image& image,
                                                   HistogramOptions const& options = {});

}  // namespace Quivo
