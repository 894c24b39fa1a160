#include <quivo/util/Paths.h>

#include <quivo/util/Strings.h>

#include <algorithm>

namespace Quivo {

namespace {

constexpr char const* separators = "/\\";

std::string withoutInvalidCharacters(std::string name) {
    removeInvalidFileCharacters(name);
    return name;
}

}  // namespace

bool isNetworkPath(std::string const& path) {
    auto const colon = path.find(':');
    if (colon != std::string::npos && colon >= 2) return true;
    // Nowhere counts as far away: a name without either is a host.
    return path.find('.') <= path.find_first_of(separators);
}

std::string convertToUnixPath(std::string path) {
    std::replace(path.begin(), path.end(), '\\', '/');
    return path;
}

std::pair<std::string, std::string> splitFilePath(std::string const& path) {
    auto const last = path.find_last_of(separators);
    if (last == std::string::npos) return {"", path};
    return {path.substr(0, last), path.substr(last + 1)};
}

std::string getDirectoryFromFilePath(std::string const& path) { return splitFilePath(path).first; }

std::string getImageIdFromPath(std::string const& path) {
    std::string const name = splitFilePath(path).second;
    return withoutInvalidCharacters(name.substr(0, name.rfind('.')));
}

std::string getGroupIdFromImagePath(std::string const& path) {
    return getGroupIdFromDirectoryPath(getDirectoryFromFilePath(path));
}

std::string getGroupIdFromDirectoryPath(std::string const& path) {
    return withoutInvalidCharacters(splitFilePath(path).second);
}

}  // namespace Quivo
