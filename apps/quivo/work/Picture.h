#pragma once

#include <quivo/display/MixedImage.h>
#include <quivo/image/Image.h>

#include <memory>
#include <optional>
#include <vector>

namespace Quivo::tool {

class Input;
struct ShownOptions;

/// What is shown of an input: which of its channels, in what colours, from which value to which.
/// The window is chosen once, by the whole slice, so that any part of it looks the same. Plain
/// value.
struct PicturePlan {
    /// The channels that are needed, in the order of the input; empty: all.
    std::vector<long long> channels;
    /// Those that are mixed, as indices into what is needed; empty: what the input's colours say.
    std::vector<ShownChannel> mixed;
    /// The values from dark to bright of what is not mixed; nothing: its value range.
    std::optional<ValueRange<double>> window;
};

/// Reads the values of a slice where nobody says from which to which.
/// error: CLI::ValidationError, std::runtime_error, and what the input's read throws.
[[nodiscard]] PicturePlan planPicture(Input const& input, ShownOptions const& options,
                                      long long slice);

/// An image of the channels that `plan` needs as bytes of a picture: one channel of grey, three of
/// red, green and blue, or four, with an opacity that is not multiplied in. One thread at a time.
class Picture {
public:
    /// `source` outlives it.
    Picture(Image& source, PicturePlan const& plan);

    /// Of the range 0 ... 255.
    [[nodiscard]] Image& getImage() const noexcept { return *links_.back(); }

private:
    std::vector<std::unique_ptr<Image>> links_;  ///< each on the one before
};

}  // namespace Quivo::tool
