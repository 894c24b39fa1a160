#pragma once

/// The version of these headers. The build system reads it from here, so it stands once.
#define QUIVO_VERSION_MAJOR 1
#define QUIVO_VERSION_MINOR 0
#define QUIVO_VERSION_PATCH 0
