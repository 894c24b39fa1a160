#include <quivo/filters/Filter.h>

namespace Quivo {

Filter::Filter(Image* source, bool takeOwnership) noexcept : source_(source, takeOwnership) {
    offerMetadata(&handedOn_);
}

Filter::~Filter() = default;

std::string Filter::getURL() const { return source_->getURL(); }

Vector Filter::getExtent(long long level) const { return source_->getExtent(level); }

long long Filter::getNumChannels() const { return source_->getNumChannels(); }

long long Filter::getNumLevels() const { return source_->getNumLevels(); }

ValueRange<double> Filter::getValueRange() const { return source_->getValueRange(); }

Vector Filter::getVoxelSize(long long level) const { return source_->getVoxelSize(level); }

Vector Filter::getTileExtent() const { return source_->getTileExtent(); }

void Filter::openRegion(double* dst, long long level, Box const& region) {
    source_->openRegion(dst, level, region);
}

std::string Filter::getSliceName(long long index) { return source_->getSliceName(index); }

std::string Filter::getChannelName(long long index) { return source_->getChannelName(index); }

std::string Filter::getId() const { return source_->getId(); }

std::string Filter::getGroupId() const { return source_->getGroupId(); }

ContentHash Filter::getHash() { return source_->getHash(); }

Image* Filter::getViewableRepresentation() { return viewableRepresentation_.get(*this); }

Metadata Filter::HandedOn::getMetadata() { return handOnMetadata(filter_, *filter_.source_); }

}  // namespace Quivo
