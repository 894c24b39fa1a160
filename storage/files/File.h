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

    /// Opens `path` as open(2) does. A failure shows in the descriptor, -1, and in errno.
    File(std::string path, int flags, unsigned mode = 0) noexcept;
    File(File const&) = delete;
    File& operator=(File const&) = delete;
    ~File();

    [[nodiscard]] std::string const& getPath() const noexcept { return path_; }
    [[nodiscard]] int getDescriptor() const noexcept { return descriptor_; }

    /// The size in bytes when the file was opened for reading.
    [[nodiscard]] long long getSize() const noexcept { return size_; }

    /// Reads up to `size` bytes at `position`: fewer at the end of the file, -1 on failure (errno).
    long long read(void* data, std::size_t size, long long position) const noexcept;

    /// Writes all `size` bytes at `position`; false on failure (errno).
    bool write(void const* data, std::size_t size, long long position) const noexcept;

    /// Copies `size` bytes of another file from `from` to `position`, which no one else reads
    /// meanwhile; false on failure (errno), also where the other file has fewer.
    bool copyFrom(File const& other, long long from, long long size, long long position) const;

    /// Closes the file as far as its contents are concerned: some file systems report a full disk
    /// only then. Nothing is read or written any more; a lock lasts as long as the object. Returns
    /// false on failure (errno).
    bool finish() noexcept;

private:
    std::string path_;
    int descriptor_;
    long long size_ = 0;
};

/// Throws std::runtime_error "PATH: ACTION: what errno says".
[[noreturn]] void throwSystemError(std::string const& path, std::string const& action, int error);

}  // namespace Quivo::detail
