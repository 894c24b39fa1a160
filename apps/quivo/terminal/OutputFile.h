#pragma once

#include "storage/files/AtomicFile.h"

#include <quivo/writer/Progress.h>

#include <cstddef>
#include <optional>
#include <string>

namespace Quivo::tool {

/// Writes all bytes to an open file, asking `checker` before every part.
/// error: std::runtime_error that starts with `name` when the file does not take them.
void writeAll(int file, std::string const& name, void const* data, std::size_t size,
              CancellationChecker& checker);

/// A file that takes its name only when it is complete (`AtomicFile`), and replaces what has it. A
/// target that is no regular file (a device, a pipe) is written to directly. One thread at a time.
class OutputFile {
public:
    /// error: std::runtime_error, one line that starts with `path`, when no file can be made there.
    OutputFile(std::string const& path, CancellationChecker& checker);
    OutputFile(OutputFile const&) = delete;
    OutputFile& operator=(OutputFile const&) = delete;

    /// error: std::runtime_error, one line that starts with the path.
    void write(void const* data, std::size_t size);

    /// Puts the file in its place. The last call.
    /// error: std::runtime_error, one line that starts with the path.
    void commit();

    [[nodiscard]] std::string const& getPath() const noexcept { return path_; }

private:
    std::string path_;
    CancellationChecker& checker_;
    std::optional<detail::AtomicFile> file_;
    std::optional<detail::File> stream_;  ///< instead, where the target is written to directly
};

}  // namespace Quivo::tool
