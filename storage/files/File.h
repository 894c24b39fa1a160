#pragma once

#include <cstddef>
#include <memory>
#include <string>

namespace Quivo::detail {

/// An open file that is read and written at explicit positions. Any thread.
class File {
public:
    /// Opens an existing regular file for reading.
    /// error: std::runtime_error "PATH: reason".
    static std::shared_ptr<File const> openForReading(std::string const& path);

    /// Creates a file beside `target` under a new name that says where it belongs,
    /// TARGET.quivo-tmp- and two numbers, and locks it. It is deleted again in the end unless
    /// `renameTo` succeeds. Files of such names whose lock nobody holds are what killed processes
    /// left: they are deleted. error: std::runtime_error "TARGET: reason".
    static std::unique_ptr<File> createBeside(std::string const& target);

    /// Creates a file without a name in the folder of `target`: it ends with the object, or with
    /// the process.
    /// error: std::runtime_error "TARGET: reason".
    static std::unique_ptr<File> createNameless(std::string const& target);

    File(File const&) = delete;
    File& operator=(File const&) = delete;
    ~File();

    [[nodiscard]] std::string const& getPath() const noexcept { return path_; }
    [[nodiscard]] int getDescriptor() const noexcept { return descriptor_; }

    /// The size in bytes when the file was opened.
    [[nodiscard]] long long getSize() const noexcept { return size_; }

    /// Reads up to `size` bytes at `position`: fewer at the end of the file, -1 on failure (errno).
    long long read(void* data, std::size_t size, long long position) const noexcept;

    /// Writes all `size` bytes at `position`; false on failure (errno).
    bool write(void const* data, std::size_t size, long long position) const noexcept;

    /// Closes the file and gives it the name `target`; `replaces` says what happens to a file that
    /// has it already.
    /// error: std::runtime_error "TARGET: reason".
    void renameTo(std::string const& target, bool replaces);

private:
    explicit File(std::string path) noexcept;

    /// Takes the name of a temporary file away: it lives on until it is closed.
    void unlink() noexcept;

    std::string path_;
    int descriptor_ = -1;
    long long size_ = 0;
    bool isTemporary_ = false;
};

/// Throws std::runtime_error "PATH: ACTION: what errno says".
[[noreturn]] void throwSystemError(std::string const& path, std::string const& action, int error);

}  // namespace Quivo::detail
