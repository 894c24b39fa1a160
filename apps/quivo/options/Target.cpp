#include "options/Target.h"

#include "options/Input.h"

#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace Quivo::tool {

void checkTarget(std::string const& output, Input const* input, bool force) {
    if (input) input->checkIsNot(output);
    std::error_code none;
    auto const status = std::filesystem::symlink_status(output, none);
    if (!std::filesystem::exists(status)) return;
    auto const target = std::filesystem::status(output, none);
    if (std::filesystem::is_directory(target)) {
        throw std::runtime_error(output + ": is a folder, a file name is needed");
    }
    if (std::filesystem::exists(target) && !std::filesystem::is_regular_file(target)) {
        throw std::runtime_error(output + ": is not a file that could be replaced");
    }
    if (!force) throw std::runtime_error(output + ": exists already, --force replaces it");
}

}  // namespace Quivo::tool
