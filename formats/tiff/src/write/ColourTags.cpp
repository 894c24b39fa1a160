#include "write/ColourTags.h"

#include "container/LibTiff.h"

#include <quivo/image/ChannelNames.h>

#include <algorithm>

namespace Quivo::detail {

namespace {

std::string toText(ColourModel model) {
    switch (model) {
        case ColourModel::Rgb:
            return "red, green and blue";
        case ColourModel::Cmyk:
            return "the four inks";
        case ColourModel::CieLab:
        case ColourModel::IccLab:
            return "L*a*b*";
        case ColourModel::LogLuv:
            return "LogLuv";
        case ColourModel::Classes:
            return "classes";
        case ColourModel::None:
        case ColourModel::Grey:
            break;
    }
    return "grey";
}

std::string_view getProperty(Metadata const& metadata, char const* name) {
    auto const found = metadata.properties.find(name);
    return found == metadata.properties.end() ? std::string_view() : found->second;
}

bool areOpaque(Metadata const& metadata, long long first, long long count) {
    auto const begin = metadata.channels.begin() + first;
    return std::all_of(begin, begin + count,
                       [](auto const& channel) { return channel.alpha == AlphaKind::None; });
}

/// The palette that is stored for the classes, where it has a colour for each number of the type.
std::string_view findPalette(Metadata const& metadata, SampleType type) {
    std::size_t const numNumbers = type == SampleType::U8    ? 256
                                   : type == SampleType::U16 ? 65536
                                                             : 0;
    auto const palette = getProperty(metadata, "tiff:ColorMap");
    return numNumbers > 0 && palette.size() == 3 * 2 * numNumbers ? palette : std::string_view();
}

/// Whether the names of as many inks are told as there are channels that may be inks.
bool areInks(Metadata const& metadata) {
    auto names = getProperty(metadata, "tiff:InkNames");
    auto const numInks =
        std::count_if(metadata.channels.begin(), metadata.channels.end(),
                      [](auto const& channel) { return channel.alpha == AlphaKind::None; });
    while (names.ends_with('\0')) names.remove_suffix(1);
    return metadata.colourModel == ColourModel::None && !names.empty() &&
           std::count(names.begin(), names.end(), '\0') + 1 == numInks &&
           areOpaque(metadata, 0, numInks);
}

}  // namespace

bool ColourTags::isPicture() const noexcept {
    return photometric == PHOTOMETRIC_RGB && extras.empty();
}

ColourTags chooseColours(Metadata const& metadata, SampleType type) {
    ColourTags result;
    long long const count = std::ssize(metadata.channels);
    auto const model = metadata.colourModel;
    auto numColours = countColours(model);
    bool const isInOrder = numColours <= count && areOpaque(metadata, 0, numColours);
    bool const isByteOrWord = getSampleBytes(type) <= 2 && isInteger(type);
    result.photometric = PHOTOMETRIC_MINISBLACK;
    bool isKept = isInOrder || model == ColourModel::None;
    if (isInOrder && model == ColourModel::Rgb) {
        result.photometric = PHOTOMETRIC_RGB;
    } else if (isInOrder && model == ColourModel::Cmyk) {
        result.photometric = PHOTOMETRIC_SEPARATED;
        result.tags.addShort(TIFFTAG_INKSET, INKSET_CMYK);
    } else if (isInOrder && model == ColourModel::CieLab && isByteOrWord) {
        result.photometric = PHOTOMETRIC_CIELAB;
    } else if (isInOrder && model == ColourModel::IccLab && isByteOrWord) {
        result.photometric = PHOTOMETRIC_ICCLAB;
    } else if (auto const palette = findPalette(metadata, type);
               isInOrder && model == ColourModel::Classes && !palette.empty()) {
        result.photometric = PHOTOMETRIC_PALETTE;
        result.tags.add(TIFFTAG_COLORMAP, TIFF_SHORT, palette);
    } else if (areInks(metadata)) {
        numColours =
            std::count_if(metadata.channels.begin(), metadata.channels.end(),
                          [](auto const& channel) { return channel.alpha == AlphaKind::None; });
        result.photometric = PHOTOMETRIC_SEPARATED;
        result.tags.addShort(TIFFTAG_INKSET, INKSET_MULTIINK);
        result.tags.addText(TIFFTAG_INKNAMES, getProperty(metadata, "tiff:InkNames"));
        result.tags.addShort(TIFFTAG_NUMBEROFINKS, static_cast<std::uint16_t>(numColours));
    } else {
        isKept = isKept && model != ColourModel::CieLab && model != ColourModel::IccLab &&
                 model != ColourModel::LogLuv && model != ColourModel::Classes;
        numColours = 1;
    }
    if (!isKept) result.losses.push_back("that the channels are " + toText(model));
    for (auto c = numColours; c < count; ++c) {
        auto const kind = metadata.channels[static_cast<std::size_t>(c)].alpha;
        result.extras.push_back(kind == AlphaKind::Associated     ? EXTRASAMPLE_ASSOCALPHA
                                : kind == AlphaKind::Unassociated ? EXTRASAMPLE_UNASSALPHA
                                                                  : EXTRASAMPLE_UNSPECIFIED);
    }
    if (!areOpaque(metadata, 0, std::min(numColours, count))) {
        result.losses.emplace_back("that the first channel is opacity");
    }
    return result;
}

ColourTags describePlanes(Metadata const& metadata) {
    ColourTags result;
    result.photometric = PHOTOMETRIC_MINISBLACK;
    auto const model = metadata.colourModel;
    if (model != ColourModel::None && model != ColourModel::Grey) {
        result.losses.push_back("that the channels are " + toText(model));
    }
    if (!areOpaque(metadata, 0, std::ssize(metadata.channels))) {
        result.losses.emplace_back("which channel is opacity");
    }
    return result;
}

std::vector<std::string> getImpliedNames(Metadata const& metadata) {
    auto const count = std::ssize(metadata.channels);
    auto const isRgb = metadata.colourModel == ColourModel::Rgb;
    bool const hasAlpha = isRgb && count == 4 && metadata.channels.back().alpha != AlphaKind::None;
    std::vector<std::string> names;
    for (long long c = 0; c < count; ++c) {
        auto const numNamed = count == 1 ? 1 : !isRgb ? 0 : hasAlpha ? 4 : 3;
        names.push_back(getUsualChannelName(c, numNamed));
    }
    return names;
}

}  // namespace Quivo::detail
