#pragma once

#include <quivo/writer/Progress.h>

#include <cstddef>
#include <filesystem>
#include <string>

namespace Quivo::tool {

/// Writes all bytes to an open file, asking `checker` before every part.
/// error: std::runtime_error that starts with `name` when the file does not take them.
void writeAll(int file, std::string const& name, void const* data, std::size_t size,
              CancellationChecker& checker);

/// A file that takes its name only when it is complete: until then it grows beside the target under
/// a temporary name, and without a `commit()` it goes away and an existing target stays as it was.
///
/// A target that is no regular file (a device, a pipe) is written to directly. One thread at a
/// time.
class OutputFile {
public:
    /// error: std::runtime_error, one line that starts with `path`, when no file can be made there.
    OutputFile(std::string const& path, CancellationChecker& checker);
    OutputFile(OutputFile const&) = delete;
    OutputFile& operator=(OutputFile const&) = delete;
    ~OutputFile();

    /// error: std::runtime_error, one line that starts with the path.
    void write(void const* data, std::size_t size);

    /// Puts the file in its place. The last call.
    /// error: std::runtime_error, one line that starts with the path.
    void commit();

    [[nodiscard]] std::string const& getPath() const noexcept { return path_; }

private:
    /// error: std::runtime_error with the path and the reason that the last system call gave.
    [[noreturn]] void fail() const;
    void createTemporary();

    std::string path_;
    CancellationChecker& checker_;
    std::filesystem::path target_;  ///< the path with its symbolic links resolved
    std::string temporary_;         ///< empty when the target is written to directly
    int file_ = -1;
};

}  // namespace Quivo::tool
