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

TiffWriter::TiffWriter() { tileExtent = Vector(256, 256, 1); }

TiffWriter::~TiffWriter() = default;

void TiffWriter::setFilename(std::string const& path) { filename = path; }

void TiffWriter::setReplacing(bool replaces) noexcept { replaces_ = replaces; }

void TiffWriter::setCompression(TiffCompression compression) noexcept {
    compression_ = compression;
}

void TiffWriter::setQuality(int quality) noexcept { quality_ = quality; }

void TiffWriter::setSampleType(SampleType type) noexcept { sampleType_ = type; }

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

bool TiffWriter::isReady() { return !filename.empty(); }

void TiffWriter::writeImage(ProgressMonitor* monitor, CancellationChecker* checker) {
    outcome_ = Outcome::NotRun;
    failure_.clear();
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
    plan.voxelSize = image->getVoxelSize(0);
    plan.valueRange = image->getValueRange();
    plan.channelNames = channelNames_;
    auto& pyramid = plan.pyramid;
    pyramid.tile = {tileExtent.x, tileExtent.y, image->getNumChannels(),
                    sampleType_.value_or(chooseSampleType(plan.valueRange))};
    for (long long level = 0; level < image->getNumLevels(); ++level) {
        pyramid.extents.push_back(image->getExtent(level));
    }
    pyramid.computesLevels = !useSrcImagePyramid;
    auto const numProcessors = static_cast<int>(std::thread::hardware_concurrency());
    pyramid.numThreads = numThreads_ > 0 ? numThreads_ : std::max(1, numProcessors);
    auto* const samples = findSampleSource(*srcImage);
    if (samples && samples->getStoredType() == pyramid.tile.sampleType) pyramid.samples = samples;
    pyramid.means = detail::makeMeanRule(getMetadata(*srcImage));
    if (tileExtent.z != 1) throw std::runtime_error(filename + ": tiles must be one slice deep");
    plan.check();
    session_ =
        std::make_unique<detail::PyramidSession>(pyramid, std::make_unique<detail::TiffSink>(plan));
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
