#pragma once

/// \file
/// Which symbols the shared library exports, and which C++ its headers are written in: the first
/// header that every other one includes.

#if defined(__cplusplus) && __cplusplus < 202002L
#error "Quivo needs C++20: compile with -std=c++20 or later"
// There is no such file: compilers stop here, before the errors that would follow from the rest.
#include <quivo_needs_c++20>
#endif

/// Marks what belongs to the library's binary interface: everything else in the shared library is
/// compiled with hidden visibility.
#define QUIVO_API __attribute__((visibility("default")))
