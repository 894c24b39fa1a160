#include "options/Input.h"

#include "options/Arguments.h"
#include "options/Channels.h"
#include "options/InputName.h"

#include <quivo/chains/Formats.h>
#include <quivo/filters/ChannelFilter.h>
#include <quivo/filters/SliceFilter.h>
#include <quivo/samples/ReadSamples.h>
#include <quivo/tiff/TiffWriter.h>

#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <utility>

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

/// Whether the tool itself understands the selector, whatever the format.
bool isOwnSelector(std::string const& selector) {
    return selector.starts_with("c=") || selector.starts_with("z=");
}

}  // namespace

void OpeningOptions::addTo(CLI::App& app) {
    app.add_flag("--strict", isStrict,
                 "refuse a file of which any part cannot be understood, even beside the image");
    app.add_flag("--indices", wantsIndices, "the numbers of a palette and not its colours");
}

void OpeningOptions::addDamagedTo(CLI::App& app) {
    addChoice<bool, bool>(
        app, "--damaged", &fillsDamage, {{"fail", false}, {"fill", true}},
        "stop at a damaged tile, as without it, or fill it with the no-data value or 0 and end "
        "with status 3");
}

Input::Input(std::string const& name, OpeningOptions const& options) : name_(name) {
    InputName const parts = splitInputName(name);
    path_ = parts.path;
    std::string opened = path_;
    std::vector<std::string> own;
    for (std::string const& selector : parts.selectors) {
        if (isOwnSelector(selector)) {
            own.push_back(selector);
        } else {
            opened += "#" + selector;
        }
    }
    Format const* const format = findFormat(path_);
    bool const isFile = !format || format->prefix.empty();
    if (options.wantsIndices && isFile) opened += "#indices";
    OpenOptions how;
    how.strict = options.isStrict;
    if (options.fillsDamage) how.damage = damage_;
    parts_.push_back(openImage(opened, how));
    image_ = parts_.back().get();
    plan_ = std::make_unique<ReadPlan>(*image_);
    for (std::string const& selector : own) choosePart(selector);
}

void Input::choosePart(std::string const& selector) {
    std::string const value = selector.substr(2);
    if (selector.front() == 'c') {
        auto channels = findChannels(name_, *image_, {value});
        parts_.push_back(std::make_unique<ChannelFilter>(image_, std::move(channels), false));
    } else {
        auto const slice = parseInteger(value);
        if (!slice) throw std::runtime_error(name_ + ": #z= needs the number of a slice");
        checkSlice(*slice);
        parts_.push_back(std::make_unique<SliceFilter>(image_, *slice, false));
    }
    image_ = parts_.back().get();
}

std::optional<SampleType> Input::getStoredType() const {
    auto const* const samples = findSampleSource(*image_);
    return samples ? samples->getStoredType() : std::nullopt;
}

SampleType Input::getSampleType() const {
    auto const type = getStoredType();
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
    if (plan_->isFile() && std::filesystem::equivalent(path_, output, none)) {
        throw std::runtime_error(output + ": is the input itself, choose another output");
    }
}

std::string describeDamage(DamageLog const& damage) {
    std::size_t const count = damage.getCount();
    if (count == 0) return {};
    return std::to_string(count) +
           (count == 1 ? " damaged tile was filled (" : " damaged tiles were filled (first: ") +
           damage.getFirstMessage() + ")";
}

}  // namespace Quivo::tool
