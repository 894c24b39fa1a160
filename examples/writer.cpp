// A writer of one's own, see docs/writer.md: all levels as bytes, tile after tile, in one file,
// which appears under its name when it is complete.

#include <quivo/Quivo.h>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace Quivo;

class RawWriter final : public ImageWriter {
public:
    enum class Outcome { NotRun, Complete, Cancelled, Failed };

    [[nodiscard]] Outcome getOutcome() const { return outcome_; }
    [[nodiscard]] std::string const& getFailure() const { return failure_; }

    void setFilename(std::string const& path) override { filename = path; }
    bool isReady() override { return !filename.empty(); }

    void writeImage(ProgressMonitor* monitor, CancellationChecker* checker) override {
        outcome_ = Outcome::NotRun;
        failure_.clear();
        ImageWriter::writeImage(monitor, checker);
        // The first cancellation check comes before anything is begun.
        if (outcome_ == Outcome::NotRun) outcome_ = Outcome::Cancelled;
    }

    void beginWriting(DownsampleOrProxy*, CancellationChecker*) override {
        file_.open(getPartName(), std::ios::binary | std::ios::trunc);
        if (!file_) throw std::runtime_error(filename + ": cannot be created");
    }

    void prepareLevel(DownsampleOrProxy*, long long) override {}

    void writeLevel(DownsampleOrProxy* image, long long level, ProgressMonitor* monitor,
                    CancellationChecker* checker) override {
        Vector const extent = image->getExtent(level);
        auto const count = static_cast<std::size_t>(tileExtent.prod() * image->getNumChannels());
        valueBuffer.resize(count);  // of the base class, like `byteBuffer`
        byteBuffer.resize(count);
        Vector corner;
        for (corner.z = 0; corner.z < extent.z; corner.z += tileExtent.z) {
            for (corner.y = 0; corner.y < extent.y; corner.y += tileExtent.y) {
                for (corner.x = 0; corner.x < extent.x; corner.x += tileExtent.x) {
                    if (checker) checker->checkCancelled();
                    // Tiles are whole: past the border the image reads as 0.
                    image->openRegion(valueBuffer.data(), level,
                                      Box(tileExtent).translated(corner));
                    std::transform(valueBuffer.begin(), valueBuffer.end(), byteBuffer.begin(),
                                   [](double value) {
                                       double const inRange = std::clamp(value, 0.0, 255.0);
                                       return static_cast<unsigned char>(inRange + 0.5);
                                   });
                    file_.write(reinterpret_cast<char const*>(byteBuffer.data()),
                                static_cast<std::streamsize>(count));
                    if (!file_) throw std::runtime_error(filename + ": cannot be written");
                    if (monitor) monitor->increase(1);
                }
            }
        }
    }

    void finalizeImage(ProgressMonitor*, CancellationChecker*) override {
        file_.close();
        if (!file_) throw std::runtime_error(filename + ": cannot be written");
    }

    void endWriting(bool aborted) override {
        if (!aborted) {
            std::filesystem::rename(getPartName(), filename);
            outcome_ = Outcome::Complete;
            return;
        }
        file_.close();
        file_.clear();
        removeFile(getPartName());
        // The exception is still being handled: it says why.
        outcome_ = Outcome::Failed;
        try {
            std::rethrow_exception(std::current_exception());
        } catch (CancellationException const&) {
            outcome_ = Outcome::Cancelled;
        } catch (std::exception const& error) {
            failure_ = error.what();
        } catch (...) {
            failure_ = filename + ": an unknown error";
        }
    }

private:
    [[nodiscard]] std::string getPartName() const { return filename + ".part"; }

    std::ofstream file_;
    Outcome outcome_ = Outcome::NotRun;
    std::string failure_;
};

/// `final`, because a monitor's destructor is not virtual: it is destroyed through its own type.
class Percent final : public ProgressMonitor {
public:
    void progressChanged() override {
        // The total is -1 until the levels are counted.
        if (getMaxValue() > 0) percent_ = 100 * getProgress() / getMaxValue();
    }
    [[nodiscard]] long long get() const { return percent_; }

private:
    long long percent_ = 0;
};

/// Lets so many checks pass.
class StopAfter final : public CancellationChecker {
public:
    explicit StopAfter(int count) : left_(count) {}
    void checkCancelled() override {
        if (left_-- == 0) throw CancellationException();
    }

private:
    int left_;
};

}  // namespace

int main() {
    std::string const path = "example_writer.raw";
    std::vector<unsigned char> const pixels(100 * 60, 9);
    RawWriter writer;
    writer.setSrcImage(new BufferImage<unsigned char>(pixels.data(), {100, 60, 1}, 1, {0, 255}, {}),
                       true);
    writer.setTileExtent({32, 32, 1});
    writer.setFilename(path);

    Percent percent;
    writer.writeImage(&percent, nullptr);
    // 100 x 60 pixels and five halvings: 4 x 2 tiles, 2 x 1, and one of each further level.
    auto const wholeSize = std::filesystem::file_size(path);
    bool good = writer.getOutcome() == RawWriter::Outcome::Complete && percent.get() == 100 &&
                wholeSize == (8 + 2 + 4) * 32 * 32;

    // A write that is stopped, or fails, leaves the file as it was and nothing beside it.
    StopAfter stop(5);  // one at the start, one for the level, three for tiles: 3 of 14 are there
    writer.writeImage(&percent, &stop);
    good = good && writer.getOutcome() == RawWriter::Outcome::Cancelled && percent.get() == 21 &&
           std::filesystem::file_size(path) == wholeSize && !fileExists(path + ".part");
    writer.setFilename("no_such_directory/image.raw");
    writer.writeImage(nullptr, nullptr);
    good = good && writer.getOutcome() == RawWriter::Outcome::Failed;

    std::printf("%s\n", writer.getFailure().c_str());
    removeFile(path);
    return good ? 0 : 1;
}
