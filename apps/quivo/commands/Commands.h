#pragma once

#include "terminal/Status.h"

#include <CLI/CLI.hpp>

namespace Quivo::tool {

// The subcommands, one file each. Each function adds its own to `app`; when the command line names
// it, it runs inside `app.parse()`. A subcommand that returns has done its work and says in
// `ending`, which outlives the parse, how it went. One that does not throws: CLI::ParseError for a
// wrong call, CancellationException after a signal, std::exception with one line that a user
// understands for everything else.

/// quivo info: what an image is.
void addInfoCommand(CLI::App& app);

/// quivo convert: an image as pyramid TIFF.
void addConvertCommand(CLI::App& app, Ending& ending);

/// quivo merge: channels of several images as one pyramid TIFF.
void addMergeCommand(CLI::App& app, Ending& ending);

/// quivo split: channels or slices of an image as one pyramid TIFF each.
void addSplitCommand(CLI::App& app, Ending& ending);

/// quivo render: a picture of an image.
void addRenderCommand(CLI::App& app, Ending& ending);

/// quivo read: the values of a region.
void addReadCommand(CLI::App& app, Ending& ending);

/// quivo verify: whether a file is sound.
void addVerifyCommand(CLI::App& app, Ending& ending);

/// quivo compare: whether two images are equal.
void addCompareCommand(CLI::App& app, Ending& ending);

}  // namespace Quivo::tool
