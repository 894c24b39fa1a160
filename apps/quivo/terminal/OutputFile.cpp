#include "terminal/OutputFile.h"

#include <quivo/chains/Text.h>
#include <quivo/util/Files.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

namespace Quivo::tool {

namespace {

constexpr std::size_t maxPart = 1 << 24;

[[noreturn]] void failWriting(std::string const& name, int error) {
    throw std::runtime_error(name +
                             ": cannot be written: " + std::generic_category().message(error));
}

}  // namespace

OutputFile::OutputFile(std::string const& path, detail::Existing existing,
                       CancellationChecker& checker)
    : name_(path), checker_(checker) {
    if (path == standardOutput) {
        name_ = "standard output";
        if (isatty(STDOUT_FILENO) == 1) {
            throw std::runtime_error(name_ +
                                     ": is a terminal and the output is binary, name a "
                                     "file or use a pipe");
        }
        descriptor_ = STDOUT_FILENO;
        return;
    }
    if (isDirectory(path)) {
        throw std::runtime_error(path + ": is a folder, a file name is needed");
    }
    if (detail::isStream(path)) {
        stream_.emplace(path, O_WRONLY | O_CLOEXEC);
        descriptor_ = stream_->getDescriptor();
        if (descriptor_ < 0) failWriting(name_, errno);
        return;
    }
    if (existing == detail::Existing::Kept && fileExists(path)) {
        throw std::runtime_error(path + ": exists already, --force replaces it");
    }
    file_.emplace(path, existing);
    descriptor_ = file_->getFile().getDescriptor();
}

void OutputFile::checkSpace(double numBytes) const {
    if (!file_) return;
    std::error_code failed;
    auto folder = std::filesystem::path(file_->getTarget()).parent_path();
    if (folder.empty()) folder = ".";
    auto const space = std::filesystem::space(folder, failed);
    if (failed || numBytes <= static_cast<double>(space.available)) return;
    throw std::runtime_error(name_ + ": needs " + toSizeText(numBytes) + " and there are " +
                             toSizeText(static_cast<double>(space.available)) + " free");
}

void OutputFile::write(void const* data, std::size_t size) {
    char const* bytes = static_cast<char const*>(data);
    while (size > 0) {
        checker_.checkCancelled();
        ssize_t const written = ::write(descriptor_, bytes, std::min(size, maxPart));
        if (written < 0 && errno != EINTR) failWriting(name_, errno);
        if (written <= 0) continue;
        bytes += written;
        size -= static_cast<std::size_t>(written);
    }
}

void OutputFile::writeAt(long long position, void const* data, std::size_t size) {
    char const* bytes = static_cast<char const*>(data);
    for (std::size_t done = 0; done < size;) {
        checker_.checkCancelled();
        std::size_t const part = std::min(size - done, maxPart);
        if (!file_->getFile().write(bytes + done, part, position + static_cast<long long>(done))) {
            failWriting(name_, errno);
        }
        done += part;
    }
}

void OutputFile::commit() {
    checker_.checkCancelled();
    if (file_) return file_->commit();
    if (stream_ && !stream_->finish()) failWriting(name_, errno);
}

}  // namespace Quivo::tool
