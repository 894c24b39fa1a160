#include "File.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace Quivo::detail {

namespace {

// Linux moves at most this much in one call; asking for less keeps the loops honest elsewhere.
constexpr std::size_t maxTransfer = std::size_t{1} << 30;

/// `transfer(data, size, position)` until all is moved, nothing more comes, or it fails.
template <typename Transfer, typename Byte>
long long transferAll(Transfer transfer, Byte* data, std::size_t size, long long position) {
    std::size_t done = 0;
    while (done < size) {
        auto const part = std::min(size - done, maxTransfer);
        auto const moved = transfer(data + done, part, position + static_cast<long long>(done));
        if (moved < 0 && errno == EINTR) continue;
        if (moved < 0) return -1;
        if (moved == 0) break;
        done += static_cast<std::size_t>(moved);
    }
    return static_cast<long long>(done);
}

/// `path` with its file name cut so that something can be added to it.
std::string shortened(std::string const& path) {
    constexpr std::size_t longestName = 200;
    auto const slash = path.rfind('/');
    auto const name = slash == std::string::npos ? 0 : slash + 1;
    return path.substr(0, name + std::min(path.size() - name, longestName));
}

}  // namespace

void throwSystemError(std::string const& path, std::string const& action, int error) {
    throw std::runtime_error(path + ": " + action + ": " +
                             std::generic_category().message(error == 0 ? EIO : error));
}

std::shared_ptr<File const> File::openForReading(std::string const& path) {
    // Not blocking: opening a pipe without a writer would wait for one.
    int const descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0) throwSystemError(path, "cannot open", errno);
    std::shared_ptr<File> file(new File(path, descriptor));
    struct stat status {};
    if (::fstat(descriptor, &status) != 0) throwSystemError(path, "cannot open", errno);
    if (S_ISDIR(status.st_mode)) throwSystemError(path, "cannot open", EISDIR);
    if (!S_ISREG(status.st_mode)) throw std::runtime_error(path + ": not a regular file");
    file->size_ = status.st_size;
    return file;
}

std::unique_ptr<File> File::createBeside(std::string const& target) {
    static std::atomic<unsigned> counter{0};
    std::string const stem = shortened(target) + ".quivo-tmp-" + std::to_string(::getpid()) + "-";
    // What replaces a private file is private from the start.
    struct stat status {};
    bool const replaces = ::stat(target.c_str(), &status) == 0;
    for (;;) {
        std::string path = stem + std::to_string(counter++);
        auto const flags = O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC;
        int const descriptor = ::open(path.c_str(), flags, replaces ? 0600 : 0666);
        if (descriptor < 0 && errno == EEXIST) continue;
        if (descriptor < 0) throwSystemError(target, "cannot create", errno);
        std::unique_ptr<File> file(new File(std::move(path), descriptor));
        file->isTemporary_ = true;
        if (replaces && ::fchmod(descriptor, status.st_mode & 07777) != 0) {
            throwSystemError(target, "cannot create", errno);
        }
        return file;
    }
}

File::File(std::string path, int descriptor) noexcept
    : path_(std::move(path)), descriptor_(descriptor) {}

File::~File() {
    if (isTemporary_) unlink();
    if (descriptor_ >= 0) ::close(descriptor_);
}

long long File::read(void* data, std::size_t size, long long position) const noexcept {
    auto const readSome = [this](std::byte* part, std::size_t partSize, long long partPosition) {
        return ::pread(descriptor_, part, partSize, partPosition);
    };
    return transferAll(readSome, static_cast<std::byte*>(data), size, position);
}

bool File::write(void const* data, std::size_t size, long long position) const noexcept {
    auto const writeSome = [this](std::byte const* part, std::size_t partSize,
                                  long long partPosition) {
        return ::pwrite(descriptor_, part, partSize, partPosition);
    };
    auto const* bytes = static_cast<std::byte const*>(data);
    return transferAll(writeSome, bytes, size, position) == static_cast<long long>(size);
}

void File::unlink() noexcept {
    ::unlink(path_.c_str());
    isTemporary_ = false;
}

void File::renameTo(std::string const& target) {
    // Some file systems report a full disk only now.
    if (::close(std::exchange(descriptor_, -1)) != 0)
        throwSystemError(target, "cannot write", errno);
    if (std::rename(path_.c_str(), target.c_str()) != 0) {
        throwSystemError(target, "cannot replace", errno);
    }
    isTemporary_ = false;
}

}  // namespace Quivo::detail
