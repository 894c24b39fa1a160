#include "options/Input.h"
#include "terminal/Json.h"
#include "work/Description.h"

#include <quivo/chains/Text.h>
#include <quivo/core/Resolution.h>
#include <quivo/image/StoredContents.h>

#include <algorithm>
#include <cstddef>
#include <map>
#include <optional>
#include <string>

namespace Quivo::tool {

namespace {

/// The pixels per millimetre of a level, where the voxel size is known.
std::optional<double> getResolution(Image const& image, long long level) {
    double const resolution = getResolutionAtLevel(image, level);
    return resolution > 0.0 ? std::optional(resolution) : std::nullopt;
}

/// The area of the image in square millimetres, where the voxel size is known.
std::optional<double> getArea(Image const& image) {
    Vector const extent = image.getExtent(0);
    Vector const voxelSize = image.getVoxelSize(0);
    if (voxelSize.x < 1 || voxelSize.y < 1) return std::nullopt;
    // Areas are computed in square nanometres of 64 bits, which end at about nine square metres.
    double const area = static_cast<double>(extent.x) * static_cast<double>(voxelSize.x) *
                        static_cast<double>(extent.y) * static_cast<double>(voxelSize.y);
    return area < 0x1p63 ? std::optional(computeAreaInMM2(extent, image, 0)) : std::nullopt;
}

/// A number, or its name where JSON has none for it.
Json toNumber(double value) {
    Json const number = toJson(value);
    return number.is_null() ? Json(toText(value)) : number;
}

Json toRange(ValueRange<double> const& range) { return {toNumber(range.min), toNumber(range.max)}; }

/// Short texts as they are; of anything else, how much there is.
Json toObject(std::map<std::string, std::string> const& properties) {
    constexpr std::size_t mostText = 1000;
    Json object = Json::object();
    for (auto const& [name, value] : properties) {
        bool const isText = value.size() <= mostText && toUtf8(value) == value &&
                            value.find('\0') == std::string::npos;
        object[toUtf8(name)] = isText ? Json(value) : Json{{"bytes", value.size()}};
    }
    return object;
}

Json toObject(std::optional<Place> const& place) {
    if (!place) return {};
    Json matrix = Json::array();
    for (double const number : place->toWorld) matrix.push_back(toJson(number));
    return {{"toWorld", matrix}, {"system", toJson(place->system)}};
}

Json toObject(ChannelMetadata const& channel, std::string const& name) {
    return {{"name", toJson(name)},
            {"colour", channel.colour ? Json(toString(*channel.colour)) : Json()},
            {"window", channel.window ? toRange(*channel.window) : Json()},
            {"alpha", toString(channel.alpha)},
            {"properties", toObject(channel.properties)}};
}

Json listLevels(Input const& input) {
    Image const& image = input.getImage();
    Json levels = Json::array();
    for (long long level = 0; level < image.getNumLevels(); ++level) {
        levels.push_back({{"extent", toJson(image.getExtent(level))},
                          {"voxelSize", toJson(image.getVoxelSize(level))},
                          {"resolution", toJson(getResolution(image, level))},
                          {"stored", input.getPlan().isLevelStored(level)}});
    }
    return levels;
}

Json listSliceNames(Image& image) {
    constexpr long long most = 100000;
    Json names = Json::array();
    bool isNamed = false;
    for (long long z = 0; z < std::min(image.getExtent(0).z, most); ++z) {
        std::string const name = image.getSliceName(z);
        isNamed = isNamed || !name.empty();
        names.push_back(toJson(name));
    }
    return isNamed ? names : Json::array();
}

}  // namespace

std::string describeAsJson(Input const& input) {
    Image& image = input.getImage();
    Metadata const metadata = getMetadata(image);
    Json names = Json::array(), channels = Json::array(), pixelSize = Json::array();
    for (long long c = 0; c < image.getNumChannels(); ++c) {
        std::string const name = image.getChannelName(c);
        names.push_back(toJson(name));
        channels.push_back(toObject(metadata.channels[static_cast<std::size_t>(c)], name));
    }
    for (double const side : metadata.pixelSize) {
        pixelSize.push_back(side > 0.0 ? toJson(side) : Json());
    }
    Json facts = Json::object(), parts = Json::array();
    if (auto const* const contents = dynamic_cast<StoredContents const*>(&input.getSource())) {
        for (auto const& [what, fact] : contents->getFacts()) facts[toUtf8(what)] = toJson(fact);
        for (StoredPart const& part : contents->getOtherParts()) {
            parts.push_back({{"selector", toJson(part.selector)}, {"reason", toJson(part.reason)}});
        }
    }
    Json const document{
        {"id", toJson(image.getId())},
        {"groupId", toJson(image.getGroupId())},
        {"extent", toJson(image.getExtent(0))},
        {"areaMM2", toJson(getArea(image))},
        {"channels", image.getNumChannels()},
        {"channelNames", names},
        {"valueRange", {toJson(image.getValueRange().min), toJson(image.getValueRange().max)}},
        {"tileExtent", toJson(image.getTileExtent())},
        {"sampleType", toString(input.getSampleType())},
        {"colourModel", toString(metadata.colourModel)},
        {"alpha", toString(metadata.getAlpha())},
        {"pixelSize", pixelSize},
        {"noData", metadata.noData ? toNumber(*metadata.noData) : Json()},
        {"colourProfile", {{"bytes", metadata.colourProfile.size()}}},
        {"description", toJson(metadata.description)},
        {"date", toJson(metadata.date)},
        {"place", toObject(metadata.place)},
        {"facts", facts},
        {"sliceNames", listSliceNames(image)},
        {"properties", toObject(metadata.properties)},
        {"channelInfo", channels},
        {"otherParts", parts},
        {"levels", listLevels(input)}};
    return toDocument(document);
}

}  // namespace Quivo::tool
