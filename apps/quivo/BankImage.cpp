#include "BankImage.h"

#include <quivo/core/Levels.h>

#include <algorithm>

namespace Quivo::tool {

BankImage::BankImage(ChannelBank& bank) : bank_(bank), names_(bank.createSelectionAllChannels()) {}

std::string BankImage::getURL() const { return {}; }

Vector BankImage::getExtent(long long level) const { return bank_.getImage()->getExtent(level); }

long long BankImage::getNumChannels() const { return bank_.getNumChannels(); }

long long BankImage::getNumLevels() const { return bank_.getImage()->getNumLevels(); }

ValueRange<double> BankImage::getValueRange() const {
    ValueRange<double> all = bank_.getChannel(0)->getValueRange();
    for (int c = 1; c < bank_.getNumChannels(); ++c) {
        ValueRange<double> const range = bank_.getChannel(c)->getValueRange();
        all = {std::min(all.min, range.min), std::max(all.max, range.max)};
    }
    return all;
}

Vector BankImage::getVoxelSize(long long level) const {
    return bank_.getImage()->getVoxelSize(level);
}

Vector BankImage::getTileExtent() const { return bank_.getImage()->getTileExtent(); }

void BankImage::openRegion(double* dst, long long level, Box const& region) {
    if (region.isEmpty()) return;
    for (std::string const& name : names_) {
        auto const plane = bank_.openRegion(name, region, level);
        dst = std::copy_n(plane->getPtr(0), region.getSize(), dst);
    }
}

std::string BankImage::getSliceName(long long index) {
    return bank_.getImage()->getSliceName(index);
}

std::string BankImage::getChannelName(long long index) {
    check(index >= 0 && index < getNumChannels(),
          "Invalid channel index. Cannot determine its name.");
    return names_[static_cast<std::size_t>(index)];
}

std::string BankImage::getId() const { return bank_.getImage()->getId(); }

std::string BankImage::getGroupId() const { return bank_.getImage()->getGroupId(); }

}  // namespace Quivo::tool
