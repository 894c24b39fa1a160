#include "storage/files/File.h"

#include <quivo/util/Files.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

namespace Quivo::detail {

namespace {

namespace fs = std::filesystem;

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

/// What names of temporary files for `target` begin with; long names are cut to leave room.
std::string temporaryStem(fs::path const& target) {
    constexpr std::size_t longestName = 200;
    auto const name = target.filename().string().substr(0, longestName);
    return (target.parent_path() / (name + ".quivo-tmp-")).string();
}

/// Whether `name` is `stem` with two numbers behind it.
bool isTemporary(std::string_view name, std::string_view stem) {
    if (!name.starts_with(stem)) return false;
    name.remove_prefix(stem.size());
    auto const dash = name.find('-');
    auto const isNumber = [](std::string_view text) {
        return !text.empty() && text.find_first_not_of("0123456789") == text.npos;
    };
    return dash != name.npos && isNumber(name.substr(0, dash)) && isNumber(name.substr(dash + 1));
}

/// Deletes the temporary files that nobody writes any more. What cannot be told or deleted stays.
void removeAbandoned(fs::path const& stem) {
    auto const folder = stem.has_parent_path() ? stem.parent_path() : fs::path(".");
    std::string const prefix = stem.filename().string();
    // Not a std::filesystem::directory_iterator: GCC's ends the program when memory is short.
    std::vector<std::string> names;
    getFilesInDir(names, folder.string(), true);
    for (std::string const& name : names) {
        if (!isTemporary(name, prefix)) continue;
        std::string const path = (folder / name).string();
        int const descriptor = ::open(path.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
        if (descriptor < 0) continue;
        struct stat status {};
        bool const isFile = ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
        if (isFile && ::flock(descriptor, LOCK_EX | LOCK_NB) == 0) ::unlink(path.c_str());
        ::close(descriptor);
    }
}

/// Takes the lock that a file's writer holds and that ends with its process; false when another
/// process took the file for abandoned just before. Where the file system has no locks there is
/// none, and nobody can take it.
bool lockNew(int descriptor) {
    while (::flock(descriptor, LOCK_EX) != 0 && errno == EINTR) continue;
    struct stat status {};
    return ::fstat(descriptor, &status) != 0 || status.st_nlink > 0;
}

}  // namespace

void throwSystemError(std::string const& path, std::string const& action, int error) {
    throw std::runtime_error(path + ": " + action + ": " +
                             std::generic_category().message(error == 0 ? EIO : error));
}

std::shared_ptr<File const> File::openForReading(std::string const& path) {
    // Not blocking: opening a pipe without a writer would wait for one.
    std::shared_ptr<File> file(new File(path));
    file->descriptor_ = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (file->descriptor_ < 0) throwSystemError(path, "cannot open", errno);
    struct stat status {};
    if (::fstat(file->descriptor_, &status) != 0) throwSystemError(path, "cannot open", errno);
    if (S_ISDIR(status.st_mode)) throwSystemError(path, "cannot open", EISDIR);
    if (!S_ISREG(status.st_mode)) throw std::runtime_error(path + ": not a regular file");
    file->size_ = status.st_size;
    return file;
}

std::unique_ptr<File> File::createBeside(std::string const& target) {
    static std::atomic<unsigned> counter{0};
    std::string const stem = temporaryStem(target);
    removeAbandoned(stem);
    // What replaces a private file is private from the start.
    struct stat status {};
    bool const replaces = ::stat(target.c_str(), &status) == 0;
    for (;;) {
        auto const number = std::to_string(::getpid()) + "-" + std::to_string(counter++);
        std::unique_ptr<File> file(new File(stem + number));
        auto const flags = O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC;
        file->descriptor_ = ::open(file->path_.c_str(), flags, replaces ? 0600 : 0666);
        if (file->descriptor_ < 0 && errno == EEXIST) continue;
        if (file->descriptor_ < 0) throwSystemError(target, "cannot create", errno);
        file->isTemporary_ = true;
        if (!lockNew(file->descriptor_)) continue;
        if (replaces && ::fchmod(file->descriptor_, status.st_mode & 07777) != 0) {
            throwSystemError(target, "cannot create", errno);
        }
        return file;
    }
}

std::unique_ptr<File> File::createNameless(std::string const& target) {
#ifdef O_TMPFILE
    auto const folder = fs::path(target).parent_path();
    std::unique_ptr<File> nameless(new File(target));
    nameless->descriptor_ = ::open(folder.empty() ? "." : folder.c_str(),
                                   O_RDWR | O_TMPFILE | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (nameless->descriptor_ >= 0) return nameless;
#endif
    // Not every file system can.
    auto file = createBeside(target);
    file->unlink();
    return file;
}

File::File(std::string path) noexcept : path_(std::move(path)) {}

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

void File::renameTo(std::string const& target, bool replaces) {
    // The lock lasts until the last descriptor is closed.
    int const locked = ::fcntl(descriptor_, F_DUPFD_CLOEXEC, 0);
    // Some file systems report a full disk only now.
    if (::close(std::exchange(descriptor_, locked)) != 0)
        throwSystemError(target, "cannot write", errno);
    if (!replaces) {
        // A second name is only given where there is none; then the first one goes.
        if (::link(path_.c_str(), target.c_str()) == 0) return unlink();
        struct stat status {};
        bool const exists = errno == EEXIST || ::lstat(target.c_str(), &status) == 0;
        if (exists) throwSystemError(target, "cannot create", EEXIST);
        // Not every file system has second names.
    }
    if (std::rename(path_.c_str(), target.c_str()) != 0) {
        throwSystemError(target, "cannot replace", errno);
    }
    isTemporary_ = false;
}

}  // namespace Quivo::detail
