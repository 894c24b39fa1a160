#include <quivo/core/Vector.h>

namespace Quivo {

std::string Vector::toString() {
    return std::to_string(x) + ' ' + std::to_string(y) + ' ' + std::to_string(z);
}

}  // namespace Quivo
