#pragma once

/// \file
/// The file system by UTF-8 paths, which are handed to the platform unchanged, and conversion
/// between UTF-8 and UTF-16. No state; any thread.

#include <quivo/core/Export.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

namespace Quivo {

/// The platform's fopen; null with errno set when it fails. The caller closes the file.
[[nodiscard]] QUIVO_API std::FILE* fopen_utf8(std::string const& path, std::string const& mode);

/// Open a stream with `mode`, the second with `in` and the third with `out` added.
/// error: std::runtime_error with the platform's text ("No such file or directory"); the stream is
/// left in the fail state. The same for a stream that is open already, and for modes that no file
/// can be opened with.
///@{
QUIVO_API void fstream_open_utf8(std::fstream& stream, std::string const& path,
                                 std::ios_base::openmode mode);
QUIVO_API void ifstream_open_utf8(std::ifstream& stream, std::string const& path,
                                  std::ios_base::openmode mode);
QUIVO_API void ofstream_open_utf8(std::ofstream& stream, std::string const& path,
                                  std::ios_base::openmode mode);
///@}

/// Removes a file or an empty directory; true on success.
QUIVO_API bool removeFile(std::string const& path);
/// Whether there is anything at `path`; symbolic links are followed.
[[nodiscard]] QUIVO_API bool fileExists(std::string const& path);
/// Whether there is a directory at `path`; symbolic links are followed.
[[nodiscard]] QUIVO_API bool isDirectory(std::string const& path);
/// Creates one directory; true also when something of that name is there already.
QUIVO_API bool makeDirectory(std::string const& path);
/// Removes an empty directory; true on success.
QUIVO_API bool removeDirectory(std::string const& path);
/// Removes a directory if it is empty, and does not say.
QUIVO_API void removeEmptyDirectory(std::string const& path);
/// Creates a directory and all that are missing above it (slash and backslash both separate); true
/// when something of that name is there in the end.
QUIVO_API bool makeDirectoryAndParents(std::string const& path);

/// Fills `files` with the names of what is in a directory, in the platform's order: everything,
/// "." and ".." included, or everything but directories. Empty when it cannot be opened.
QUIVO_API void getFilesInDir(std::vector<std::string>& files, std::string const& directory,
                             bool includeDirectories);

/// UTF-16 code units, one per element, to UTF-8.
/// error: std::range_error for an unpaired surrogate or an element above 0xFFFF.
[[nodiscard]] QUIVO_API std::string convertFromUtf16ToUtf8(std::wstring const& text);

/// UTF-8 to UTF-16 code units, one per element.
/// error: std::range_error for anything but well-formed UTF-8 (RFC 3629): malformed, truncated or
/// overlong sequences, surrogates, code points above U+10FFFF.
[[nodiscard]] QUIVO_API std::wstring convertFromUtf8ToUtf16(std::string const& text);

}  // namespace Quivo
