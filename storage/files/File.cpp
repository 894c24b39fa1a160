#include "storage/files/File.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <stdexcept>
#include <system_error>
#include <utility>
#include <vector>

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

}  // namespace

void throwSystemError(std::string const& path, std::string const& action, int error) {
    throw std::runtime_error(path + ": " + action + ": " +
                             std::generic_category().message(error == 0 ? EIO : error));
}

std::shared_ptr<File const> File::openForReading(std::string const& path) {
    // Not blocking: opening a pipe without a writer would wait for one.
    auto file = std::make_shared<File>(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (file->descriptor_ < 0) throwSystemError(path, "cannot open", errno);
    struct stat status {};
    if (::fstat(file->descriptor_, &status) != 0) throwSystemError(path, "cannot open", errno);
    if (S_ISDIR(status.st_mode)) throwSystemError(path, "cannot open", EISDIR);
    if (!S_ISREG(status.st_mode)) throw std::runtime_error(path + ": not a regular file");
    file->size_ = status.st_size;
    return file;
}

File::File(std::string path, int flags, unsigned mode) noexcept
    : path_(std::move(path)), descriptor_(::open(path_.c_str(), flags, mode)) {}

File::~File() {
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

bool File::copyFrom(File const& other, long long from, long long size, long long position) const {
    // Within the kernel where it can; not every file system can.
    while (size > 0) {
        auto source = static_cast<off64_t>(from);
        auto target = static_cast<off64_t>(position);
        auto const part = std::min(static_cast<std::size_t>(size), maxTransfer);
        auto const moved =
            ::copy_file_range(other.descriptor_, &source, descriptor_, &target, part, 0);
        if (moved < 0 && errno == EINTR) continue;
        if (moved <= 0) break;
        from += moved;
        position += moved;
        size -= moved;
    }
    if (size <= 0) return true;
    constexpr long long bufferBytes = 4 << 20;
    std::vector<std::byte> buffer(static_cast<std::size_t>(bufferBytes));
    while (size > 0) {
        auto const part = static_cast<std::size_t>(std::min(size, bufferBytes));
        errno = 0;
        auto const got = other.read(buffer.data(), part, from);
        if (got != static_cast<long long>(part)) return false;
        if (!write(buffer.data(), part, position)) return false;
        from += got;
        position += got;
        size -= got;
    }
    return true;
}

bool File::finish() noexcept {
    int const other = ::fcntl(descriptor_, F_DUPFD_CLOEXEC, 0);
    return ::close(std::exchange(descriptor_, other)) == 0;
}

}  // namespace Quivo::detail
