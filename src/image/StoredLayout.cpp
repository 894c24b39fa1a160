#include <quivo/image/StoredLayout.h>

namespace Quivo {

StoredLayout::~StoredLayout() = default;

}  // namespace Quivo
