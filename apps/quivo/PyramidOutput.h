#pragma once

#include "Source.h"

#include <quivo/core/ValueRange.h>
#include <quivo/filters/Filter.h>
#include <quivo/image/Image.h>
#include <quivo/samples/SampleSource.h>
#include <quivo/tiff/TiffWriter.h>
#include <quivo/writer/Progress.h>

#include <CLI/CLI.hpp>

#include <optional>
#include <span>
#include <string>
#include <vector>

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

    /// error: std::runtime_error when the output is the file of `source`.
    /// error: std::runtime_error when it exists, unless it is a file and may be replaced.
    void checkOutput(Source const& source) const;

    /// What to tell the user when the writer chooses a sample type for `range` that may not hold
    /// the samples of `source`; empty when all is well.
    [[nodiscard]] std::string getWarning(Source const& source,
                                         ValueRange<double> const& range) const;
};

/// An image about to be written: as many of its levels as are worth it, each half of the one
/// before. Passes on the samples that the image has.
class Pyramid : public Filter, public SampleSource {
public:
    /// `image` outlives it.
    Pyramid(Image& image, OutputOptions const& options);

    Vector getExtent(long long level) const override;
    long long getNumLevels() const override { return numLevels_; }
    std::optional<SampleType> getStoredType() const override;
    void openSamples(void* dst, long long level, Box const& region,
                     std::span<long long const> channels) override;

private:
    SampleSource* samples_;
    long long numLevels_;
};

/// Writes the pyramid, with its levels as they are or each computed from the one before, and shows
/// the progress and the result as far as wanted. `warning` may be empty.
/// error: CancellationException, and std::runtime_error with what failed.
void writePyramid(OutputOptions const& options, Pyramid& pyramid, bool takesLevels,
                  std::string const& warning, CancellationChecker& checker);

}  // namespace Quivo::tool
