#include <quivo/image/Image.h>

namespace Quivo {

Image::~Image() = default;

}  // namespace Quivo
