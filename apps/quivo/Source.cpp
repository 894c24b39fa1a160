#include "Source.h"

#include "options/Arguments.h"

#include <quivo/synthetic/MandelbrotImage.h>
#include <quivo/tiff/TiffImage.h>

#include <filesystem>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

namespace Quivo::tool {

namespace {

constexpr std::string_view mandelbrotPrefix = "mandelbrot:";

/// Parses "WIDTHxHEIGHT".
std::unique_ptr<Image> makeMandelbrotImage(std::string const& input) {
    std::string_view const size = std::string_view(input).substr(mandelbrotPrefix.size());
    std::size_t const cross = size.find('x');
    if (cross != std::string_view::npos) {
        auto const width = parseInteger(size.substr(0, cross)).value_or(0);
        auto const height = parseInteger(size.substr(cross + 1)).value_or(0);
        auto const isSide = [](long long side) {
            return side >= 1 && side <= MandelbrotImage::maxSide;
        };
        if (isSide(width) && isSide(height)) {
            return std::make_unique<MandelbrotImage>(width, height);
        }
    }
    throw std::runtime_error(input + ": the size must be two numbers from 1 to " +
                             std::to_string(MandelbrotImage::maxSide) +
                             ", as in mandelbrot:4096x4096");
}

/// error: std::runtime_error when `index` is not in 0 ... count - 1.
void checkIndex(std::string const& input, std::string const& what, long long index,
                long long count) {
    if (index >= 0 && index < count) return;
    throw std::runtime_error(input + ": there is no " + what + " " + std::to_string(index) +
                             ", only " + what +
                             (count > 1 ? "s 0 to " + std::to_string(count - 1) : " 0"));
}

}  // namespace

Source::Source(std::string const& input) : input_(input) {
    if (input.starts_with(mandelbrotPrefix)) {
        image_ = makeMandelbrotImage(input);
    } else {
        auto tiff = std::make_unique<TiffImage>(input);
        tiff_ = tiff.get();
        image_ = std::move(tiff);
    }
}

Source::~Source() = default;

bool Source::isLevelStored(long long level) const noexcept {
    return tiff_ && tiff_->isLevelStored(level);
}

long long Source::countComputedLevels(long long level) const noexcept {
    long long count = 0;
    while (tiff_ && count < level && !tiff_->isLevelStored(level - count)) ++count;
    return count;
}

bool Source::isInStrips() const noexcept { return tiff_ && !tiff_->isTiled(); }

SampleType Source::getSampleType() const noexcept {
    return tiff_ ? tiff_->getSampleType() : SampleType::U8;
}

void Source::setCancellationChecker(CancellationChecker& checker) noexcept {
    if (tiff_) tiff_->setCancellationChecker(&checker);
}

void Source::checkLevel(long long level) const {
    checkIndex(input_, "level", level, image_->getNumLevels());
}

void Source::checkSlice(long long slice) const {
    checkIndex(input_, "slice", slice, image_->getExtent(0).z);
}

void Source::checkIsNot(std::string const& output) const {
    std::error_code none;  // a file that is not there yet is no other file
    if (tiff_ && std::filesystem::equivalent(input_, output, none)) {
        throw std::runtime_error(output + ": is the input itself, choose another output");
    }
}

}  // namespace Quivo::tool
