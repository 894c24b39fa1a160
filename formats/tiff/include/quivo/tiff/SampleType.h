#pragma once

/// \file
/// Where `SampleType` stood before it moved into the core.

#include <quivo/samples/SampleType.h>
