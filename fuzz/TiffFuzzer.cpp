// Any bytes as a TIFF file: whatever is in it, opening and reading end with pixels or with the one
// documented exception, and what can be read once reads the same again, in pieces and as samples.

#include "Fuzz.h"

#include <quivo/core/Levels.h>
#include <quivo/tiff/TiffImage.h>
#include <quivo/writer/Progress.h>

#include <sys/mman.h>
#include <unistd.h>

#include <cmath>
#include <memory>
#include <new>
#include <optional>
#include <stdexcept>
#include <vector>

namespace {

/// What new memory is full of. Pixels that change with it are those of nobody.
unsigned char freshByte = 0xAA;

void* allocateFilled(std::size_t size) {
    void* const memory = std::malloc(size > 0 ? size : 1);
    if (!memory) throw std::bad_alloc();
    return std::memset(memory, freshByte, std::min<std::size_t>(size, 1 << 20));
}

}  // namespace

void* operator new(std::size_t size) { return allocateFilled(size); }
void* operator new[](std::size_t size) { return allocateFilled(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }

/// libFuzzer has memory from the operators of its own runtime that it gives back to these.
extern "C" char const* __asan_default_options() { return "alloc_dealloc_mismatch=0"; }

namespace Quivo::Fuzzing {

namespace {

using Values = std::vector<double>;

/// A file in memory that has a path.
class MemoryFile {
public:
    MemoryFile() : descriptor_(::memfd_create("quivo-fuzz", MFD_CLOEXEC)) {
        require(descriptor_ >= 0, "the system gives files in memory");
    }

    void fill(std::uint8_t const* data, std::size_t size) const {
        require(::ftruncate(descriptor_, 0) == 0 &&
                    ::pwrite(descriptor_, data, size, 0) == static_cast<ssize_t>(size),
                "files in memory can be written");
    }

    [[nodiscard]] std::string getPath() const {
        return "/proc/self/fd/" + std::to_string(descriptor_);
    }

private:
    int descriptor_;
};

/// Stops a read that takes too many blocks: that is slow, not wrong.
class Budget : public CancellationChecker {
public:
    void checkCancelled() override {
        if (--left_ < 0) throw CancellationException();
    }
    void refill() noexcept { left_ = 100; }

private:
    int left_ = 0;
};

/// Whether two reads gave the same values: not a number is one of them.
bool isSame(Values const& a, Values const& b) {
    return std::ranges::equal(a, b, [](double x, double y) {
        return x == y ? std::signbit(x) == std::signbit(y) : std::isnan(x) && std::isnan(y);
    });
}

/// 16 bits of a float as what they say: sign, 5 bits of exponent, 10 of fraction.
struct Half {
    std::uint16_t bits;

    explicit operator double() const {
        int const exponent = bits >> 10 & 31, fraction = bits & 1023;
        double const size = exponent == 31  ? (fraction ? std::nan("") : HUGE_VAL)
                            : exponent == 0 ? std::ldexp(fraction, -24)
                                            : std::ldexp(1024 + fraction, exponent - 25);
        return bits >> 15 ? -size : size;
    }
};

/// Samples of the image's type as the doubles that they are.
template <typename T>
Values toDoubles(std::vector<std::byte> const& bytes, std::size_t count) {
    Values values;
    for (std::size_t i = 0; i < count; ++i) {
        T sample{};
        std::memcpy(&sample, bytes.data() + i * sizeof(T), sizeof(T));
        values.push_back(static_cast<double>(sample));
    }
    return values;
}

Values toDoubles(SampleType type, std::vector<std::byte> const& bytes, std::size_t count) {
    switch (type) {
        case SampleType::U8:
            return toDoubles<std::uint8_t>(bytes, count);
        case SampleType::U16:
            return toDoubles<std::uint16_t>(bytes, count);
        case SampleType::U32:
            return toDoubles<std::uint32_t>(bytes, count);
        case SampleType::U64:
            return toDoubles<std::uint64_t>(bytes, count);
        case SampleType::I8:
            return toDoubles<std::int8_t>(bytes, count);
        case SampleType::I16:
            return toDoubles<std::int16_t>(bytes, count);
        case SampleType::I32:
            return toDoubles<std::int32_t>(bytes, count);
        case SampleType::I64:
            return toDoubles<std::int64_t>(bytes, count);
        case SampleType::F16:
            return toDoubles<Half>(bytes, count);
        case SampleType::F32:
            return toDoubles<float>(bytes, count);
        case SampleType::F64:
            break;
    }
    return toDoubles<double>(bytes, count);
}

void checkMessage(std::string const& path, std::runtime_error const& error) {
    std::string const text = error.what();
    require(text.starts_with(path + ": ") && text.find('\n') == text.npos,
            "an error is one line that starts with the path: " + text);
}

class Examination {
public:
    Examination(std::string const& path, TiffImage& image, Choices choices)
        : path_(path), image_(image), choices_(choices) {
        image_.setCancellationChecker(&budget_);
    }

    void run() {
        checkFacts();
        if (isDear()) return;
        long long const numLevels = image_.getNumLevels();
        for (long long const level : {0LL, 1LL, 2LL, numLevels - 1, numLevels, -1LL}) {
            for (Box const& region : chooseRegions(level)) checkRegion(level, region);
        }
    }

private:
    void checkFacts() {
        Vector const extent = image_.getExtent(0);
        long long const numChannels = image_.getNumChannels();
        require(extent.x >= 1 && extent.y >= 1 && extent.z >= 1 && numChannels >= 1,
                "an image that opens has pixels");
        require(image_.getNumLevels() == computeNumPyramidLevels(extent), "levels");
        for (long long level = 0; level < image_.getNumLevels(); ++level) {
            require(image_.getExtent(level) == convertToLevel(extent, 0, level), "halved extents");
        }
        require(image_.getExtent(-1) == Vector() &&
                    image_.getExtent(image_.getNumLevels()) == Vector() &&
                    !image_.isLevelStored(-1) && image_.isLevelStored(0),
                "levels that are not there");
        Vector const tile = image_.getTileExtent();
        require(tile.x >= 1 && tile.y >= 1 && tile.z == 1, "tiles have pixels");
        auto const range = image_.getValueRange();
        require(std::isfinite(range.min) && std::isfinite(range.max) && range.min < range.max,
                "a value range is a range");
        Vector const voxel = image_.getVoxelSize(0);
        require(voxel.x >= 0 && voxel.y >= 0 && voxel.z >= 0, "a voxel size is not negative");
        require(image_.getURL() == path_ && image_.getHash() == 0, "the file itself");
        require(image_.getViewableRepresentation() != nullptr, "a view");
        for (long long index : {-1LL, 0LL, 1LL, extent.z - 1, extent.z}) {
            require(image_.getSliceName(index).size() <= 1024, "names are short");
        }
        for (long long index = 0; index < std::min(numChannels, 5LL); ++index) {
            (void)image_.getChannelName(index);
        }
        for (long long const none : {-1LL, numChannels}) {
            bool refused = false;
            try {
                (void)image_.getChannelName(none);
            } catch (std::runtime_error const&) {
                refused = true;
            }
            require(refused, "a channel that is not there has no name");
        }
    }

    /// Huge tiles are no error, but they take long: one file in sixteen is enough of them.
    bool isDear() {
        Vector const tile = image_.getTileExtent();
        auto const area = std::max(static_cast<double>(tile.x) * static_cast<double>(tile.y),
                                   static_cast<double>(image_.getExtent(0).x));
        return area * static_cast<double>(image_.getNumChannels()) > 4e6 &&
               choices_.integer(0, 15) != 0;
    }

    /// A corner, with what is outside it, and a place that the bytes choose.
    std::vector<Box> chooseRegions(long long level) {
        Vector const extent = image_.getExtent(level), last = extent - Vector(1);
        auto const within = [&](long long size) {
            return choices_.integer(0, std::max(size, 0LL));
        };
        Vector const at(within(last.x), within(last.y), within(last.z));
        // Few channels are read widely, many narrowly.
        auto const numChannels = image_.getNumChannels();
        long long const side = numChannels <= 8 ? 40 : numChannels <= 256 ? 4 : 1;
        return {Box(Vector(-1, -1, last.z), Vector(side, side, last.z)),
                Box(at, at + Vector(side, side / 2, 1))};
    }

    /// What one read gives; nothing when it failed as it may.
    template <typename Read>
    std::optional<Values> attempt(Read read) {
        budget_.refill();
        try {
            return read();
        } catch (CancellationException const&) {
            return std::nullopt;
        } catch (std::runtime_error const& error) {
            checkMessage(path_, error);
            return std::nullopt;
        }
    }

    std::optional<Values> read(TiffImage& image, long long level, Box const& region) {
        return attempt([&] {
            auto const size = image.getNumChannels() * region.getSize();
            Values values(static_cast<std::size_t>(size), -12345.0);
            image.openRegion(values.data(), level, region);
            return values;
        });
    }

    void checkRegion(long long level, Box const& region) {
        auto const whole = read(image_, level, region);
        if (!whole) return;
        auto const samples = attempt([&] {
            std::vector<std::byte> bytes(whole->size() * sizeof(double));
            image_.openSamples(bytes.data(), level, region, {});
            return toDoubles(image_.getSampleType(), bytes, whole->size());
        });
        require(!samples || isSame(*samples, *whole), "samples are the values");

        Vector const e = region.getExtent();
        for (long long const row : {0LL, e.y / 2, e.y - 1}) {
            Box const line(region.min + Vector(0, row, 0),
                           Vector(region.max.x, region.min.y + row, region.min.z));
            auto const piece = read(image_, level, line);
            if (!piece) continue;
            for (long long c = 0; c < image_.getNumChannels(); ++c) {
                auto const first = (c * e.z * e.y + row) * e.x;
                require(std::memcmp(whole->data() + first, piece->data() + c * e.x,
                                    static_cast<std::size_t>(e.x) * sizeof(double)) == 0,
                        "a row equals that of the whole");
            }
        }
        freshByte = 0x55;
        TiffImage again(path_);
        again.setCancellationChecker(&budget_);
        auto const second = read(again, level, region);
        freshByte = 0xAA;
        require(!second || isSame(*second, *whole), "the same file reads the same");
    }

private:
    std::string const& path_;
    TiffImage& image_;
    Choices choices_;
    Budget budget_;
};

}  // namespace

}  // namespace Quivo::Fuzzing

int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    using namespace Quivo;
    static Fuzzing::MemoryFile const file;
    static std::string const path = file.getPath();
    file.fill(data, size);
    std::unique_ptr<TiffImage> image;
    try {
        image = std::make_unique<TiffImage>(path);
    } catch (std::runtime_error const& error) {
        Fuzzing::checkMessage(path, error);
        return 0;
    }
    // The last bytes, which are seldom the header, also choose what is read.
    auto const numChoices = std::min<std::size_t>(size, 64);
    Fuzzing::Examination(path, *image, {data + size - numChoices, numChoices}).run();
    return 0;
}
