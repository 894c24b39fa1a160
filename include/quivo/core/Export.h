#pragma once

/// \file
/// Which symbols the shared library exports.

/// Marks what belongs to the library's binary interface: everything else in the shared library is
/// compiled with hidden visibility.
#define QUIVO_API __attribute__((visibility("default")))
