#include "Arguments.h"
#include "Commands.h"
#include "Source.h"
#include "Text.h"

#include <algorithm>
#include <iostream>
#include <memory>
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

void printTable(Source const& source, std::string const& input) {
    Image& image = source.getImage();
    std::vector<std::string> names;
    for (long long c = 0; c < image.getNumChannels(); ++c) {
        std::string const name = image.getChannelName(c);
        if (!name.empty()) names.push_back(name);
    }
    ValueRange<double> const range = image.getValueRange();
    std::cout << input << '\n'
              << "  extent       " << toText(image.getExtent(0)) << '\n'
              << "  channels     " << image.getNumChannels()
              << (names.empty() ? "" : " (" + join(names, ", ") + ")") << '\n'
              << "  sample type  " << toString(source.getSampleType()) << '\n'
              << "  value range  " << toText(range.min) << " to " << toText(range.max) << '\n'
              << "  tile extent  " << toText(image.getTileExtent()) << "\n\n";

    std::vector<std::vector<std::string>> table{{"level", "extent", "voxel size (nm)", "stored"}};
    for (long long level = 0; level < image.getNumLevels(); ++level) {
        Vector const voxelSize = image.getVoxelSize(level);
        table.push_back({std::to_string(level), toText(image.getExtent(level)),
                         voxelSize == Vector() ? "unknown" : toText(voxelSize),
                         source.isLevelStored(level) ? "yes" : "no, computed"});
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

void printJson(Source const& source) {
    Image& image = source.getImage();
    std::vector<std::string> names;
    for (long long c = 0; c < image.getNumChannels(); ++c) {
        names.push_back(toJson(image.getChannelName(c)));
    }
    std::vector<std::string> levels;
    for (long long level = 0; level < image.getNumLevels(); ++level) {
        levels.push_back("    {\"extent\": " + toJson(image.getExtent(level)) +
                         ", \"voxelSize\": " + toJson(image.getVoxelSize(level)) +
                         ", \"stored\": " + (source.isLevelStored(level) ? "true" : "false") + "}");
    }
    ValueRange<double> const range = image.getValueRange();
    std::cout << "{\n"
              << "  \"extent\": " << toJson(image.getExtent(0)) << ",\n"
              << "  \"channels\": " << image.getNumChannels() << ",\n"
              << "  \"channelNames\": [" << join(names, ", ") << "],\n"
              << "  \"valueRange\": [" << toJson(range.min) << ", " << toJson(range.max) << "],\n"
              << "  \"tileExtent\": " << toJson(image.getTileExtent()) << ",\n"
              << "  \"levels\": [\n"
              << join(levels, ",\n") << "\n  ]\n}\n";
}

}  // namespace

void addInfoCommand(CLI::App& app) {
    CLI::App* const command = app.add_subcommand("info", "Print what an image is");
    auto const options = std::make_shared<InfoOptions>();
    addPath(*command, "INPUT", &options->input, inputHelp)->required();
    command->add_flag("--json", options->json, "print one JSON object");
    command->footer("Example: quivo info slide.tif --json");
    command->callback([options] {
        Source const source(options->input);
        if (options->json) {
            printJson(source);
        } else {
            printTable(source, options->input);
        }
    });
}

}  // namespace Quivo::tool
