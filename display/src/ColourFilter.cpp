#include <quivo/display/ColourFilter.h>

#include "ColourProfile.h"
#include "Pieces.h"

#include <quivo/core/Levels.h>
#include <quivo/display/ColourConversion.h>
#include <quivo/image/ChannelNames.h>
#include <quivo/samples/ReadSamples.h>
#include <quivo/samples/SampleSource.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace Quivo {

namespace {

bool isLab(ColourModel model) noexcept {
    return model == ColourModel::CieLab || model == ColourModel::IccLab;
}

/// The channels that are no opacity.
std::vector<long long> findColours(Metadata const& metadata) {
    std::vector<long long> result;
    for (std::size_t c = 0; c < metadata.channels.size(); ++c) {
        if (metadata.channels[c].alpha == AlphaKind::None) {
            result.push_back(static_cast<long long>(c));
        }
    }
    return result;
}

double clampToUnit(double value) noexcept { return value > 0.0 ? std::min(value, 1.0) : 0.0; }

double toByte(double part) noexcept { return std::floor(clampToUnit(part) * 255.0 + 0.5); }

}  // namespace

/// What becomes of values, pixel by pixel.
class ColourFilter::Conversion {
public:
    explicit Conversion(Image& image) : range_(image.getValueRange()) {
        Metadata const metadata = Quivo::getMetadata(image);
        model_ = metadata.colourModel;
        noData_ = metadata.noData;
        used_ = findColours(metadata);
        if (used_.empty() && !metadata.channels.empty()) used_.push_back(0);
        check(!used_.empty(), "An image without channels has no colours.");
        if (std::ssize(used_) < countColours(model_)) model_ = ColourModel::None;
        numColours_ = static_cast<std::size_t>(countColours(model_));
        used_.resize(numColours_);
        for (std::size_t c = 0; c < metadata.channels.size() && alpha_ == AlphaKind::None; ++c) {
            if (static_cast<long long>(c) == used_[0]) continue;
            alpha_ = metadata.channels[c].alpha;
            if (alpha_ != AlphaKind::None) used_.push_back(static_cast<long long>(c));
        }
        profile_ = detail::ColourProfile::make(metadata.colourProfile, model_);
        auto const* const samples = findSampleSource(image);
        auto const type = samples ? samples->getStoredType() : std::nullopt;
        isFloat_ = type ? !isInteger(*type) : range_.max - range_.min < 255.0;
        fullAlpha_ = isFloat_ ? 1.0 : range_.max;
        // A fraction that is told as a double has been a float in pixels that are floats.
        noDataAsFloat_ = noData_.value_or(0.0);
        if (isFloat_ && std::abs(noDataAsFloat_) < 3.5e38) {
            noDataAsFloat_ = static_cast<double>(static_cast<float>(noDataAsFloat_));
        }
        if (alpha_ != AlphaKind::None || noData_) {
            numResults_ = 4;
        } else {
            numResults_ = numColours_ == 1 ? 1 : 3;
        }
    }

    /// The channels that are read: the colours, and behind them perhaps opacity.
    [[nodiscard]] std::vector<long long> const& getUsed() const noexcept { return used_; }
    [[nodiscard]] std::size_t getNumResults() const noexcept { return numResults_; }

    /// `planes` has `count` values for each used channel, `dst` gets as many of each result.
    void convert(double const* planes, std::size_t count, double* dst) const {
        std::vector<double> opacity(numResults_ == 4 ? count : 0, 1.0);
        if (alpha_ != AlphaKind::None) {
            double const* const alphas = planes + numColours_ * count;
            for (std::size_t i = 0; i < count; ++i)
                opacity[i] = clampToUnit(alphas[i] / fullAlpha_);
        }
        auto const colourAt = [&](std::size_t c, std::size_t i) {
            double const value = planes[c * count + i];
            bool const isDivided = alpha_ == AlphaKind::Associated && opacity[i] > 0.0;
            return isDivided && !isLab(model_) ? value / opacity[i] : value;
        };
        if (profile_) {
            convertByProfile(colourAt, count, dst);
        } else {
            for (std::size_t i = 0; i < count; ++i) {
                Colour const colour = convertPixel([&](std::size_t c) { return colourAt(c, i); });
                dst[i] = toByte(colour.red);
                if (numResults_ == 1) continue;
                dst[count + i] = toByte(colour.green);
                dst[2 * count + i] = toByte(colour.blue);
            }
        }
        if (numResults_ < 4) return;
        for (std::size_t i = 0; i < count; ++i) {
            dst[3 * count + i] = isMissing(planes, count, i) ? 0.0 : toByte(opacity[i]);
        }
    }

private:
    [[nodiscard]] double getPart(double value) const noexcept {
        double const width = range_.max - range_.min;
        return clampToUnit(width != 0.0 ? (value - range_.min) / width : value - range_.min);
    }

    [[nodiscard]] bool isMissing(double const* planes, std::size_t count,
                                 std::size_t i) const noexcept {
        if (!noData_) return false;
        for (std::size_t c = 0; c < numColours_; ++c) {
            double const value = planes[c * count + i];
            bool const isSame = value == *noData_ || value == noDataAsFloat_ ||
                                (std::isnan(value) && std::isnan(*noData_));
            if (!isSame) return false;
        }
        return true;
    }

    /// L*, a* and b* of what is stored.
    template <typename ValueOf>
    [[nodiscard]] std::array<double, 3> getLab(ValueOf valueOf) const noexcept {
        std::array<double, 3> lab{valueOf(0), valueOf(1), valueOf(2)};
        if (isFloat_) return lab;
        double const steps = range_.max - range_.min + 1.0;
        double const unit = steps / 256.0;
        bool const isIcc = model_ == ColourModel::IccLab;
        // Lightness is unsigned whatever the type: what is negative was a large number.
        if (lab[0] < 0.0) lab[0] += steps;
        lab[0] *= 100.0 / (isIcc && unit > 1.0 ? 255.0 * unit : steps - 1.0);
        for (std::size_t i = 1; i < 3; ++i) {
            double& value = lab[i];
            if (isIcc) {
                value = (value < 0.0 ? value + steps : value) - steps / 2.0;
            } else if (value >= steps / 2.0) {
                value -= steps;
            }
            value /= unit;
        }
        return lab;
    }

    template <typename ValueOf>
    [[nodiscard]] Colour convertPixel(ValueOf valueOf) const noexcept {
        switch (model_) {
            case ColourModel::Cmyk:
                return convertCmykToRgb(getPart(valueOf(0)), getPart(valueOf(1)),
                                        getPart(valueOf(2)), getPart(valueOf(3)));
            case ColourModel::CieLab:
            case ColourModel::IccLab: {
                auto const lab = getLab(valueOf);
                return convertLabToRgb(lab[0], lab[1], lab[2]);
            }
            case ColourModel::LogLuv:
                return convertXyzToRgb(valueOf(0), valueOf(1), valueOf(2));
            case ColourModel::Rgb:
                return {getPart(valueOf(0)), getPart(valueOf(1)), getPart(valueOf(2))};
            case ColourModel::None:
            case ColourModel::Grey:
            case ColourModel::Classes:
                break;
        }
        double const light = getPart(valueOf(0));
        return {light, light, light};
    }

    template <typename ColourAt>
    void convertByProfile(ColourAt colourAt, std::size_t count, double* dst) const {
        std::vector<std::uint8_t> results(3 * count);
        std::vector<double> labs;
        std::vector<std::uint16_t> parts;
        if (isLab(model_)) {
            labs.reserve(3 * count);
            for (std::size_t i = 0; i < count; ++i) {
                auto const lab = getLab([&](std::size_t c) { return colourAt(c, i); });
                for (double const value : lab) labs.push_back(value == value ? value : 0.0);
            }
            profile_->convert(labs.data(), results.data(), count);
        } else {
            parts.reserve(numColours_ * count);
            for (std::size_t i = 0; i < count; ++i) {
                for (std::size_t c = 0; c < numColours_; ++c) {
                    double const part = getPart(colourAt(c, i)) * 65535.0 + 0.5;
                    parts.push_back(static_cast<std::uint16_t>(part));
                }
            }
            profile_->convert(parts.data(), results.data(), count);
        }
        for (std::size_t i = 0; i < count; ++i) {
            for (std::size_t c = 0; c < std::min<std::size_t>(numResults_, 3); ++c) {
                dst[c * count + i] = results[3 * i + c];
            }
        }
    }

    ValueRange<double> range_;
    ColourModel model_ = ColourModel::None;
    std::optional<double> noData_;
    double noDataAsFloat_ = 0.0;
    std::vector<long long> used_;
    std::size_t numColours_ = 1;
    std::size_t numResults_ = 1;
    AlphaKind alpha_ = AlphaKind::None;
    double fullAlpha_ = 1.0;
    bool isFloat_ = false;
    std::unique_ptr<detail::ColourProfile const> profile_;
};

bool ColourFilter::isNeeded(Metadata const& metadata) noexcept {
    auto const isColour = [](ChannelMetadata const& c) { return c.alpha == AlphaKind::None; };
    auto const numColours =
        std::count_if(metadata.channels.begin(), metadata.channels.end(), isColour);
    ColourModel const model = metadata.colourModel;
    if (model == ColourModel::None || model == ColourModel::Classes) return false;
    if (numColours < countColours(model)) return false;
    bool const isOfScreen = model == ColourModel::Grey || model == ColourModel::Rgb;
    return !isOfScreen || !metadata.colourProfile.empty();
}

ColourFilter::ColourFilter(Image* source, bool takeOwnership)
    : Filter(source, takeOwnership), conversion_(std::make_unique<Conversion const>(*source)) {}

ColourFilter::~ColourFilter() = default;

long long ColourFilter::getNumChannels() const {
    return static_cast<long long>(conversion_->getNumResults());
}

ValueRange<double> ColourFilter::getValueRange() const { return {0.0, 255.0}; }

std::string ColourFilter::getChannelName(long long index) {
    long long const count = getNumChannels();
    check(index >= 0 && index < count, "Invalid channel index. Cannot determine its name.");
    return getUsualChannelName(index, count);
}

Metadata ColourFilter::getMetadata() {
    Metadata metadata = handOnMetadata(*this, *getSource());
    long long const count = getNumChannels();
    metadata.colourModel = count == 1 ? ColourModel::Grey : ColourModel::Rgb;
    metadata.colourProfile.clear();
    metadata.noData.reset();
    metadata.channels.assign(static_cast<std::size_t>(count), {});
    for (long long c = 0; c < count; ++c) {
        metadata.channels[static_cast<std::size_t>(c)].name = getUsualChannelName(c, count);
    }
    if (count == 4) metadata.channels.back().alpha = AlphaKind::Unassociated;
    return metadata;
}

void ColourFilter::openRegion(double* dst, long long level, Box const& region) {
    auto const& used = conversion_->getUsed();
    long long const numResults = getNumChannels();
    Vector const extent = region.getExtent();
    std::vector<double> values, converted;
    detail::forEachPiece(region, std::ssize(used) + 2 * numResults, [&](Box const& piece) {
        Vector const size = piece.getExtent();
        auto const count = static_cast<std::size_t>(size.prod());
        values.resize(count * used.size());
        converted.resize(count * conversion_->getNumResults());
        readSamples(*getSource(), values.data(), SampleType::F64, level, piece, used);
        conversion_->convert(values.data(), count, converted.data());
        detail::copyPiece(converted.data(), numResults, size, piece.min - region.min, dst, extent);
    });
}

}  // namespace Quivo
