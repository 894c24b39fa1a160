#include "write/TiffPlan.h"

#include "write/OmeXml.h"

#include <limits>
#include <stdexcept>

namespace Quivo::detail {

WrittenShape TiffPlan::getShape() const {
    return {pyramid.extents.at(0), pyramid.tile.sampleType, layout, arePagesApart()};
}

bool TiffPlan::arePagesApart() const {
    return layout == TiffLayout::Ome && pyramid.tile.numChannels > 1 && !isOmePicture(metadata);
}

bool TiffPlan::arePlanesApart() const {
    if (pyramid.tile.numChannels == 1) return false;
    if (arePagesApart()) return true;
    // JPEG mixes the colours of a picture and nothing else.
    return compression == TiffCompression::Jpeg &&
           !chooseColours(metadata, pyramid.tile.sampleType).isPicture();
}

TileFormat TiffPlan::getFormat() const {
    TileFormat format{pyramid.tile, compression, quality, false};
    if (arePlanesApart()) format.numChannels = 1;
    format.isPicture = !arePlanesApart() && pyramid.tile.numChannels == 3 &&
                       chooseColours(metadata, pyramid.tile.sampleType).isPicture();
    // Half of the time for a twentieth more bytes: such files are made to be moved about, often.
    if (layout == TiffLayout::Cog) format.deflateLevel = 1;
    // Readers of microscopy know no predictor of floats.
    format.predictsFloats = layout != TiffLayout::Ome;
    return format;
}

void TiffPlan::refuse(std::string const& reason) const {
    throw std::runtime_error(target + ": " + reason);
}

void TiffPlan::check() const {
    constexpr long long maxSide = std::numeric_limits<std::uint32_t>::max();
    TileShape const& f = pyramid.tile;
    if (f.numChannels < 1 || f.numChannels > std::numeric_limits<std::uint16_t>::max()) {
        refuse(std::to_string(f.numChannels) + " channels: TIFF holds 1 to 65535");
    }
    bool const isTileSide = f.width % 16 == 0 && f.height % 16 == 0;
    constexpr long long maxTileSide = 1LL << 20;
    if (!isTileSide || f.width > maxTileSide || f.height > maxTileSide) {
        refuse("tiles of " + std::to_string(f.width) + " x " + std::to_string(f.height) +
               ": both sides must be multiples of 16");
    }
    if (f.width * f.height * getSampleBytes(f.sampleType) >
        std::numeric_limits<std::int32_t>::max() / f.numChannels) {
        refuse("tiles of more than 2 GB cannot be written; use a smaller tile size");
    }
    if (compression == TiffCompression::Jpeg && f.sampleType != SampleType::U8) {
        refuse("JPEG compression needs u8 samples, not " + toString(f.sampleType));
    }
    if (quality < 1 || quality > 100) refuse("the JPEG quality must be 1 to 100");
    pyramid.check(target);
    auto const numPlanes = pyramid.layout == TileLayout::Planar ? f.numChannels : 1;
    for (std::size_t level = 0; level < pyramid.extents.size(); ++level) {
        Vector const& e = pyramid.extents[level];
        if (e.x > maxSide || e.y > maxSide) {
            refuse(std::to_string(e.x) + " x " + std::to_string(e.y) +
                   " pixels: TIFF holds sides up to " + std::to_string(maxSide));
        }
        Vector const tiles = pyramid.countTiles(level);
        if (tiles.x > maxSide / numPlanes / tiles.y) {
            refuse("too many tiles: TIFF holds up to " + std::to_string(maxSide) +
                   " per page; use larger tiles");
        }
    }
    checkLayout();
}

void TiffPlan::checkLayout() const {
    auto const type = pyramid.tile.sampleType;
    if (layout == TiffLayout::Ome && !getOmeType(type)) {
        refuse("OME-TIFF has no samples of type " + toString(type) +
               "; choose another type, or the layout plain");
    }
    if (layout != TiffLayout::Cog) return;
    if (pyramid.extents[0].z > 1) {
        refuse("a Cloud Optimized GeoTIFF is one slice, not " +
               std::to_string(pyramid.extents[0].z) + "; take one, or the layout plain");
    }
    constexpr long long maxTileSide = 1024;
    if (pyramid.tile.width > maxTileSide || pyramid.tile.height > maxTileSide) {
        refuse("tiles of a Cloud Optimized GeoTIFF are fetched one by one and have sides up to " +
               std::to_string(maxTileSide) + "; use smaller tiles");
    }
}

}  // namespace Quivo::detail
