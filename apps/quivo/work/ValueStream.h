#pragma once

#include <quivo/core/Box.h>
#include <quivo/samples/SampleType.h>

#include <string>
#include <vector>

namespace Quivo {
class Image;
class ProgressMonitor;
}  // namespace Quivo

namespace Quivo::tool {

class OutputFile;

/// Values of an image as numbers of one type. Plain value.
struct ValueRequest {
    Image* image = nullptr;
    long long level = 0;
    Box region;
    std::vector<long long> channels;  ///< at least one, in the order wanted
    SampleType type = SampleType::F64;

    /// The bytes of all of them; as a double, because they may be more than any file holds.
    [[nodiscard]] double countBytes() const;
};

/// Writes the values, little-endian, channel after channel, slice after slice, row after row,
/// behind `header`, which is written first. Memory stays at a few dozen megabytes: where bytes can
/// go anywhere, the region is read once, in bands; otherwise once for every channel, unless it is
/// small.
/// error: std::runtime_error when the output does not take them, and what the image's read throws.
void writeValues(OutputFile& file, std::string const& header, ValueRequest const& request,
                 ProgressMonitor& progress);

/// The header of a NumPy file (format 1.0) for such values: shape (channels, z, y, x).
[[nodiscard]] std::string makeNumpyHeader(ValueRequest const& request);

/// "uint16": how NumPy calls the type.
[[nodiscard]] std::string getNumpyName(SampleType type);

}  // namespace Quivo::tool
