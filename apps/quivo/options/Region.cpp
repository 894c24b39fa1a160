#include "options/Region.h"

#include "options/Input.h"

namespace Quivo::tool {

CLI::Option* RegionOptions::addTo(CLI::App& app, std::string const& atBorder,
                                  std::string const& withoutSlice) {
    // Which levels and slices there are, only the image can tell: the numbers are checked later.
    addInteger(app, "--level", &level, anyInteger,
               "the level to read, 0 as without it is full resolution");
    auto const parse = [this](std::string const& text) { box = parseRectangle(text); };
    addParsed(app, "--box", parse,
              "left upper corner, width and height of the region in pixels of the level, the whole "
              "level without it; " +
                  atBorder)
        ->type_name("X,Y,W,H");
    return addInteger(app, "--slice", &slice, anyInteger, "the slice to take, " + withoutSlice)
        ->type_name("Z");
}

Box RegionOptions::getRegion(Input const& input) const {
    input.checkLevel(getLevel());
    input.checkSlice(slice.value_or(0));
    Vector const extent = input.getImage().getExtent(getLevel());
    Rectangle const r = box.value_or(Rectangle{0, 0, extent.x, extent.y});
    long long const z = slice.value_or(0);
    return {Vector(r.x, r.y, z), Vector(r.x + (r.width - 1), r.y + (r.height - 1), z)};
}

}  // namespace Quivo::tool
