#pragma once

/// \file
/// The version of these headers. The build system reads it from here, so it stands once.

/// Rises when something is taken away or changes its meaning: programs have to be looked at.
#define QUIVO_VERSION_MAJOR 1
/// Rises when something is added.
#define QUIVO_VERSION_MINOR 0
/// Rises when something is corrected.
#define QUIVO_VERSION_PATCH 0
