#include <quivo/tiff/SampleSource.h>

namespace Quivo {

SampleSource::~SampleSource() = default;

}  // namespace Quivo
