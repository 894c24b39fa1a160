#include "options/Input.h"

#include <quivo/chains/Formats.h>
#include <quivo/samples/ReadSamples.h>
#include <quivo/tiff/TiffWriter.h>

#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace Quivo::tool {

namespace {

/// error: std::runtime_error when `index` is not in 0 ... count - 1.
void checkIndex(std::string const& input, std::string const& what, long long index,
                long long count) {
    if (index >= 0 && index < count) return;
    throw std::runtime_error(input + ": there is no " + what + " " + std::to_string(index) +
                             ", only " + what +
                             (count > 1 ? "s 0 to " + std::to_string(count - 1) : " 0"));
}

}  // namespace

Input::Input(std::string const& name) : name_(name), image_(openImage(name)), plan_(*image_) {}

SampleType Input::getSampleType() const {
    auto const* const samples = findSampleSource(*image_);
    auto const type = samples ? samples->getStoredType() : std::nullopt;
    return type ? *type : TiffWriter::chooseSampleType(image_->getValueRange());
}

void Input::checkLevel(long long level) const {
    checkIndex(name_, "level", level, image_->getNumLevels());
}

void Input::checkSlice(long long slice) const {
    checkIndex(name_, "slice", slice, image_->getExtent(0).z);
}

void Input::checkIsNot(std::string const& output) const {
    std::error_code none;  // a file that is not there yet is no other file
    if (plan_.isFile() && std::filesystem::equivalent(name_, output, none)) {
        throw std::runtime_error(output + ": is the input itself, choose another output");
    }
}

}  // namespace Quivo::tool
