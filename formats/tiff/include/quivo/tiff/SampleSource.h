#pragma once

/// \file
/// Where `SampleSource` stood before it moved into the core.

#include <quivo/samples/SampleSource.h>
