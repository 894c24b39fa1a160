#include "work/Comparison.h"

#include "options/Input.h"
#include "work/Bands.h"
#include "work/Description.h"

#include <quivo/chains/ReadPlan.h>
#include <quivo/chains/Text.h>
#include <quivo/filters/PiecewiseFilter.h>
#include <quivo/samples/ReadSamples.h>
#include <quivo/writer/Progress.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <optional>

namespace Quivo::tool {

namespace {

/// Doubles hold every value but those of large integers, which are compared only among themselves.
SampleType chooseType(Input const& a, Input const& b) {
    auto const type = a.getStoredType();
    return type && type == b.getStoredType() ? *type : SampleType::F64;
}

/// "WHAT: A and B" where the two texts differ.
void addLine(std::vector<std::string>& lines, std::string const& what, std::string const& a,
             std::string const& b) {
    if (a == b) return;
    auto const show = [](std::string const& text) {
        constexpr std::size_t most = 80;
        if (text.empty()) return std::string("nothing");
        return text.size() > most ? text.substr(0, most) + "..." : text;
    };
    lines.push_back(what + ": " + show(a) + " and " + show(b));
}

std::string toText(std::optional<Place> const& place) {
    if (!place) return {};
    std::string text = place->system + " at";
    for (std::size_t const i : {3U, 7U, 0U, 5U}) text += " " + toRoundText(place->toWorld[i], 12);
    return text;
}

std::string toText(std::optional<ValueRange<double>> const& window) {
    return window ? toRoundText(window->min, 10) + " to " + toRoundText(window->max, 10) : "";
}

std::string toText(std::array<double, 3> const& pixelSize) {
    std::string text;
    for (double const side : pixelSize) {
        if (side > 0.0) text += (text.empty() ? "" : " x ") + toLengthText(side);
    }
    return text;
}

}  // namespace

bool Comparison::areEqual() const noexcept {
    return obstacles.empty() && std::all_of(channels.begin(), channels.end(), [](auto const& each) {
               return each.numDifferent == 0;
           });
}

Comparison compareValues(Input const& a, Input const& b, ProgressMonitor& progress) {
    Comparison result;
    Vector const extent = a.getImage().getExtent(0);
    long long const numChannels = a.getImage().getNumChannels();
    addLine(result.obstacles, "extent", Quivo::toText(extent),
            Quivo::toText(b.getImage().getExtent(0)));
    addLine(result.obstacles, "number of channels", std::to_string(numChannels),
            std::to_string(b.getImage().getNumChannels()));
    if (!result.obstacles.empty()) return result;

    result.type = chooseType(a, b);
    result.channels.resize(static_cast<std::size_t>(numChannels));
    long long const sampleBytes = getSampleBytes(result.type);
    Vector const piece = ReadPlan::choosePieceExtent(numChannels);
    PiecewiseFilter piecesOfA(&a.getImage(), piece, false), piecesOfB(&b.getImage(), piece, false);
    std::vector<std::byte> valuesOfA, valuesOfB;
    progress.update(0);
    progress.setMaxValue(extent.prod());
    forEachBand(Box(extent), 2 * sampleBytes * numChannels, [&](Box const& band) {
        long long const planeBytes = band.getSize() * sampleBytes;
        auto const numBytes = static_cast<std::size_t>(planeBytes * numChannels);
        if (valuesOfA.size() < numBytes) valuesOfA.resize(numBytes);
        if (valuesOfB.size() < numBytes) valuesOfB.resize(numBytes);
        readSamples(piecesOfA, valuesOfA.data(), result.type, 0, band, {});
        readSamples(piecesOfB, valuesOfB.data(), result.type, 0, band, {});
        for (long long c = 0; c < numChannels; ++c) {
            result.channels[static_cast<std::size_t>(c)].add(
                result.type, valuesOfA.data() + c * planeBytes, valuesOfB.data() + c * planeBytes,
                band);
        }
        progress.increase(band.getSize());
    });
    return result;
}

std::vector<std::string> compareMetadata(Input const& a, Input const& b) {
    std::vector<std::string> lines;
    Metadata const x = getMetadata(a.getImage()), y = getMetadata(b.getImage());
    addLine(lines, "sample type", toString(a.getSampleType()), toString(b.getSampleType()));
    addLine(lines, "colours", toString(x.colourModel), toString(y.colourModel));
    addLine(lines, "alpha", toString(x.getAlpha()), toString(y.getAlpha()));
    addLine(lines, "pixel size", toText(x.pixelSize), toText(y.pixelSize));
    addLine(lines, "no-data", x.noData ? Quivo::toText(*x.noData) : "",
            y.noData ? Quivo::toText(*y.noData) : "");
    if (x.colourProfile != y.colourProfile) lines.emplace_back("colour profile: not the same");
    addLine(lines, "description", x.description, y.description);
    addLine(lines, "date", x.date, y.date);
    addLine(lines, "place", toText(x.place), toText(y.place));
    for (std::size_t c = 0; c < std::min(x.channels.size(), y.channels.size()); ++c) {
        std::string const what = " of channel " + std::to_string(c);
        auto const index = static_cast<long long>(c);
        ChannelMetadata const &p = x.channels[c], &q = y.channels[c];
        addLine(lines, "name" + what, a.getImage().getChannelName(index),
                b.getImage().getChannelName(index));
        addLine(lines, "colour" + what, p.colour ? toString(*p.colour) : "",
                q.colour ? toString(*q.colour) : "");
        addLine(lines, "display window" + what, toText(p.window), toText(q.window));
    }
    return lines;
}

}  // namespace Quivo::tool
