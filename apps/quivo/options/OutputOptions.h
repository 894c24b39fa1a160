#pragma once

#include "options/Input.h"

#include <quivo/core/ValueRange.h>
#include <quivo/samples/SampleType.h>
#include <quivo/tiff/TiffWriter.h>

#include <CLI/CLI.hpp>

#include <optional>
#include <string>

namespace Quivo::tool {

/// The options of every subcommand that writes a pyramid TIFF.
struct OutputOptions {
    std::string output;
    long long tileSide = 256;
    TiffCompression compression = TiffCompression::Deflate;
    long long quality = 90;
    bool allLevels = false;
    std::optional<SampleType> sampleType;
    long long numThreads = 0;
    bool force = false;
    bool quiet = false;

    /// Adds all but the name of the output to `app`; this object outlives the parse.
    void addTo(CLI::App& app);

    /// error: std::runtime_error when the output is the file of `input`.
    /// error: std::runtime_error when it exists, unless it is a file and may be replaced.
    void checkOutput(Input const& input) const;

    /// What to tell the user when the writer chooses a sample type for `range` that may not hold
    /// the samples of `input`; empty when all is well.
    [[nodiscard]] std::string getWarning(Input const& input, ValueRange<double> const& range) const;
};

}  // namespace Quivo::tool
