#include "commands/Commands.h"
#include "options/Arguments.h"
#include "options/Input.h"
#include "terminal/Json.h"

#include <quivo/chains/Text.h>
#include <quivo/core/Resolution.h>

#include <algorithm>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Quivo::tool {

namespace {

struct InfoOptions {
    std::string input;
    bool json = false;
};

/// The texts joined by `separator`.
std::string join(std::vector<std::string> const& texts, std::string const& separator) {
    std::string result;
    for (std::string const& text : texts) {
        if (!result.empty()) result += separator;
        result += text;
    }
    return result;
}

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

/// A line of facts, unless there is nothing to tell.
void printFact(std::string const& what, std::string const& text) {
    if (text.empty()) return;
    std::cout << "  " << what << std::string(13 - what.size(), ' ') << toLine(text) << '\n';
}

void printTable(Input const& input) {
    Image& image = input.getImage();
    std::vector<std::string> names;
    for (long long c = 0; c < image.getNumChannels(); ++c) {
        std::string const name = image.getChannelName(c);
        if (!name.empty()) names.push_back(name);
    }
    ValueRange<double> const range = image.getValueRange();
    std::optional<double> const area = getArea(image);
    std::cout << toLine(input.getName()) << '\n';
    printFact("id", image.getId());
    printFact("group", image.getGroupId());
    printFact("extent", toText(image.getExtent(0)));
    printFact("area", area ? toText(*area) + " mm2" : "");
    printFact("channels", std::to_string(image.getNumChannels()) +
                              (names.empty() ? "" : " (" + join(names, ", ") + ")"));
    printFact("sample type", toString(input.getSampleType()));
    printFact("value range", toText(range.min) + " to " + toText(range.max));
    printFact("tile extent", toText(image.getTileExtent()));
    std::cout << '\n';

    std::vector<std::vector<std::string>> table{
        {"level", "extent", "voxel size (nm)", "pixels/mm", "stored"}};
    for (long long level = 0; level < image.getNumLevels(); ++level) {
        Vector const voxelSize = image.getVoxelSize(level);
        std::optional<double> const resolution = getResolution(image, level);
        table.push_back({std::to_string(level), toText(image.getExtent(level)),
                         voxelSize == Vector() ? "unknown" : toText(voxelSize),
                         resolution ? toText(*resolution) : "unknown",
                         input.getPlan().isLevelStored(level) ? "yes" : "no, computed"});
    }
    std::vector<std::size_t> widths(table.front().size());
    for (auto const& row : table) {
        for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
    }
    for (auto const& row : table) {
        for (std::size_t i = 0; i + 1 < row.size(); ++i) {
            std::cout << "  " << row[i] << std::string(widths[i] - row[i].size(), ' ');
        }
        std::cout << "  " << row.back() << '\n';
    }
}

void printJson(Input const& input) {
    Image& image = input.getImage();
    Json names = Json::array();
    for (long long c = 0; c < image.getNumChannels(); ++c) {
        names.push_back(toJson(image.getChannelName(c)));
    }
    Json levels = Json::array();
    for (long long level = 0; level < image.getNumLevels(); ++level) {
        levels.push_back({{"extent", toJson(image.getExtent(level))},
                          {"voxelSize", toJson(image.getVoxelSize(level))},
                          {"resolution", toJson(getResolution(image, level))},
                          {"stored", input.getPlan().isLevelStored(level)}});
    }
    ValueRange<double> const range = image.getValueRange();
    Json const document{{"id", toJson(image.getId())},
                        {"groupId", toJson(image.getGroupId())},
                        {"extent", toJson(image.getExtent(0))},
                        {"areaMM2", toJson(getArea(image))},
                        {"channels", image.getNumChannels()},
                        {"channelNames", names},
                        {"valueRange", {toJson(range.min), toJson(range.max)}},
                        {"tileExtent", toJson(image.getTileExtent())},
                        {"levels", levels}};
    std::cout << toDocument(document);
}

}  // namespace

void addInfoCommand(CLI::App& app) {
    CLI::App* const command = app.add_subcommand("info", "Print what an image is");
    auto const options = std::make_shared<InfoOptions>();
    addPath(*command, "INPUT", &options->input, inputHelp)->required();
    command->add_flag("--json", options->json, "print one JSON object");
    command->footer("Example: quivo info slide.tif --json");
    command->callback([options] {
        Input const input(options->input);
        if (options->json) {
            printJson(input);
        } else {
            printTable(input);
        }
    });
}

}  // namespace Quivo::tool
