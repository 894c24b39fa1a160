#pragma once

#include "options/SampleTypes.h"

#include <quivo/tiff/TiffWriter.h>

#include <CLI/CLI.hpp>

#include <optional>
#include <string>

namespace Quivo::tool {

/// The options of every subcommand that writes pyramid TIFFs.
struct OutputOptions {
    TiffLayout layout = TiffLayout::Plain;
    std::optional<long long> tileSide;
    TiffCompression compression = TiffCompression::Deflate;
    std::optional<long long> quality;
    bool allLevels = false;
    TypeChoice sampleType;
    bool strips = false;
    long long numThreads = 0;
    bool force = false;
    bool quiet = false;

    /// Adds all but the name of the output to `app`; this object outlives the parse. `ownType` says
    /// what type is taken without --type.
    void addTo(CLI::App& app, std::string const& ownType);

    /// What cannot be told from one option alone, and that `output` can be such a file.
    /// error: CLI::ParseError.
    void check(std::string const& output) const;

    /// 256, and 512 for cloud optimized files, without --tile.
    [[nodiscard]] long long getTileSide() const noexcept;
};

}  // namespace Quivo::tool
