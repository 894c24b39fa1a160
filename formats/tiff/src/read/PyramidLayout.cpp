#include "read/PyramidLayout.h"

#include "read/LayoutBuilder.h"

namespace Quivo::detail {

PyramidLayout::PyramidLayout(TiffHandle& tiff, DirectoryReader& directories,
                             TiffSelection const& selection, bool isStrict,
                             std::string const& fileName) {
    LayoutBuilder builder(*this, tiff, directories, selection, isStrict);
    builder.placeBase(fileName);
    builder.placeLevels();
    builder.placeMasks();
    builder.listOthers();
    tiff.check(true, "cannot be read");  // a tag that could not be is missing from its page only
}

}  // namespace Quivo::detail
