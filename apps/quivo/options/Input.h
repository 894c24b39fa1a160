#pragma once

#include <quivo/chains/ReadPlan.h>
#include <quivo/image/Image.h>
#include <quivo/samples/SampleType.h>

#include <memory>
#include <string>

namespace Quivo::tool {

/// What every subcommand's help says about INPUT.
inline constexpr char const* inputHelp =
    "a TIFF file, or mandelbrot:WIDTHxHEIGHT for a computed image of that size";

/// The image that INPUT names, and how it is best read. One thread at a time.
class Input {
public:
    /// error: std::runtime_error, one line that starts with `name`, when it cannot be opened.
    explicit Input(std::string const& name);

    [[nodiscard]] std::string const& getName() const noexcept { return name_; }

    [[nodiscard]] Image& getImage() const noexcept { return *image_; }

    [[nodiscard]] ReadPlan const& getPlan() const noexcept { return plan_; }

    /// The type of the samples; where there are none, the one that holds the value range.
    [[nodiscard]] SampleType getSampleType() const;

    /// error: std::runtime_error when `level` or `slice` does not exist; the message tells the
    /// valid ones.
    void checkLevel(long long level) const;
    void checkSlice(long long slice) const;

    /// error: std::runtime_error when `output` is the file that is being read, under whatever name.
    void checkIsNot(std::string const& output) const;

private:
    std::string name_;
    std::unique_ptr<Image> image_;
    ReadPlan plan_;
};

}  // namespace Quivo::tool
