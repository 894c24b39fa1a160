#include "Region.h"

#include "Source.h"

namespace Quivo::tool {

CLI::Option* RegionOptions::addTo(CLI::App& app) {
    // Which levels and slices there are, only the image can tell: the numbers are checked later.
    CLI::Option* const levelOption =
        addInteger(app, "--level", &level, anyInteger, "the level to read, 0 is full resolution");
    auto const store = [this](std::string const& text) { box = parseRectangle(text); };
    app.add_option_function<std::string>(
           "--box", store,
           "left upper corner, width and height of the region in pixels of the level read; "
           "the whole level without it")
        ->type_name("X,Y,W,H");
    addInteger(app, "--slice", &slice, anyInteger, "the slice to read, 0 without it")
        ->type_name("Z");
    return levelOption;
}

Box RegionOptions::getRegion(Source const& source, long long ofLevel) const {
    source.checkLevel(ofLevel);
    source.checkSlice(slice);
    Vector const extent = source.getImage().getExtent(ofLevel);
    Rectangle const r = box.value_or(Rectangle{0, 0, extent.x, extent.y});
    return {Vector(r.x, r.y, slice), Vector(r.x + (r.width - 1), r.y + (r.height - 1), slice)};
}

PieceReader::PieceReader(Image& image, long long level, CancellationChecker& checker)
    : image_(image), level_(level), checker_(checker) {
    constexpr long long maxValues = 1 << 21;
    long long const valuesPerRow = pieceWidth * std::max(image.getNumChannels(), 1LL);
    bandHeight_ = std::clamp(maxValues / valuesPerRow, 1LL, 256LL);
}

double const* PieceReader::read(Box const& piece) {
    checker_.checkCancelled();
    auto const count = static_cast<std::size_t>(piece.getSize() * image_.getNumChannels());
    if (values_.size() < count) values_.resize(count);
    image_.openRegion(values_.data(), level_, piece);
    return values_.data();
}

}  // namespace Quivo::tool
