#include <quivo/image/StoredContents.h>

namespace Quivo {

StoredContents::~StoredContents() = default;

}  // namespace Quivo
