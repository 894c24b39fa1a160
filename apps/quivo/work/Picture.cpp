#include "work/Picture.h"

#include "options/Input.h"
#include "options/Shown.h"

#include <quivo/display/ColourFilter.h>
#include <quivo/display/Histogram.h>
#include <quivo/filters/Filter.h>
#include <quivo/util/Color.h>

#include <algorithm>
#include <cstddef>
#include <limits>
#include <numeric>
#include <stdexcept>
#include <utility>

namespace Quivo::tool {

namespace {

/// The colours of the source with a window stretched to its value range and what is no-data below
/// it, so that it stays apart whatever the window does; or, without a window, with what is no-data
/// as NaN. Opacity stays as it is. As safe as the source.
class WindowFilter : public Filter, public MetadataSource {
public:
    WindowFilter(Image* source, std::optional<ValueRange<double>> window)
        : Filter(source, false),
          metadata_(Quivo::getMetadata(*source)),
          noData_(metadata_.noData),
          window_(window),
          range_(source->getValueRange()) {
        if (!noData_) return;
        instead_ = window_ ? range_.min - 1.0 : std::numeric_limits<double>::quiet_NaN();
        if (window_) metadata_.noData = instead_;
    }

    void openRegion(double* dst, long long level, Box const& region) override {
        if (region.isEmpty()) return;
        getSource()->openRegion(dst, level, region);
        for (ChannelMetadata const& channel : metadata_.channels) {
            if (channel.alpha == AlphaKind::None) map(dst, region.getSize());
            dst += region.getSize();
        }
    }

    [[nodiscard]] Metadata getMetadata() override { return metadata_; }

private:
    void map(double* values, long long count) const {
        bool const isNanNoData = noData_ && *noData_ != *noData_;
        std::for_each(values, values + count, [&](double& value) {
            if (noData_ && (value == *noData_ || (isNanNoData && value != value))) {
                value = instead_;
            } else if (window_) {
                double const share = (value - window_->min) / (window_->max - window_->min);
                double const light = share > 0.0 ? std::min(share, 1.0) : 0.0;
                value = range_.min + light * (range_.max - range_.min);
            }
        });
    }

    Metadata metadata_;
    std::optional<double> noData_;
    std::optional<ValueRange<double>> window_;
    ValueRange<double> range_;
    double instead_ = 0.0;
};

/// From the lowest to the highest of all.
ValueRange<double> unite(ValueRange<double> const& a, ValueRange<double> const& b) {
    return {std::min(a.min, b.min), std::max(a.max, b.max)};
}

/// What the file says of all of the channels.
std::optional<ValueRange<double>> getStoredWindow(Metadata const& metadata,
                                                  std::vector<long long> const& channels) {
    std::optional<ValueRange<double>> all;
    for (long long const channel : channels) {
        auto const& window = metadata.channels[static_cast<std::size_t>(channel)].window;
        if (!window || window->min == window->max) return std::nullopt;
        all = all ? unite(*all, *window) : *window;
    }
    return all;
}

/// All values but the outermost, which may be errors of a sensor.
ValueRange<double> measureWindow(Input const& input, Metadata const& metadata,
                                 std::vector<long long> const& channels, long long slice) {
    constexpr double outermost = 0.001;
    std::vector<Histogram::Entry> entries;
    for (long long const channel : channels) {
        HistogramOptions options;
        options.channel = channel;
        options.slice = slice;
        options.noDataValue = metadata.noData;
        auto const found = computeHistogram(input.getImage(), options).getEntries();
        entries.insert(entries.end(), found.begin(), found.end());
    }
    Histogram const histogram(std::move(entries));
    ValueRange<double> const whole = input.getImage().getValueRange();
    if (histogram.getCount() == 0) return whole;
    ValueRange<double> const most(histogram.getPercentile(outermost),
                                  histogram.getPercentile(1.0 - outermost));
    if (most.min < most.max) return most;
    // Nearly all values are one: the few others count then.
    ValueRange<double> const all(histogram.getPercentile(0.0), histogram.getPercentile(1.0));
    return all.min < all.max ? all : unite(whole, all);
}

/// The window of channels that are shown together; nothing for the value range.
std::optional<ValueRange<double>> chooseWindow(Input const& input, Metadata const& metadata,
                                               std::vector<long long> const& channels,
                                               long long slice) {
    if (auto const stored = getStoredWindow(metadata, channels)) return stored;
    if (getSampleBytes(input.getSampleType()) == 1) return std::nullopt;
    return measureWindow(input, metadata, channels, slice);
}

/// Colours round the wheel, as far from each other as so many can be; white for one alone.
Colour chooseColour(std::size_t index, std::size_t count) {
    Colour colour{1.0, 1.0, 1.0};
    if (count == 1) return colour;
    convertHSVToRGB(360.0 * static_cast<double>(index) / static_cast<double>(count), 1.0, 1.0,
                    colour.red, colour.green, colour.blue);
    return colour;
}

PicturePlan planMixture(Input const& input, Metadata const& metadata,
                        std::vector<ShownRequest> const& requests, long long slice) {
    PicturePlan plan;
    for (ShownRequest const& request : requests) plan.channels.push_back(request.channel);
    std::sort(plan.channels.begin(), plan.channels.end());
    plan.channels.erase(std::unique(plan.channels.begin(), plan.channels.end()),
                        plan.channels.end());
    for (std::size_t i = 0; i < requests.size(); ++i) {
        ShownRequest const& request = requests[i];
        auto const& known = metadata.channels[static_cast<std::size_t>(request.channel)];
        auto const place =
            std::lower_bound(plan.channels.begin(), plan.channels.end(), request.channel);
        auto window = request.window;
        if (!window) window = chooseWindow(input, metadata, {request.channel}, slice);
        plan.mixed.push_back({place - plan.channels.begin(),
                              request.colour ? *request.colour
                              : known.colour ? *known.colour
                                             : chooseColour(i, requests.size()),
                              window.value_or(input.getImage().getValueRange())});
    }
    return plan;
}

/// The channels that are told to have a colour, where the channels are none of a picture.
std::vector<ShownRequest> listColoured(Metadata const& metadata, ShownOptions const& options) {
    std::vector<ShownRequest> requests;
    if (metadata.colourModel != ColourModel::None) return requests;
    for (long long c = 0; c < std::ssize(metadata.channels); ++c) {
        auto const& channel = metadata.channels[static_cast<std::size_t>(c)];
        if (!channel.colour || channel.alpha != AlphaKind::None) continue;
        requests.push_back({c, std::nullopt, options.range});
    }
    return requests;
}

}  // namespace

PicturePlan planPicture(Input const& input, ShownOptions const& options, long long slice) {
    Metadata const metadata = getMetadata(input.getImage());
    auto requests = options.findShown(input);
    if (requests.empty()) requests = listColoured(metadata, options);
    if (!requests.empty()) return planMixture(input, metadata, requests, slice);

    PicturePlan plan;
    std::vector<long long> colours;
    for (long long c = 0; c < std::ssize(metadata.channels); ++c) {
        bool const isColour =
            metadata.channels[static_cast<std::size_t>(c)].alpha == AlphaKind::None;
        if (isColour) colours.push_back(c);
        // Of channels that are no picture together, the first is shown.
        bool const isLeftOut = isColour && colours.size() > 1;
        if (metadata.colourModel == ColourModel::None && !isLeftOut) plan.channels.push_back(c);
    }
    if (metadata.colourModel != ColourModel::Rgb && !colours.empty()) colours.resize(1);
    if (metadata.colourModel == ColourModel::Rgb && colours.size() > 3) colours.resize(3);
    bool const isAbsolute =
        metadata.colourModel == ColourModel::Cmyk || metadata.colourModel == ColourModel::CieLab ||
        metadata.colourModel == ColourModel::IccLab || metadata.colourModel == ColourModel::LogLuv;
    if (isAbsolute && options.range) {
        throw std::runtime_error(input.getName() +
                                 ": its colours are those of inks or of the eye, which have no "
                                 "--range: choose --channels");
    }
    if (!isAbsolute) {
        plan.window = options.range;
        if (!plan.window) plan.window = chooseWindow(input, metadata, colours, slice);
    }
    return plan;
}

Picture::Picture(Image& source, PicturePlan const& plan) {
    Image* top = &source;
    auto const add = [&](std::unique_ptr<Image> link) {
        links_.push_back(std::move(link));
        top = links_.back().get();
    };
    bool const hasNoData = getMetadata(source).noData.has_value();
    if (plan.window || (hasNoData && !plan.mixed.empty())) {
        add(std::make_unique<WindowFilter>(top, plan.window));
    }
    if (plan.mixed.empty()) {
        add(std::make_unique<ColourFilter>(top, false));
    } else {
        add(std::make_unique<MixedImage>(top, plan.mixed, false));
    }
}

}  // namespace Quivo::tool
