#pragma once

#include <quivo/core/Box.h>

#include <optional>
#include <string>

namespace Quivo {
class CancellationChecker;
class Image;
class ProgressMonitor;
}  // namespace Quivo

namespace Quivo::tool {

class OutputFile;

enum class PictureFormat { Png, Jpeg };

/// The format that a name's suffix says, in any case of its letters; nothing where none does.
[[nodiscard]] std::optional<PictureFormat> findPictureFormat(std::string const& path);

/// Checks that a picture of `region` with so many channels can be written.
/// error: std::runtime_error that starts with `output`.
void checkPicture(PictureFormat format, std::string const& output, Box const& region,
                  long long numChannels);

/// Writes a region of an image of the range 0 ... 255 with one, three or four channels;
/// `maxBandHeight` rows of it are read at once at most. A JPEG, which knows no opacity, has the
/// picture on white.
/// error: std::runtime_error when the file does not take it, and what the image's read throws.
void writePicture(OutputFile& file, PictureFormat format, int quality, Image& image,
                  long long level, Box const& region, long long maxBandHeight,
                  ProgressMonitor& progress, CancellationChecker& checker);

}  // namespace Quivo::tool
