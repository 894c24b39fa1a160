#pragma once

#include <quivo/core/Export.h>
#include <quivo/core/ValueRange.h>
#include <quivo/filters/Filter.h>

namespace Quivo {

/// Every value mapped linearly: value * scale + offset, optionally rounded to the nearest whole
/// number (halves up). Nothing is clamped, and the zeros outside the source become the offset. The
/// product is rounded before the sum, so that every CPU gives the same bits; NaN stays NaN.
///
/// Immutable after construction; reads are as safe as the source's.
class QUIVO_API ScaleFilter : public Filter {
public:
    /// With `roundValues` a value becomes floor(value * scale + offset + 0.5).
    ScaleFilter(Image* source, double scale, double offset, bool roundValues, bool takeOwnership);

    /// With an offset of 0.
    ScaleFilter(Image* source, double scale, bool roundValues, bool takeOwnership);

    /// Maps the source's value range, as it is during construction, onto `targetRange`. A source
    /// range of zero width gives an infinite or undefined scale by the rules of floating point.
    /// error: what the source's `getValueRange` throws; a source handed over with ownership is
    /// deleted then too.
    ScaleFilter(Image* source, ValueRange<double> targetRange, bool roundValues,
                bool takeOwnership);

    /// A scale, an offset and one flag: which flag is missing? Say both.
    ScaleFilter(Image* source, double scale, double offset, bool flag) = delete;

    ~ScaleFilter() override;

    /// Both ends of the source's range mapped one by one, neither rounded nor put in order: a
    /// negative scale gives min > max.
    ValueRange<double> getValueRange() const override;

    /// The source writes straight into `dst`, which is then mapped in place.
    void openRegion(double* dst, long long level, Box const& region) override;

private:
    /// The source's metadata without what is said of the values before they are mapped.
    class Mapped final : public MetadataSource {
    public:
        explicit Mapped(ScaleFilter& filter) noexcept : filter_(filter) {}
        [[nodiscard]] Metadata getMetadata() override;

    private:
        ScaleFilter& filter_;
    };

    void map(double* values, long long count) const noexcept;

    Mapped mapped_{*this};
    double scale_;
    double offset_;
    bool roundValues_;
};

}  // namespace Quivo
