#pragma once

#include <quivo/image/Image.h>
#include <quivo/samples/SampleType.h>

#include <memory>
#include <string>

namespace Quivo {
class CancellationChecker;
class TiffImage;
}  // namespace Quivo

namespace Quivo::tool {

/// What every subcommand's help says about INPUT.
inline constexpr char const* inputHelp =
    "a TIFF file, or mandelbrot:WIDTHxHEIGHT for a computed image of that size";

/// The image that INPUT names, with what only the file behind it can tell. One thread at a time.
class Source {
public:
    /// error: std::runtime_error, one line that starts with `input`, when it cannot be opened.
    explicit Source(std::string const& input);
    ~Source();

    [[nodiscard]] std::string const& getInput() const noexcept { return input_; }

    [[nodiscard]] Image& getImage() const noexcept { return *image_; }

    /// Whether reading the level computes nothing.
    [[nodiscard]] bool isLevelStored(long long level) const noexcept;

    /// From how many levels below a level of a file is computed; 0 when it is stored or there is no
    /// file.
    [[nodiscard]] long long countComputedLevels(long long level) const noexcept;

    /// Whether there is a file whose pixels lie in strips across the whole image.
    [[nodiscard]] bool isInStrips() const noexcept;

    [[nodiscard]] SampleType getSampleType() const noexcept;

    /// Lets `checker`, which outlives all reads, stop a long one.
    void setCancellationChecker(CancellationChecker& checker) noexcept;

    /// error: std::runtime_error when `level` or `slice` does not exist; the message tells the
    /// valid ones.
    void checkLevel(long long level) const;
    void checkSlice(long long slice) const;

    /// error: std::runtime_error when `output` is the file that is being read, under whatever name.
    void checkIsNot(std::string const& output) const;

private:
    std::string input_;
    std::unique_ptr<Image> image_;
    TiffImage* tiff_ = nullptr;  ///< the same image, if it comes from a file
};

}  // namespace Quivo::tool
