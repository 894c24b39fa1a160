#pragma once

#include <CLI/CLI.hpp>

namespace Quivo::tool {

// The subcommands, one file each. Each function adds its own to `app`; when the command line names
// it, it runs inside `app.parse()`. A subcommand that returns has succeeded. One that does not
// throws: CLI::ParseError for a wrong call, CancellationException after Ctrl-C, std::exception with
// one line that a user understands for everything else.

/// quivo info: what an image is.
void addInfoCommand(CLI::App& app);

/// quivo convert: an image as pyramid TIFF.
void addConvertCommand(CLI::App& app);

/// quivo merge: images of one channel each as one pyramid TIFF.
void addMergeCommand(CLI::App& app);

/// quivo render: a picture of an image.
void addRenderCommand(CLI::App& app);

/// quivo read: the values of a region.
void addReadCommand(CLI::App& app);

}  // namespace Quivo::tool
