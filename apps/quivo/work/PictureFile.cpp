#include "work/PictureFile.h"

#include "terminal/Memory.h"
#include "terminal/OutputFile.h"

#include <quivo/chains/ReadPlan.h>
#include <quivo/core/Strips.h>
#include <quivo/display/Bytes.h>
#include <quivo/display/JpegEncoder.h>
#include <quivo/display/PngEncoder.h>
#include <quivo/image/Image.h>
#include <quivo/writer/Progress.h>

#include <algorithm>
#include <cstddef>
#include <span>
#include <stdexcept>
#include <vector>

namespace Quivo::tool {

namespace {

/// The file as a sink of an encoder.
class FileSink final : public ByteSink {
public:
    explicit FileSink(OutputFile& file) noexcept : file_(file) {}
    void write(std::span<std::byte const> bytes) override {
        file_.write(bytes.data(), bytes.size());
    }

private:
    OutputFile& file_;
};

/// Rows of one, three or four channels to whichever encoder it is. One thread at a time.
class Encoder {
public:
    Encoder(PictureFormat format, ByteSink& sink, Vector const& extent, int numChannels,
            int quality)
        : isTransparent_(numChannels == 4) {
        if (format == PictureFormat::Png) {
            png_.emplace(sink, extent.x, extent.y, numChannels);
        } else {
            jpeg_.emplace(sink, extent.x, extent.y, isTransparent_ ? 3 : numChannels, quality);
            if (isTransparent_) row_.resize(static_cast<std::size_t>(3 * extent.x));
        }
    }

    void writeRow(unsigned char const* row) {
        if (png_) return png_->writeRow(row);
        if (!isTransparent_) return jpeg_->writeRow(row);
        for (std::size_t i = 0; i < row_.size(); ++i) {
            unsigned const value = row[i / 3 * 4 + i % 3], opacity = row[i / 3 * 4 + 3];
            row_[i] = static_cast<unsigned char>(
                (value * opacity + 255U * (255U - opacity) + 127U) / 255U);
        }
        jpeg_->writeRow(row_.data());
    }

    void finish() {
        if (png_) return png_->finish();
        jpeg_->finish();
    }

private:
    bool isTransparent_;
    std::optional<PngEncoder> png_;
    std::optional<JpegEncoder> jpeg_;
    std::vector<unsigned char> row_;  ///< on white
};

void writeRows(FileSink& sink, PictureFormat format, int quality, Image& image, long long level,
               Box const& region, long long maxBandHeight, ProgressMonitor& progress,
               CancellationChecker& checker) {
    Vector const extent = region.getExtent();
    auto const numChannels = static_cast<int>(image.getNumChannels());
    Vector const pieceExtent = ReadPlan::choosePieceExtent(numChannels);
    constexpr long long maxBandBytes = 1 << 26;
    // NOLINTNEXTLINE(clang-analyzer-core.DivideZero): neither a box nor a level is empty here
    long long const bandHeight = std::clamp(maxBandBytes / (extent.x * numChannels), 1LL,
                                            std::min(pieceExtent.y, maxBandHeight));
    std::vector<unsigned char> rows(
        static_cast<std::size_t>(extent.x * numChannels * std::min(bandHeight, extent.y)));
    std::vector<double> values;
    Encoder encoder(format, sink, extent, numChannels, quality);
    forEachStrip(region, 1, bandHeight, [&](Box const& band) {
        forEachStrip(band, 0, pieceExtent.x, [&](Box const& piece) {
            checker.checkCancelled();
            auto const count = static_cast<std::size_t>(piece.getSize() * numChannels);
            if (values.size() < count) values.resize(count);
            image.openRegion(values.data(), level, piece);
            Vector const size = piece.getExtent();
            interleaveBytes(values.data(), size.x, size.y, numChannels,
                            rows.data() + (piece.min.x - region.min.x) * numChannels, extent.x);
            progress.increase(piece.getSize());
        });
        for (long long y = 0; y < band.getExtent().y; ++y) {
            encoder.writeRow(rows.data() + y * extent.x * numChannels);
        }
    });
    encoder.finish();
}

}  // namespace

std::optional<PictureFormat> findPictureFormat(std::string const& path) {
    auto const hasSuffix = [&](std::string const& suffix) {
        return path.size() > suffix.size() &&
               std::equal(suffix.rbegin(), suffix.rend(), path.rbegin(), [](char a, char b) {
                   return a == (b >= 'A' && b <= 'Z' ? static_cast<char>(b - 'A' + 'a') : b);
               });
    };
    if (hasSuffix(".png")) return PictureFormat::Png;
    if (hasSuffix(".jpg") || hasSuffix(".jpeg")) return PictureFormat::Jpeg;
    return std::nullopt;
}

void checkPicture(PictureFormat format, std::string const& output, Box const& region,
                  long long numChannels) {
    bool const isPng = format == PictureFormat::Png;
    long long const maxSide = isPng ? PngEncoder::maxSide : JpegEncoder::maxSide;
    Vector const extent = region.getExtent();
    if (extent.x > maxSide || extent.y > maxSide) {
        throw std::runtime_error(output + ": a " + (isPng ? "PNG" : "JPEG") + " has at most " +
                                 std::to_string(maxSide) +
                                 " pixels on a side: choose a smaller --box or a coarser --level");
    }
    constexpr double numRowsInMemory = 8.0;  // ours, and those in which the encoder tries filters
    checkFitsIntoMemory(
        output, static_cast<double>(extent.x) * static_cast<double>(numChannels) * numRowsInMemory);
}

void writePicture(OutputFile& file, PictureFormat format, int quality, Image& image,
                  long long level, Box const& region, long long maxBandHeight,
                  ProgressMonitor& progress, CancellationChecker& checker) {
    Vector const extent = region.getExtent();
    progress.setMaxValue(extent.x * extent.y);
    FileSink sink(file);
    try {
        writeRows(sink, format, quality, image, level, region, maxBandHeight, progress, checker);
    } catch (EncodingError const& error) {
        throw std::runtime_error(file.getName() + ": " + error.what());
    }
}

}  // namespace Quivo::tool
