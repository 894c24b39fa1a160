#pragma once

#include <quivo/display/Histogram.h>

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

namespace Quivo::detail {

/// Any number of values in the memory of a few: those that stay stand for their neighbours.
///
/// Shelf n holds values that count 2^n times each. A shelf that is full is sorted, and every second
/// of its values moves on to the next one: that moves the rank of any value by 2^n at most, which
/// is added up. One thread at a time.
class QuantileSketch {
public:
    static constexpr std::size_t shelfSize = 1 << 18;

    QuantileSketch() : shelves_(1) {}

    void add(double value) {
        ++count_;
        shelves_.front().push_back(value);
        for (std::size_t n = 0; shelves_[n].size() >= shelfSize && count_ > shelfLimit; ++n) {
            moveOn(n);
        }
    }

    [[nodiscard]] Histogram makeHistogram() const {
        std::vector<Histogram::Entry> entries;
        for (std::size_t n = 0; n < shelves_.size(); ++n) {
            for (double const value : shelves_[n]) entries.push_back({value, 1LL << n});
        }
        return Histogram(
            std::move(entries),
            count_ > 0 ? static_cast<double>(error_) / static_cast<double>(count_) : 0.0);
    }

private:
    static constexpr long long shelfLimit = shelfSize;

    void moveOn(std::size_t n) {
        if (n + 1 == shelves_.size()) shelves_.emplace_back();
        std::vector<double>& from = shelves_[n];
        std::sort(from.begin(), from.end());
        // Now the lower, now the upper of two, so that errors tend to cancel. An odd one out stays.
        bool const takesUpper = takesUpper_ = !takesUpper_;
        std::size_t const numPairs = from.size() / 2;
        for (std::size_t i = 0; i < numPairs; ++i) {
            shelves_[n + 1].push_back(from[2 * i + (takesUpper ? 1 : 0)]);
        }
        from.erase(from.begin(), from.begin() + static_cast<std::ptrdiff_t>(2 * numPairs));
        error_ += 1LL << n;
    }

    std::vector<std::vector<double>> shelves_;
    long long count_ = 0;
    long long error_ = 0;
    bool takesUpper_ = false;
};

}  // namespace Quivo::detail
