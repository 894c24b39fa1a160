#pragma once

#include <quivo/core/Export.h>
#include <quivo/core/ValueRange.h>

#include <array>
#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace Quivo {

class Image;

/// What the channels are together. `None`: each is for itself, none is a colour of a picture.
enum class ColourModel {
    None,
    Grey,
    Rgb,
    Cmyk,    ///< inks, from none to all
    CieLab,  ///< CIE 1976 L*a*b*, a* and b* signed
    IccLab,  ///< the same as ICC profiles encode it, a* and b* with an offset
    LogLuv,  ///< CIE XYZ or u'v' with a logarithmic luminance
    Classes  ///< one channel of numbers that name things and have no order, as of a land use map
};

/// The channels that a model takes, in order; any others stand beside the colours.
[[nodiscard]] constexpr long long countColours(ColourModel model) noexcept {
    switch (model) {
        case ColourModel::Rgb:
        case ColourModel::CieLab:
        case ColourModel::IccLab:
        case ColourModel::LogLuv:
            return 3;
        case ColourModel::Cmyk:
            return 4;
        case ColourModel::None:
        case ColourModel::Grey:
        case ColourModel::Classes:
            break;
    }
    return 1;
}

/// Whether a channel is opacity, and of which kind.
enum class AlphaKind {
    None,          ///< it is not
    Unassociated,  ///< the other channels are as if there were none
    Associated     ///< the other channels are multiplied by it already
};

/// A colour of light to show something in; components from 0 to 1. Plain value.
struct Colour {
    double red = 0.0;    ///< from none to full
    double green = 0.0;  ///< likewise
    double blue = 0.0;   ///< likewise

    /// Whether all components are equal.
    [[nodiscard]] friend bool operator==(Colour const&, Colour const&) noexcept = default;
};

/// What one channel means. Plain value.
struct ChannelMetadata {
    std::string name;                          ///< empty when it has none
    AlphaKind alpha = AlphaKind::None;         ///< whether it is opacity
    std::optional<Colour> colour;              ///< in which to show it
    std::optional<ValueRange<double>> window;  ///< the values to show from dark to bright
    /// What formats know of it further, by names of theirs ("gdal:UNITTYPE").
    std::map<std::string, std::string> properties{};

    /// Whether all of it is equal.
    [[nodiscard]] friend bool operator==(ChannelMetadata const&,
                                         ChannelMetadata const&) noexcept = default;
};

/// Where an image lies in a world: on the earth, on a stage. Plain value.
struct Place {
    /// Three rows of four: world = matrix * (x, y, z, 1), with x, y and z in pixels of level 0. The
    /// left upper corner of the first pixel of the first slice is (0, 0, 0), its centre (0.5, 0.5,
    /// 0).
    std::array<double, 12> toWorld{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0};
    /// The system of the world's coordinates ("EPSG:25832", a WKT); empty when it is not told.
    std::string system;

    /// Makes the position (x, y, z) the new origin, and one pixel as large as `factorX` x `factorY`
    /// of before.
    QUIVO_API void moveAndGrow(double x, double y, double z, double factorX, double factorY);

    /// Whether all of it is equal.
    [[nodiscard]] friend bool operator==(Place const&, Place const&) noexcept = default;
};

/// What the numbers of an image mean: all that is not pixels, as far as somebody knows it. It
/// travels through chains, adjusted by every filter, and writers store what their format can hold.
/// Plain value.
struct Metadata {
    ColourModel colourModel = ColourModel::None;  ///< of the channels that are not opacity
    std::vector<ChannelMetadata> channels;        ///< one per channel of the image
    /// The size of a pixel of level 0 along x, y and z in nanometres, 0 where it is not known.
    /// `Image::getVoxelSize` has it in whole ones.
    std::array<double, 3> pixelSize{};
    std::optional<double> noData;          ///< the value of pixels that have none
    std::vector<std::byte> colourProfile;  ///< an ICC profile of the colours; empty when not told
    std::string description;               ///< for people, in UTF-8
    std::string date;                      ///< of the acquisition, in ISO 8601
    std::optional<Place> place;            ///< where the image lies
    /// What formats carry further, by names of theirs ("tiff:XMP"); the values may be any bytes.
    /// What in them repeats a field above counts only as far as it still says the same: filters
    /// change the fields and hand this on as it is.
    std::map<std::string, std::string> properties;

    /// The kind of the first channel that is opacity; `None` when there is none.
    [[nodiscard]] QUIVO_API AlphaKind getAlpha() const noexcept;

    /// Whether all of it is equal.
    [[nodiscard]] friend bool operator==(Metadata const&, Metadata const&) noexcept = default;
};

/// What an image may be besides: one that knows more of its numbers than `Image` asks for. Threads:
/// as the image.
class QUIVO_API MetadataSource {
public:
    MetadataSource() = default;
    MetadataSource(MetadataSource const&) = delete;
    MetadataSource& operator=(MetadataSource const&) = delete;
    virtual ~MetadataSource();

    /// The metadata of the image as it is now.
    /// error: std::bad_alloc, and what keeps the image from telling.
    [[nodiscard]] virtual Metadata getMetadata() = 0;
};

/// What the numbers of any image mean, with one entry for each of its channels, whatever its
/// `MetadataSource` has: an empty one where there is none, none too many. One that is no source
/// says by its own answers:
/// names, whole nanometres, and the colour model where the names are those of colours ("Gray";
/// "Red", "Green", "Blue", and "Alpha" behind them).
/// error: std::bad_alloc, and what the image throws.
[[nodiscard]] QUIVO_API Metadata getMetadata(Image& image);

/// The metadata of an image that is made of `source` and nothing else, for filters of one's own:
/// that of the source, but for what the image answers otherwise: names, number of channels (then
/// nothing of the source's channels and of their colours counts), voxel size, and value range (then
/// no display window and no no-data value counts).
/// error: as above.
[[nodiscard]] QUIVO_API Metadata handOnMetadata(Image& image, Image& source);

}  // namespace Quivo
