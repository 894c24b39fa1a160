#include "terminal/OutputFile.h"

#include <cerrno>
#include <cstdlib>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Quivo::tool {

namespace {

[[noreturn]] void failWriting(std::string const& name, int error) {
    throw std::runtime_error(name +
                             ": cannot be written: " + std::generic_category().message(error));
}

/// The permissions that a file gets from a plain open().
mode_t getDefaultMode() {
    mode_t const mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

}  // namespace

void writeAll(int file, std::string const& name, void const* data, std::size_t size,
              CancellationChecker& checker) {
    constexpr std::size_t maxPart = 1 << 24;
    char const* bytes = static_cast<char const*>(data);
    while (size > 0) {
        checker.checkCancelled();
        ssize_t const written = ::write(file, bytes, size < maxPart ? size : maxPart);
        if (written < 0 && errno != EINTR) failWriting(name, errno);
        if (written <= 0) continue;
        bytes += written;
        size -= static_cast<std::size_t>(written);
    }
}

OutputFile::OutputFile(std::string const& path, CancellationChecker& checker)
    : path_(path), checker_(checker), target_(path) {
    std::error_code none;
    auto const status = std::filesystem::status(path, none);
    if (std::filesystem::is_directory(status)) {
        throw std::runtime_error(path + ": is a folder, a file name is needed");
    }
    if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
        file_ = open(path.c_str(), O_WRONLY | O_CLOEXEC);
        if (file_ < 0) fail();
        return;
    }
    if (std::filesystem::exists(status)) target_ = std::filesystem::canonical(path);
    createTemporary();
}

void OutputFile::createTemporary() {
    temporary_ = (target_.parent_path() / ".quivo-XXXXXX").string();
    file_ = mkostemp(temporary_.data(), O_CLOEXEC);
    if (file_ < 0) fail();
    struct stat existing {};
    bool const replaces = stat(target_.c_str(), &existing) == 0;
    // Some file systems have no permissions to set; the file is none the worse for it.
    [[maybe_unused]] int const ignored =
        fchmod(file_, replaces ? existing.st_mode & 07777 : getDefaultMode());
}

OutputFile::~OutputFile() {
    if (file_ < 0) return;
    close(file_);
    if (!temporary_.empty()) unlink(temporary_.c_str());
}

void OutputFile::write(void const* data, std::size_t size) {
    writeAll(file_, path_, data, size, checker_);
}

void OutputFile::commit() {
    checker_.checkCancelled();
    int const file = file_;
    file_ = -1;
    bool failed = close(file) != 0;
    if (!temporary_.empty()) {
        failed = failed || rename(temporary_.c_str(), target_.c_str()) != 0;
        if (failed) {
            int const error = errno;
            unlink(temporary_.c_str());
            failWriting(path_, error);
        }
    }
    if (failed) fail();
}

void OutputFile::fail() const { failWriting(path_, errno); }

}  // namespace Quivo::tool
