#pragma once

// Files that are there as a whole or not at all: they grow beside their target under a name that
// says where they belong, TARGET.quivo-tmp- and two numbers, and take the target's name in the end.

#include "storage/files/File.h"

#include <memory>
#include <string>

namespace Quivo::detail {

/// What happens to a file that has the name of a new one.
enum class Existing { Replaced, Kept };

/// The file that a write to `path` makes or replaces: what symbolic links lead to, else `path`
/// itself. Everything that writes files asks here.
/// error: std::runtime_error "PATH: reason" where there is one that is to be kept.
/// error: std::runtime_error "PATH: reason" where there is something that is no regular file.
[[nodiscard]] std::string resolveTarget(std::string const& path, Existing existing);

/// Whether a device, a pipe or the like is at `path`, which is written to but never replaced.
[[nodiscard]] bool isStream(std::string const& path) noexcept;

/// A new file that takes its name with `commit` and goes away without. It is locked: files of such
/// names whose lock nobody holds are what killed processes left, and the next one that writes the
/// same target deletes them. One thread at a time.
class AtomicFile {
public:
    /// Creates the file, with the permissions of the one that it replaces.
    /// error: what `resolveTarget` throws.
    /// error: std::runtime_error "TARGET: cannot create: reason", also for a name that the target
    /// could not have.
    AtomicFile(std::string const& path, Existing existing);
    AtomicFile(AtomicFile const&) = delete;
    AtomicFile& operator=(AtomicFile const&) = delete;
    ~AtomicFile();

    /// The name that it will have.
    [[nodiscard]] std::string const& getTarget() const noexcept { return target_; }

    /// For reading and writing.
    [[nodiscard]] File const& getFile() const noexcept { return *file_; }

    /// Closes the file and gives it its name. The last call.
    /// error: std::runtime_error "TARGET: reason", also for a file to be kept that came in between.
    void commit();

private:
    std::string target_;
    Existing existing_;
    std::unique_ptr<File> file_;
    bool isCommitted_ = false;
};

/// Creates a file without a name in the folder of `target`: it ends with the object, or with the
/// process.
/// error: std::runtime_error "TARGET: reason".
[[nodiscard]] std::unique_ptr<File> createNameless(std::string const& target);

}  // namespace Quivo::detail
