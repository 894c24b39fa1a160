#pragma once

#include "storage/files/AtomicFile.h"

#include <quivo/writer/Progress.h>

#include <cstddef>
#include <optional>
#include <string>

namespace Quivo::tool {

/// The name of an output that means standard output.
inline constexpr char const* standardOutput = "-";

/// A file that takes its name only when it is complete (`AtomicFile`). A target that is no regular
/// file (a device, a pipe) and standard output, "-", are written to directly. One thread at a time.
class OutputFile {
public:
    /// error: std::runtime_error, one line that starts with `path`, when no file can be made there,
    /// or when there is one that is not to be replaced.
    /// error: std::runtime_error when standard output is meant and a terminal.
    OutputFile(std::string const& path, detail::Existing existing, CancellationChecker& checker);
    OutputFile(OutputFile const&) = delete;
    OutputFile& operator=(OutputFile const&) = delete;

    /// Whether bytes can be written anywhere, in any order.
    [[nodiscard]] bool isSeekable() const noexcept { return file_.has_value(); }

    /// error: std::runtime_error, one line that starts with the path, when there is less space than
    /// `numBytes` where the file grows.
    void checkSpace(double numBytes) const;

    /// Writes behind what was written so far.
    /// error: std::runtime_error, one line that starts with the path.
    void write(void const* data, std::size_t size);

    /// Writes anywhere in a file that is seekable.
    /// error: as above.
    void writeAt(long long position, void const* data, std::size_t size);

    /// Puts the file in its place. The last call.
    /// error: std::runtime_error, one line that starts with the path.
    void commit();

    /// For messages.
    [[nodiscard]] std::string const& getName() const noexcept { return name_; }

private:
    std::string name_;
    CancellationChecker& checker_;
    std::optional<detail::AtomicFile> file_;
    std::optional<detail::File> stream_;  ///< instead, where the target is written to directly
    int descriptor_ = -1;                 ///< of whichever it is
};

}  // namespace Quivo::tool
