#include <quivo/samples/SampleSource.h>

namespace Quivo {

SampleSource::~SampleSource() = default;

}  // namespace Quivo
