#pragma once

/// \file
/// Paths as byte strings, with slash and backslash both as separators, and the identifiers that
/// images get from them. Nothing here touches the file system; no state, any thread. Safe as a file
/// name means without the characters that `removeInvalidFileCharacters` removes.

#include <quivo/core/Export.h>

#include <string>
#include <utility>

namespace Quivo {

/// Whether a path names a place in the network: a colon at position 2 or later (a scheme), or a
/// full stop before the first separator (a host name). A name with neither counts as one too.
[[nodiscard]] QUIVO_API bool isNetworkPath(std::string const& path);

/// `path` with every backslash as a slash.
[[nodiscard]] QUIVO_API std::string convertToUnixPath(std::string path);

/// What stands before and after the last separator, without it. Without a separator all of it is
/// the file name.
[[nodiscard]] QUIVO_API std::pair<std::string, std::string> splitFilePath(std::string const& path);

/// The first part of `splitFilePath`.
[[nodiscard]] QUIVO_API std::string getDirectoryFromFilePath(std::string const& path);

/// The file name without its last extension, safe as a file name.
[[nodiscard]] QUIVO_API std::string getImageIdFromPath(std::string const& path);

/// The name of the directory that holds the image, safe as a file name.
[[nodiscard]] QUIVO_API std::string getGroupIdFromImagePath(std::string const& path);

/// The last component of a directory path (empty after a trailing separator), safe as a file name.
[[nodiscard]] QUIVO_API std::string getGroupIdFromDirectoryPath(std::string const& path);

}  // namespace Quivo
