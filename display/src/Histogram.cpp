#include <quivo/display/Histogram.h>

#include "Pieces.h"
#include "QuantileSketch.h"

#include <quivo/core/Levels.h>
#include <quivo/image/Image.h>
#include <quivo/samples/ReadSamples.h>

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstddef>
#include <limits>
#include <string>
#include <utility>

namespace Quivo {

namespace {

/// Integers of at most 16 bits, each with a counter of its own.
class SmallIntegers {
public:
    void add(double value) { ++counts_[static_cast<std::size_t>(value - lowest)]; }

    [[nodiscard]] Histogram makeHistogram() const {
        std::vector<Histogram::Entry> entries;
        for (std::size_t i = 0; i < counts_.size(); ++i) {
            if (counts_[i] > 0) entries.push_back({static_cast<double>(i) + lowest, counts_[i]});
        }
        return Histogram(std::move(entries));
    }

private:
    static constexpr double lowest = -32768.0;
    std::vector<long long> counts_ = std::vector<long long>(32768 + 65536);
};

bool isSmallInteger(std::optional<SampleType> type) noexcept {
    return type && isInteger(*type) && getSampleBytes(*type) <= 2;
}

long long chooseLevel(Image const& image) {
    constexpr long long enough = 65536;
    long long level = std::max(image.getNumLevels() - 1, 0LL);
    auto const isEnough = [&] {
        Vector const extent = image.getExtent(level);
        return static_cast<double>(extent.x) * static_cast<double>(extent.y) >= enough;
    };
    while (level > 0 && !isEnough()) --level;
    return level;
}

/// What is to be counted.
/// error: std::runtime_error when there is none.
Box chooseRegion(Image const& image, HistogramOptions const& options, long long level) {
    auto const checkIndex = [](char const* what, long long index, long long count) {
        check(index >= 0 && index < count,
              std::string("There is no ") + what + " " + std::to_string(index) + " to be counted.");
    };
    checkIndex("channel", options.channel, image.getNumChannels());
    checkIndex("level", level, image.getNumLevels());
    Box region(image.getExtent(level));
    if (options.slice) {
        checkIndex("slice", *options.slice, region.getExtent().z);
        region.min.z = region.max.z = *options.slice;
    }
    return region;
}

template <typename Counter>
Histogram count(Image& image, HistogramOptions const& options) {
    long long const level = options.level ? *options.level : chooseLevel(image);
    Box const region = chooseRegion(image, options, level);
    Counter counter;
    std::vector<double> values;
    detail::forEachPiece(region, 1, [&](Box const& piece) {
        values.resize(static_cast<std::size_t>(piece.getSize()));
        readSamples(image, values.data(), SampleType::F64, level, piece, {&options.channel, 1});
        for (double const value : values) {
            if (!std::isnan(value) && value != options.noDataValue) counter.add(value);
        }
    });
    return counter.makeHistogram();
}

}  // namespace

Histogram::Histogram() = default;

Histogram::Histogram(std::vector<Entry> entries, double rankError)
    : entries_(std::move(entries)), rankError_(rankError) {
    std::sort(entries_.begin(), entries_.end(),
              [](Entry const& a, Entry const& b) { return a.value < b.value; });
    std::size_t last = 0;
    for (std::size_t i = 1; i < entries_.size(); ++i) {
        if (entries_[i].value == entries_[last].value) {
            entries_[last].count += entries_[i].count;
        } else {
            entries_[++last] = entries_[i];
        }
    }
    if (!entries_.empty()) entries_.resize(last + 1);
    long long rank = 0;
    for (Entry const& entry : entries_) ranks_.push_back(rank += entry.count);
}

long long Histogram::getCount() const noexcept { return ranks_.empty() ? 0 : ranks_.back(); }

double Histogram::getPercentile(double fraction) const noexcept {
    if (entries_.empty()) return std::numeric_limits<double>::quiet_NaN();
    double const wanted =
        std::ceil(std::clamp(fraction, 0.0, 1.0) * static_cast<double>(getCount()));
    auto const found = std::lower_bound(
        ranks_.begin(), ranks_.end() - 1, wanted,
        [](long long rank, double least) { return static_cast<double>(rank) < least; });
    return entries_[static_cast<std::size_t>(found - ranks_.begin())].value;
}

std::vector<long long> Histogram::countBins(ValueRange<double> const& range, int numBins) const {
    assert(numBins >= 1 && range.min < range.max);
    std::vector<long long> bins(static_cast<std::size_t>(numBins));
    for (Entry const& entry : entries_) {
        if (!(entry.value >= range.min && entry.value <= range.max)) continue;
        double const part = (entry.value - range.min) / (range.max - range.min) * numBins;
        bins[static_cast<std::size_t>(std::min(part, numBins - 1.0))] += entry.count;
    }
    return bins;
}

Histogram computeHistogram(Image& image, HistogramOptions const& options) {
    SampleSource const* const samples = findSampleSource(image);
    bool const isSmall = samples && isSmallInteger(samples->getStoredType());
    return isSmall ? count<SmallIntegers>(image, options)
                   : count<detail::QuantileSketch>(image, options);
}

}  // namespace Quivo
