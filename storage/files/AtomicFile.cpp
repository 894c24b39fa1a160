#include "storage/files/AtomicFile.h"

#include <quivo/util/Files.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <vector>

namespace Quivo::detail {

namespace {

namespace fs = std::filesystem;

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

/// A new file beside `target`, locked. Whoever gets it takes its name away in the end.
/// error: std::runtime_error "TARGET: reason".
std::unique_ptr<File> createTemporary(std::string const& target) {
    static std::atomic<unsigned> counter{0};
    struct stat status {};
    bool const replaces = ::stat(target.c_str(), &status) == 0;
    // Names of temporary files are cut: they would not show it.
    if (!replaces && errno == ENAMETOOLONG) throwSystemError(target, "cannot create", errno);
    std::string const stem = temporaryStem(target);
    removeAbandoned(stem);
    for (;;) {
        auto const number = std::to_string(::getpid()) + "-" + std::to_string(counter++);
        // What replaces a private file is private from the start.
        auto file = std::make_unique<File>(stem + number, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC,
                                           replaces ? 0600 : 0666);
        if (file->getDescriptor() < 0 && errno == EEXIST) continue;
        if (file->getDescriptor() < 0) throwSystemError(target, "cannot create", errno);
        if (!lockNew(file->getDescriptor())) continue;
        // Some file systems have no permissions to set; the file is none the worse for it.
        [[maybe_unused]] int const ignored =
            replaces ? ::fchmod(file->getDescriptor(), status.st_mode & 07777) : 0;
        return file;
    }
}

}  // namespace

std::string resolveTarget(std::string const& path, Existing existing) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) return path;
    if (existing == Existing::Kept) throwSystemError(path, "cannot create", EEXIST);
    if (!S_ISREG(status.st_mode)) {
        throw std::runtime_error(path + ": is not a regular file and cannot be replaced");
    }
    std::error_code failed;
    auto const resolved = fs::canonical(path, failed);
    return failed ? path : resolved.string();
}

bool isStream(std::string const& path) noexcept {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode) &&
           !S_ISDIR(status.st_mode);
}

AtomicFile::AtomicFile(std::string const& path, Existing existing)
    : target_(resolveTarget(path, existing)),
      existing_(existing),
      file_(createTemporary(target_)) {}

AtomicFile::~AtomicFile() {
    if (!isCommitted_) ::unlink(file_->getPath().c_str());
}

void AtomicFile::commit() {
    if (!file_->finish()) throwSystemError(target_, "cannot write", errno);
    char const* const temporary = file_->getPath().c_str();
    if (existing_ == Existing::Kept) {
        // A second name is only given where there is none; then the first one goes.
        if (::link(temporary, target_.c_str()) == 0) return;
        struct stat status {};
        bool const exists = errno == EEXIST || ::lstat(target_.c_str(), &status) == 0;
        if (exists) throwSystemError(target_, "cannot create", EEXIST);
        // Not every file system has second names.
    }
    if (std::rename(temporary, target_.c_str()) != 0) {
        throwSystemError(target_, "cannot replace", errno);
    }
    isCommitted_ = true;
}

std::unique_ptr<File> createNameless(std::string const& target) {
#ifdef O_TMPFILE
    auto const folder = fs::path(target).parent_path();
    auto nameless = std::make_unique<File>(folder.empty() ? "." : folder.string(),
                                           O_RDWR | O_TMPFILE | O_CLOEXEC, 0600);
    if (nameless->getDescriptor() >= 0) return nameless;
#endif
    // Not every file system can.
    auto file = createTemporary(target);
    ::unlink(file->getPath().c_str());
    return file;
}

}  // namespace Quivo::detail
