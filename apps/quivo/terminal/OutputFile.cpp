#include "terminal/OutputFile.h"

#include <quivo/util/Files.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

namespace Quivo::tool {

namespace {

[[noreturn]] void failWriting(std::string const& name, int error) {
    throw std::runtime_error(name +
                             ": cannot be written: " + std::generic_category().message(error));
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
    : path_(path), checker_(checker) {
    if (isDirectory(path)) {
        throw std::runtime_error(path + ": is a folder, a file name is needed");
    }
    if (detail::isStream(path)) {
        stream_.emplace(path, O_WRONLY | O_CLOEXEC);
        if (stream_->getDescriptor() < 0) failWriting(path_, errno);
    } else {
        file_.emplace(path, detail::Existing::Replaced);
    }
}

void OutputFile::write(void const* data, std::size_t size) {
    auto const& file = file_ ? file_->getFile() : *stream_;
    writeAll(file.getDescriptor(), path_, data, size, checker_);
}

void OutputFile::commit() {
    checker_.checkCancelled();
    if (file_) return file_->commit();
    if (!stream_->finish()) failWriting(path_, errno);
}

}  // namespace Quivo::tool
