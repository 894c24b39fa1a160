#pragma once

#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

namespace Quivo::tool {

struct InputName {
    std::string path;
    std::vector<std::string> selectors;
};

inline InputName splitInputName(std::string const& input) {
    std::error_code none;
    if (std::filesystem::exists(input, none)) return {input, {}};
    for (std::size_t hash = input.rfind('#'); hash != std::string::npos && hash > 0;
         hash = input.rfind('#', hash - 1)) {
        std::string const path = input.substr(0, hash);
        if (!std::filesystem::exists(path, none)) continue;
        InputName name{path, {}};
        std::string rest = input.substr(hash + 1);
        for (std::size_t next = 0; (next = rest.find('#')) != std::string::npos;) {
            name.selectors.push_back(rest.substr(0, next));
            rest.erase(0, next + 1);
        }
        name.selectors.push_back(rest);
        return name;
    }
    return {input, {}};
}

}  // namespace Quivo::tool
