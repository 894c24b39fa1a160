#include "work/ValueStream.h"

#include "terminal/OutputFile.h"

#include <quivo/chains/ReadPlan.h>
#include <quivo/core/Strips.h>
#include <quivo/filters/PiecewiseFilter.h>
#include <quivo/samples/ReadSamples.h>
#include <quivo/writer/Progress.h>

#include <algorithm>
#include <bit>
#include <cstddef>
#include <memory>
#include <span>

namespace Quivo::tool {

namespace {

static_assert(std::endian::native == std::endian::little,
              "the values are written as they lie in memory and promised to be little-endian");

/// What is read at once.
constexpr long long maxBandBytes = 32 << 20;

/// Calls `handle(piece)` for parts of `region` in the order of its rows, each of one slice and of
/// at most `maxBandBytes` for pixels of `pixelBytes`: whole rows, where one is not more than that.
template <typename Handler>
void forEachBand(Box const& region, long long pixelBytes, Handler handle) {
    long long const maxPixels = std::max(maxBandBytes / pixelBytes, 1LL);
    long long const width = std::min(region.getExtent().x, maxPixels);
    forEachStrip(region, 2, 1, [&](Box const& slice) {
        forEachStrip(slice, 1, std::max(maxPixels / width, 1LL),
                     [&](Box const& band) { forEachStrip(band, 0, width, handle); });
    });
}

/// Reads with an eye on interrupts and on the memory below.
class Bands {
public:
    explicit Bands(ValueRequest const& request)
        : request_(request),
          pieces_(request.image, ReadPlan::choosePieceExtent(request.image->getNumChannels()),
                  false) {}

    /// The values of a part of the region, until the next call.
    std::byte const* read(Box const& part, std::span<long long const> channels) {
        auto const numBytes = static_cast<std::size_t>(part.getSize() * std::ssize(channels) *
                                                       getSampleBytes(request_.type));
        if (size_ < numBytes) {
            values_ = std::make_unique_for_overwrite<std::byte[]>(numBytes);
            size_ = numBytes;
        }
        readSamples(pieces_, values_.get(), request_.type, request_.level, part, channels);
        return values_.get();
    }

private:
    ValueRequest const& request_;
    PiecewiseFilter pieces_;
    std::unique_ptr<std::byte[]> values_;
    std::size_t size_ = 0;
};

/// Every band goes to the places of its channels.
void writeAnywhere(OutputFile& file, long long start, ValueRequest const& request,
                   ProgressMonitor& progress) {
    Bands bands(request);
    Box const& region = request.region;
    Vector const extent = region.getExtent();
    long long const valueBytes = getSampleBytes(request.type);
    long long const numChannels = std::ssize(request.channels);
    forEachBand(region, valueBytes * numChannels, [&](Box const& band) {
        std::byte const* values = bands.read(band, request.channels);
        Vector const at = band.min - region.min;
        auto const numBytes = static_cast<std::size_t>(band.getSize() * valueBytes);
        for (long long c = 0; c < numChannels; ++c) {
            long long const row = (c * extent.z + at.z) * extent.y + at.y;
            file.writeAt(start + (row * extent.x + at.x) * valueBytes, values, numBytes);
            values += numBytes;
        }
        progress.increase(band.getSize() * numChannels);
    });
}

/// The channels of each group are read together, one group after the other.
void writeInOrder(OutputFile& file, ValueRequest const& request, long long groupSize,
                  ProgressMonitor& progress) {
    Bands bands(request);
    std::span<long long const> rest = request.channels;
    while (!rest.empty()) {
        auto const group = rest.first(std::min(static_cast<std::size_t>(groupSize), rest.size()));
        rest = rest.subspan(group.size());
        auto const write = [&](Box const& part) {
            std::byte const* const values = bands.read(part, group);
            long long const numValues = part.getSize() * std::ssize(group);
            file.write(values, static_cast<std::size_t>(numValues * getSampleBytes(request.type)));
            progress.increase(numValues);
        };
        if (group.size() > 1) {
            write(request.region);
        } else {
            forEachBand(request.region, getSampleBytes(request.type), write);
        }
    }
}

}  // namespace

double ValueRequest::countBytes() const {
    Vector const extent = region.getExtent();
    return static_cast<double>(extent.x) * static_cast<double>(extent.y) *
           static_cast<double>(extent.z) * static_cast<double>(channels.size()) *
           getSampleBytes(type);
}

void writeValues(OutputFile& file, std::string const& header, ValueRequest const& request,
                 ProgressMonitor& progress) {
    Vector const extent = request.region.getExtent();
    progress.setMaxValue(extent.prod() * std::ssize(request.channels));
    if (file.isSeekable()) {
        file.writeAt(0, header.data(), header.size());
        writeAnywhere(file, static_cast<long long>(header.size()), request, progress);
        return;
    }
    file.write(header.data(), header.size());
    // A source may decode all channels to give one: as many at a time as there is room for.
    long long const planeBytes = extent.prod() * getSampleBytes(request.type);
    writeInOrder(file, request, std::max(2 * maxBandBytes / planeBytes, 1LL), progress);
}

std::string getNumpyName(SampleType type) {
    std::string const kind =
        isInteger(type) ? toString(type).front() == 'u' ? "uint" : "int" : "float";
    return kind + std::to_string(8 * getSampleBytes(type));
}

std::string makeNumpyHeader(ValueRequest const& request) {
    Vector const extent = request.region.getExtent();
    std::string const type = toString(request.type);
    std::string const order = getSampleBytes(request.type) == 1 ? "|" : "<";
    std::string text = "{'descr': '" + order + type.front() +
                       std::to_string(getSampleBytes(request.type)) +
                       "', 'fortran_order': False, 'shape': (" +
                       std::to_string(request.channels.size()) + ", " + std::to_string(extent.z) +
                       ", " + std::to_string(extent.y) + ", " + std::to_string(extent.x) + "), }";
    // The values begin at a multiple of 64 bytes; 10 stand before the text, a line feed ends it.
    text.append(63 - (10 + text.size()) % 64, ' ');
    text += '\n';
    std::string header("\x93NUMPY\x01\x00", 8);
    header += static_cast<char>(text.size() & 0xFF);
    header += static_cast<char>(text.size() >> 8);
    return header + text;
}

}  // namespace Quivo::tool
