#include <quivo/channels/ChannelBank.h>

#include <quivo/core/Levels.h>
#include <quivo/image/Image.h>

#include <cassert>
#include <utility>

namespace Quivo {

namespace {

std::string quoted(std::string const& opening, std::string const& name) {
    return opening + " (\"" + name + "\").";
}

}  // namespace

ChannelBank::ChannelBank(Image* image) : image_(image) {}

ChannelBank::~ChannelBank() = default;

Image* ChannelBank::getImage() const noexcept { return image_; }

void ChannelBank::addChannel(Image* image, std::string const& name, bool takeOwnership) {
    check(image->getExtent(0) == image_->getExtent(0),
          quoted("Filter has different extent from image", name));
    check(image->getNumChannels() == 1, quoted("Filter has multiple channels", name));
    check(!indexByName_.contains(name), quoted("Filter name already exists", name));
    entries_.push_back({name, image});
    try {
        if (!name.empty()) indexByName_.emplace(name, getNumChannels() - 1);
        if (takeOwnership) addHiddenImage(image);
    } catch (...) {
        indexByName_.erase(name);
        entries_.pop_back();
        throw;
    }
}

void ChannelBank::addChannel(Image* image, std::string name) {
    if (name.empty()) name.append("c").append(std::to_string(getNumChannels()));
    addChannel(image, name, true);
}

void ChannelBank::addHiddenImage(Image* image) { ownedImages_.try_emplace(image, image); }

int ChannelBank::getNumChannels() const noexcept { return static_cast<int>(entries_.size()); }

Image* ChannelBank::getChannel(int index) const {
    assert(index >= 0 && index < getNumChannels());
    return getChannel(entries_[static_cast<std::size_t>(index)].name);
}

Image* ChannelBank::getChannel(std::string const& name) const {
    int const index = getChannelIndex(name);
    return index < 0 ? nullptr : entries_[static_cast<std::size_t>(index)].image;
}

int ChannelBank::getChannelIndex(std::string const& name) const {
    auto const found = indexByName_.find(name);
    return found == indexByName_.end() ? -1 : found->second;
}

std::vector<std::string> ChannelBank::createSelectionAllChannels() const {
    return createSelection(0, getNumChannels());
}

std::vector<std::string> ChannelBank::createSelection(int first, int count) const {
    assert(count < 1 || (first >= 0 && first <= getNumChannels() - count));
    std::vector<std::string> names;
    names.reserve(entries_.size());
    for (int i = 0; i < count; ++i) {
        names.push_back(
            entries_[static_cast<std::size_t>(first) + static_cast<std::size_t>(i)].name);
    }
    return names;
}

std::unique_ptr<Buffer<double>> ChannelBank::openRegion(std::vector<std::string> const& names,
                                                        Box const& region, long long level) {
    std::vector<Image*> images;
    for (auto const& name : names) {
        images.push_back(getChannel(name));
        check(images.back() != nullptr, quoted("Channel does not exist", name));
    }
    auto const count = static_cast<long long>(names.size());
    auto buffer = std::make_unique<Buffer<double>>(region, level, count);
    for (long long i = 0; i < count; ++i) {
        images[static_cast<std::size_t>(i)]->openRegion(buffer->getPtr(i), level, region);
    }
    return buffer;
}

std::unique_ptr<Buffer<double>> ChannelBank::openRegion(std::initializer_list<std::string> names,
                                                        Box const& region, long long level) {
    return openRegion(std::vector<std::string>(names), region, level);
}

std::unique_ptr<Buffer<double>> ChannelBank::openRegion(std::string const& name, Box const& region,
                                                        long long level) {
    return openRegion(std::vector<std::string>{name}, region, level);
}

}  // namespace Quivo
