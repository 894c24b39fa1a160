#include <quivo/filters/WeighedDownsampleFilter.h>

#include <quivo/core/Box.h>
#include <quivo/util/Cancellation.h>

#include "core/Arithmetic.h"
#include "core/Storage.h"
#include "filters/AreaMean.h"
#include "samples/MeanRule.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <tuple>
#include <vector>

namespace Quivo {

struct WeighedDownsampleFilter::Rule {
    detail::MeanRule means;
    double noData = 0.0;
    double noDataAsFloat = 0.0;

    explicit Rule(Metadata const& metadata) : means(detail::makeMeanRule(metadata)) {
        noData = noDataAsFloat = means.noData.value_or(0.0);
        // A fraction that a file tells as text has been a float where the pixels are floats. Whole
        // numbers are told exactly, and their neighbours are values.
        bool const isWhole = std::floor(noData) == noData && std::abs(noData) < 0x1p64;
        auto const rounded = detail::toComparable<float>(noData);
        if (!isWhole && rounded) noDataAsFloat = static_cast<double>(*rounded);
    }

    [[nodiscard]] bool isMissing(double value) const noexcept {
        if (!means.noData) return false;
        return detail::isSameValue(value, noData) || value == noDataAsFloat;
    }
};

/// One slice of a region being shrunk: `opacity` and every colour of it, by source pixels.
class WeighedDownsampleFilter::Slice {
public:
    Slice(Rule const& rule, detail::AreaWeights const& columns, detail::AreaWeights const& rows,
          Vector const& srcExtent)
        : rule_(rule),
          columns_(columns),
          rows_(rows),
          stride_(srcExtent.x),
          numSources_(srcExtent.x * srcExtent.y),
          numPixels_(columns.getSize() * rows.getSize()) {}

    void setOpacity(double const* alpha) {
        if (std::all_of(alpha, alpha + numSources_, [&](double a) { return a == *alpha; })) return;
        opacity_.assign(alpha, alpha + numSources_);
        for (double& a : opacity_) a = a > 0.0 ? a : 0.0;
        isUniform_.resize(static_cast<std::size_t>(numPixels_));
        forEachPixel([&](std::size_t pixel, long long x, long long y) {
            double const first = opacity_[sourceAt(x, y, 0, 0)];
            isUniform_[pixel] = true;
            forEachSource(x, y, [&](std::size_t source, double) {
                if (opacity_[source] != first) isUniform_[pixel] = false;
            });
        });
    }

    /// Replaces the plain means of a colour where they are not what counts.
    void shrink(double const* src, double* dst) {
        values_ = src;
        bool const isAnyMissing = std::any_of(src, src + numSources_,
                                              [&](double value) { return rule_.isMissing(value); });
        if (rule_.means.areClasses) return chooseClasses(dst);
        if (!isAnyMissing && opacity_.empty()) return;
        std::vector<double> valid;
        std::vector<double> weighed;
        if (isAnyMissing) {
            valid = average([](std::size_t) { return 1.0; });
            missing_ = averageOf([&](std::size_t i) { return isMissing(i) ? 1.0 : 0.0; });
        }
        if (!opacity_.empty()) weighed = average([&](std::size_t i) { return opacity_[i]; });
        // The mean and the weight of pixels follow one another.
        auto const size = static_cast<std::size_t>(numPixels_);
        for (std::size_t i = 0; i < size; ++i) {
            bool const isComplete = !isAnyMissing || missing_[i] == 0.0;
            bool const isUniform = opacity_.empty() || isUniform_[i];
            if (isComplete && isUniform) continue;
            if (!isUniform && weighed[size + i] > 0.0) {
                dst[i] = weighed[i] / weighed[size + i];
            } else {
                dst[i] = valid[size + i] > 0.0 ? valid[i] / valid[size + i] : rule_.noData;
            }
        }
    }

private:
    template <typename Visit>
    void forEachPixel(Visit visit) const {
        std::size_t pixel = 0;
        for (long long y = 0; y < rows_.getSize(); ++y) {
            for (long long x = 0; x < columns_.getSize(); ++x) visit(pixel++, x, y);
        }
    }

    /// `visit(index, area)` of each source pixel under a pixel.
    template <typename Visit>
    void forEachSource(long long x, long long y, Visit visit) const {
        for (long long row = 0; row < rows_.getNumSources(y); ++row) {
            for (long long column = 0; column < columns_.getNumSources(x); ++column) {
                visit(sourceAt(x, y, column, row),
                      rows_.getWeights(y)[row] * columns_.getWeights(x)[column]);
            }
        }
    }

    [[nodiscard]] std::size_t sourceAt(long long x, long long y, long long column,
                                       long long row) const noexcept {
        return static_cast<std::size_t>((rows_.getSource(y) + row) * stride_ +
                                        columns_.getSource(x) + column);
    }

    [[nodiscard]] bool isMissing(std::size_t source) const noexcept {
        return rule_.isMissing(values_[source]);
    }

    /// The means of values by source pixel.
    template <typename ValueOf>
    [[nodiscard]] std::vector<double> averageOf(ValueOf valueOf) {
        plane_.resize(static_cast<std::size_t>(numSources_));
        for (std::size_t i = 0; i < plane_.size(); ++i) plane_[i] = valueOf(i);
        std::vector<double> result(static_cast<std::size_t>(numPixels_));
        detail::averageByArea({plane_.data(), stride_, numSources_}, result.data(), 1, columns_,
                              rows_);
        return result;
    }

    /// The means of values times weights, and behind them those of the weights; both are 0 where no
    /// value is.
    template <typename WeightOf>
    [[nodiscard]] std::vector<double> average(WeightOf weightOf) {
        auto const weight = [&](std::size_t i) { return isMissing(i) ? 0.0 : weightOf(i); };
        auto result = averageOf([&](std::size_t i) {
            double const w = weight(i);
            return w > 0.0 ? values_[i] * w : 0.0;
        });
        auto const weights = averageOf(weight);
        result.insert(result.end(), weights.begin(), weights.end());
        return result;
    }

    void chooseClasses(double* dst) const {
        struct Vote {
            double value;
            std::size_t order;
            double weight;
            double area;
        };
        std::vector<Vote> votes;
        std::vector<Vote> sums;
        forEachPixel([&](std::size_t pixel, long long x, long long y) {
            votes.clear();
            forEachSource(x, y, [&](std::size_t source, double area) {
                if (isMissing(source) || std::isnan(values_[source])) return;
                double const weight = opacity_.empty() || isUniform_[pixel] ? 1 : opacity_[source];
                votes.push_back({values_[source], votes.size(), area * weight, area});
            });
            bool const counts = std::any_of(votes.begin(), votes.end(),
                                            [](Vote const& vote) { return vote.weight > 0.0; });
            std::sort(votes.begin(), votes.end(), [](Vote const& a, Vote const& b) {
                return std::tie(a.value, a.order) < std::tie(b.value, b.order);
            });
            sums.clear();
            double most = 0.0;
            for (auto vote = votes.begin(); vote != votes.end();) {
                Vote sum = *vote;
                sum.weight = 0.0;
                for (; vote != votes.end() && vote->value == sum.value; ++vote) {
                    sum.weight += counts ? vote->weight : vote->area;
                }
                most = std::max(most, sum.weight);
                sums.push_back(sum);
            }
            // Areas that differ by rounding alone are equal.
            auto const isBetter = [&](Vote const& a, Vote const& b) {
                auto const isMost = [&](Vote const& sum) {
                    return sum.weight > most * 0.999999999;
                };
                return std::tuple(!isMost(a), a.order) < std::tuple(!isMost(b), b.order);
            };
            auto const best = std::min_element(sums.begin(), sums.end(), isBetter);
            dst[pixel] =
                best != sums.end() ? best->value : rule_.means.noData.value_or(std::nan(""));
        });
    }

    Rule const& rule_;
    detail::AreaWeights const& columns_;
    detail::AreaWeights const& rows_;
    long long stride_;
    long long numSources_;
    long long numPixels_;
    std::vector<double> opacity_;  ///< by source pixel; empty where it is the same all over
    std::vector<char> isUniform_;  ///< by pixel: whether all opacities under it are equal
    double const* values_ = nullptr;
    std::vector<double> plane_;
    std::vector<double> missing_;
};

WeighedDownsampleFilter::WeighedDownsampleFilter(Image* source, double scaleFactor,
                                                 bool takeOwnership)
    : ArbitraryDownsampleFilter(source, scaleFactor, takeOwnership),
      rule_(std::make_unique<Rule const>(Quivo::getMetadata(*source))),
      factor_(scaleFactor) {}

WeighedDownsampleFilter::~WeighedDownsampleFilter() = default;

void WeighedDownsampleFilter::openRegion(double* dst, long long level, Box const& region) {
    auto const& means = rule_->means;
    if (means.isPlain()) return ArbitraryDownsampleFilter::openRegion(dst, level, region);
    long long const numChannels = getSource()->getNumChannels();
    if (region.isEmpty() || numChannels < 1) return;
    checkCancelled();
    Box const srcRegion = detail::sourceOf(region, factor_);
    auto const columns = detail::AreaWeights::ofPixels(region.min.x, region.max.x, factor_);
    auto const rows = detail::AreaWeights::ofPixels(region.min.y, region.max.y, factor_);
    auto const scratch =
        detail::allocateScratch(detail::elementCount(srcRegion, numChannels, sizeof(double)));
    getSource()->openRegion(scratch.get(), level, srcRegion);
    Vector const src = srcRegion.getExtent();
    long long const srcPlane = src.x * src.y;
    long long const dstPlane = columns.getSize() * rows.getSize();
    detail::averageByArea({scratch.get(), src.x, srcPlane}, dst, numChannels * src.z, columns,
                          rows);
    for (long long z = 0; z < src.z; ++z) {
        Slice slice(*rule_, columns, rows, src);
        auto const planeAt = [&](long long c) { return c * src.z + z; };
        if (means.alphaChannel >= 0) {
            slice.setOpacity(scratch.get() + planeAt(means.alphaChannel) * srcPlane);
        }
        for (long long const c : means.colours) {
            checkCancelled();
            slice.shrink(scratch.get() + planeAt(c) * srcPlane, dst + planeAt(c) * dstPlane);
        }
    }
}

}  // namespace Quivo
