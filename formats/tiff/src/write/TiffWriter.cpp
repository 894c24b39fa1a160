#include <quivo/tiff/TiffWriter.h>

#include "storage/pyramid/PyramidSession.h"
#include "write/TiffSink.h"

#include <quivo/image/Image.h>
#include <quivo/metadata/Metadata.h>
#include <quivo/samples/ReadSamples.h>
#include <quivo/samples/SampleSource.h>

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <thread>
#include <utility>

namespace Quivo {

namespace {

/// Tiles that are larger than the image would be encoded for nothing.
long long clampSide(long long tile, long long image) {
    constexpr long long step = 16;
    bool const isLarger = image > 0 && tile > image && tile % step == 0;
    return isLarger ? std::min(tile, (image - 1) / step * step + step) : tile;
}

/// What the writer was told of the numbers, over what the source says of them.
Metadata gatherMetadata(Image& image, std::optional<Metadata> const& told,
                        std::vector<std::string> const& names, std::string const& target) {
    auto const numChannels = std::max(image.getNumChannels(), 0LL);
    if (std::ssize(names) > numChannels) {
        throw std::runtime_error(target + ": " + std::to_string(names.size()) + " names for " +
                                 std::to_string(numChannels) + " channels");
    }
    Metadata result = told ? *told : getMetadata(image);
    result.channels.resize(static_cast<std::size_t>(numChannels));
    for (std::size_t c = 0; c < names.size(); ++c) {
        if (!names[c].empty()) result.channels[c].name = names[c];
    }
    return result;
}

}  // namespace

TiffWriter::TiffWriter() { tileExtent = Vector(256, 256, 1); }

TiffWriter::~TiffWriter() = default;

void TiffWriter::setFilename(std::string const& path) { filename = path; }

void TiffWriter::setReplacing(bool replaces) noexcept { replaces_ = replaces; }

void TiffWriter::setCompression(TiffCompression compression) noexcept {
    compression_ = compression;
}

void TiffWriter::setQuality(int quality) noexcept { quality_ = quality; }

void TiffWriter::setSampleType(SampleType type) noexcept { sampleType_ = type; }

void TiffWriter::setLayout(TiffLayout layout) noexcept { layout_ = layout; }

void TiffWriter::setMetadata(Metadata metadata) { metadata_ = std::move(metadata); }

void TiffWriter::setStrip(bool strips) noexcept { strips_ = strips; }

void TiffWriter::setChannelNames(std::vector<std::string> names) {
    channelNames_ = std::move(names);
}

void TiffWriter::setNumThreads(int count) noexcept { numThreads_ = count; }

SampleType TiffWriter::chooseSampleType(ValueRange<double> const& range) noexcept {
    for (SampleType const type : {SampleType::U8, SampleType::U16}) {
        if (range == getDefaultValueRange(type)) return type;
    }
    return SampleType::F32;
}

TiffWriter::Outcome TiffWriter::getOutcome() const noexcept { return outcome_; }

std::string const& TiffWriter::getFailure() const noexcept { return failure_; }

std::vector<std::string> const& TiffWriter::getLosses() const noexcept { return losses_; }

bool TiffWriter::isReady() { return !filename.empty(); }

void TiffWriter::writeImage(ProgressMonitor* monitor, CancellationChecker* checker) {
    outcome_ = Outcome::NotRun;
    failure_.clear();
    losses_.clear();
    ImageWriter::writeImage(monitor, checker);
    // Neither refused nor begun: the first cancellation check ended it.
    if (outcome_ == Outcome::NotRun) outcome_ = Outcome::Cancelled;
}

void TiffWriter::beginWriting(DownsampleOrProxy* image, CancellationChecker*) {
    detail::TiffPlan plan;
    plan.target = filename;
    plan.replaces = replaces_;
    plan.compression = compression_;
    plan.quality = quality_;
    plan.layout = layout_;
    plan.valueRange = image->getValueRange();
    auto* const samples = findSampleSource(*srcImage);
    auto const storedType = samples ? samples->getStoredType() : std::nullopt;
    auto const usualType = storedType.value_or(chooseSampleType(plan.valueRange));
    auto& pyramid = plan.pyramid;
    for (long long level = 0; level < image->getNumLevels(); ++level) {
        pyramid.extents.push_back(image->getExtent(level));
    }
    Vector const full = pyramid.extents.empty() ? Vector() : pyramid.extents[0];
    pyramid.tile = {clampSide(tileExtent.x, full.x), clampSide(tileExtent.y, full.y),
                    image->getNumChannels(), sampleType_.value_or(usualType)};
    pyramid.computesLevels = !useSrcImagePyramid;
    auto const numProcessors = static_cast<int>(std::thread::hardware_concurrency());
    pyramid.numThreads = numThreads_ > 0 ? numThreads_ : std::max(1, numProcessors);
    if (storedType == pyramid.tile.sampleType) pyramid.samples = samples;
    if (tileExtent.z != 1) throw std::runtime_error(filename + ": tiles must be one slice deep");
    plan.metadata = gatherMetadata(*srcImage, metadata_, channelNames_, filename);
    if (strips_) plan.metadata = detail::withoutPeople(std::move(plan.metadata));
    pyramid.means = detail::makeMeanRule(plan.metadata);
    if (plan.arePlanesApart()) pyramid.layout = detail::TileLayout::Planar;
    plan.check();
    for (long long z = 0; z < full.z && !strips_; ++z) {
        plan.sliceNames.push_back(srcImage->getSliceName(z));
    }
    auto sink = detail::TiffSink::create(plan);
    losses_ = sink->getLosses();
    session_ = std::make_unique<detail::PyramidSession>(pyramid, std::move(sink));
}

void TiffWriter::prepareLevel(DownsampleOrProxy*, long long) {}

void TiffWriter::writeLevel(DownsampleOrProxy* image, long long level, ProgressMonitor* monitor,
                            CancellationChecker* checker) {
    session_->writeLevel(*image, level, monitor, checker);
}

void TiffWriter::finalizeImage(ProgressMonitor*, CancellationChecker*) { session_->finish(); }

void TiffWriter::endWriting(bool aborted) {
    if (!aborted) {
        session_->commit();
        session_.reset();
        outcome_ = Outcome::Complete;
        return;
    }
    session_.reset();
    auto failure = detail::describeFailure(filename);
    outcome_ = failure ? Outcome::Failed : Outcome::Cancelled;
    failure_ = std::move(failure).value_or("");
}

}  // namespace Quivo
