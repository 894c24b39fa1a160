// Memory and system calls that fail: the first of a run, in the next run the second, and so on
// until a run comes through. This program's own operator new, malloc, pwrite and so on stand before
// the system's.

#include <quivo/Quivo.h>
#include <quivo/tiff/TiffImage.h>
#include <quivo/tiff/TiffWriter.h>

#include "TiffMaker.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdarg>

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QUIVO_SANITIZED 1
#endif
#endif

namespace {

enum class Call { None, Allocate, Open, Read, Write, Close, Rename, Lock };

std::atomic<Call> failingCall{Call::None};
std::atomic<int> callsUntilFailure{0};
std::atomic<std::size_t> longestWrite{std::size_t(-1)};
std::atomic<std::size_t> largestBlock{0};

bool fails(Call call, int error) {
    if (failingCall != call || --callsUntilFailure != 0) return false;
    errno = error;
    return true;
}

}  // namespace

[[gnu::noinline]] void* operator new(std::size_t size) {
    void* const memory = fails(Call::Allocate, ENOMEM) ? nullptr : std::malloc(size > 0 ? size : 1);
    if (!memory) throw std::bad_alloc();
    return memory;
}
[[gnu::noinline]] void* operator new[](std::size_t size) { return operator new(size); }
[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete[](void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }

extern "C" {
#ifndef QUIVO_SANITIZED  // sanitizers have a malloc of their own
void* __libc_malloc(std::size_t);
void* __libc_calloc(std::size_t, std::size_t);

// Only our own libraries have to bear it: libtiff 4.5 itself crashes when its memory for a
// directory is refused.
static bool failsToAllocate(std::size_t size, void const* caller) {
    largestBlock = std::max(largestBlock.load(), size);
    Dl_info from{};
    return failingCall == Call::Allocate && ::dladdr(caller, &from) != 0 &&
           std::string_view(from.dli_fname).find("libQuivo") != std::string_view::npos &&
           fails(Call::Allocate, ENOMEM);
}
void* malloc(std::size_t size) noexcept {
    return failsToAllocate(size, __builtin_return_address(0)) ? nullptr : __libc_malloc(size);
}
void* calloc(std::size_t count, std::size_t size) noexcept {
    return failsToAllocate(count * size, __builtin_return_address(0)) ? nullptr
                                                                      : __libc_calloc(count, size);
}
#endif

#pragma GCC visibility push(default)
int open(char const* path, int flags, ...) {
    va_list values;
    va_start(values, flags);
    auto const mode = va_arg(values, mode_t);
    va_end(values);
    if (fails(Call::Open, EMFILE)) return -1;
    return static_cast<int>(::syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}
ssize_t pread(int file, void* data, std::size_t size, off_t position) {
    return fails(Call::Read, EIO) ? -1 : ::syscall(SYS_pread64, file, data, size, position);
}
ssize_t pwrite(int file, void const* data, std::size_t size, off_t position) {
    if (fails(Call::Write, ENOSPC)) return -1;
    return ::syscall(SYS_pwrite64, file, data, std::min(size, longestWrite.load()), position);
}
int close(int file) {
    auto const result = static_cast<int>(::syscall(SYS_close, file));
    return fails(Call::Close, EDQUOT) ? -1 : result;
}
int rename(char const* from, char const* to) noexcept {
    if (fails(Call::Rename, EACCES)) return -1;
    return static_cast<int>(::syscall(SYS_renameat, AT_FDCWD, from, AT_FDCWD, to));
}
int flock(int file, int operation) noexcept {
    return fails(Call::Lock, ENOLCK) ? -1 : static_cast<int>(::syscall(SYS_flock, file, operation));
}
#pragma GCC visibility pop
}

namespace Quivo::Testing {

namespace {

/// Runs `action`, which tells whether it succeeded, with a later call failing each time until none
/// fails; calls `check(success)` after each. Returns how many calls failed.
template <typename Action, typename Check>
int failEach(Call call, Action action, Check check) {
    for (int n = 1;; ++n) {
        bool succeeded = false;
        callsUntilFailure = n;
        failingCall = call;
        try {
            succeeded = action();
        } catch (std::exception const&) {
        }
        failingCall = Call::None;
        check(succeeded);
        if (::testing::Test::HasFailure() || callsUntilFailure > 0) {
            EXPECT_TRUE(succeeded) << "after " << n - 1 << " failed calls";
            return n - 1;
        }
    }
}

/// A chain through most of the library over a file, read at two levels.
struct Chain {
    explicit Chain(std::string const& path)
        : image(path),
          scaled(&image, {0, 10}, false, false),
          cached(&scaled, 1, {16, 16, 1}, false),
          small(&cached, 0.7, false),
          slice(&small, 0, false),
          bank(&slice) {
        bank.addChannel(&slice, "all", false);
    }

    Values read() {
        Values values = Testing::read(slice, 1, Box({-3, 2, 0}, {15, 12, 0}));
        auto const plane = bank.openRegion("all", Box({5, 5, 0}, {40, 30, 0}), 0);
        values.push_back(static_cast<double>(image.getVoxelSize(0).x));
        values.insert(values.end(), plane->getPtr(0),
                      plane->getPtr(0) + plane->getBounds().getSize());
        return values;
    }

    TiffImage image;
    ScaleFilter scaled;
    CachedImage cached;
    ArbitraryDownsampleFilter small;
    SliceFilter slice;
    ChannelBank bank;
};

}  // namespace

using FaultTest = TempFolder;

TEST_F(FaultTest, AReaderOutOfMemoryLosesNothing) {
    for (auto const* pages :
         {"61x45 u16 tiles:32x16 deflate 282=20000 296=3", "61x45 f64 strips:7 282=20000 296=3"}) {
        makeTiff(path, pagesOf(pages));
        Chain chain(path);
        Values const expected = chain.read();
        Values values;
        auto const startAnew = [&] { return values = Chain(path).read(), true; };
        auto const goOn = [&] { return values = chain.read(), true; };
        auto const check = [&](bool succeeded) { EXPECT_TRUE(!succeeded || values == expected); };
        auto const checkAndGoOn = [&](bool succeeded) {
            check(succeeded);
            EXPECT_EQ(chain.read(), expected);
        };
        EXPECT_GT(failEach(Call::Allocate, startAnew, check), 100);
        EXPECT_GT(failEach(Call::Allocate, goOn, checkAndGoOn), 5);
        EXPECT_GT(failEach(Call::Read, startAnew, check), 3);
    }
}

TEST_F(FaultTest, AMissOfAFullCacheNeedsNoMemory) {
    Values const pixels(64 * 64, 3.0);
    BufferImage<double> image(pixels.data(), {64, 64, 1}, 1, {0, 9}, {});
    CachedImage cache(&image, 0, {16, 16, 1}, false);
    Values values(64 * 64);
    auto const readAll = [&] {
        return cache.openRegion(values.data(), 0, Box({}, {63, 63, 0})), true;
    };
    EXPECT_TRUE(readAll());
    EXPECT_EQ(failEach(Call::Allocate, readAll, [](bool) {}), 0);
}

TEST_F(FaultTest, AFailedWriterLeavesTheOldFileAndNothingElse) {
    auto const sourcePath = folder + "/source";
    makeTiff(sourcePath, pagesOf("61x45 u8*3 rgb"));
    TiffImage source(sourcePath);
    auto const write = [&](int numThreads) {
        TiffWriter writer;
        writer.setSrcImage(&source, false);
        writer.setFilename(path);
        writer.setTileExtent({32, 16, 1});
        writer.setUseSrcImagePyramid(false);
        writer.setNumThreads(numThreads);
        writer.writeImage(nullptr, nullptr);
        return writer.getOutcome() == TiffWriter::Outcome::Complete;
    };
    ASSERT_TRUE(write(1));
    std::string const good = slurp(path);
    auto const check = [&](bool succeeded) {
        EXPECT_EQ(slurp(path) == good, succeeded);
        std::filesystem::directory_iterator const entries(folder);
        EXPECT_EQ(std::distance(begin(entries), end(entries)), 2);
        spill(path, "old");
    };
    std::tuple<Call, int, char const*> const cases[] = {
        {Call::Allocate, 100, "memory"},
        {Call::Open, 1, "no file can be made"},
        {Call::Read, 2, "a level cannot be read back"},
        {Call::Write, 5, "the disk is full"},
        {Call::Close, 1, "what was written is not there"},
        {Call::Rename, 1, "no permission"},
        {Call::Lock, 1, "no locks"},
    };
    for (auto const& [call, least, reason] : cases) {
        for (int const numThreads : {1, 3}) {
            SCOPED_TRACE(reason);
            spill(path, "old");
            EXPECT_GE(failEach(
                          call, [&] { return write(numThreads); }, check),
                      least);
        }
    }
    longestWrite = 100;
    EXPECT_TRUE(write(2)) << "a write may be short";
    longestWrite = std::size_t(-1);
    check(true);
}

TEST_F(FaultTest, ClaimsThatNoBytesBackTakeNoMemory) {
    // Tiles of 256 MB, pixels of 65535 samples, and strips of 3 GB that are read row by row.
    for (std::string const page : {"u8 deflate", "u8 lzw", "u8 packbits", "u8"}) {
        std::tuple<std::string, std::vector<std::pair<int, unsigned>>> const claims[] = {
            {page, {{TIFFTAG_TILEWIDTH, 16000}, {TIFFTAG_TILELENGTH, 16000}}},
            {page, {{TIFFTAG_SAMPLESPERPIXEL, 65535}}},
            {page + " strips:16", {{TIFFTAG_IMAGEWIDTH, 200000000}}},
        };
        for (auto const& [honest, tags] : claims) {
            makeTiff(path, pagesOf(honest));
            patchTags(path, tags);
            largestBlock = 0;
            auto const message = errorOf([&] {
                TiffImage image(path);
                double value = 0;
                image.openRegion(&value, 0, Box(Vector(1)));
            });
            expectMessage(message, path);
            EXPECT_LT(largestBlock, 1 << 20) << honest;
        }
    }
}

}  // namespace Quivo::Testing
