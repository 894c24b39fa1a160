#include "options/Arguments.h"

namespace Quivo::tool {

CLI::Option* addPath(CLI::App& app, std::string const& name, std::string* path,
                     std::string const& help) {
    auto const store = [name, path](std::string const& text) {
        if (text.empty()) throw CLI::ValidationError(name, "a name is needed, not an empty text");
        *path = text;
    };
    return app.add_option_function<std::string>(name, store, help)->type_name("");
}

}  // namespace Quivo::tool
