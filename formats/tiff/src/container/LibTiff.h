#pragma once

// The one place that includes libtiff. A handle never uses libtiff's process-wide handlers: what it
// has to say is kept with the handle and becomes the text of an exception.

#include "storage/files/File.h"

#include <tiffio.h>

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace Quivo::detail {

/// The bytes under a TIFF handle. One thread at a time.
class TiffStream {
public:
    TiffStream() = default;
    TiffStream(TiffStream const&) = delete;
    TiffStream& operator=(TiffStream const&) = delete;
    virtual ~TiffStream() = default;

    virtual long long readAt(void* data, std::size_t size, long long position) = 0;
    virtual bool writeAt(void const* data, std::size_t size, long long position) = 0;
    [[nodiscard]] virtual long long getSize() const = 0;
    /// The whole content in memory, or null where it is not to be had so.
    virtual std::byte* map() { return nullptr; }

    long long position = 0;
    int error = 0;  ///< errno of the first failure
    /// How many more bytes may be read; what asks for more than that is a damaged file.
    long long readBudget = std::numeric_limits<long long>::max();
};

/// A file that others read too; with `mapped`, strips are decoded straight out of the page cache.
class FileReadStream : public TiffStream {
public:
    FileReadStream(std::shared_ptr<File const> file, bool mapped);
    ~FileReadStream() override;

    long long readAt(void* data, std::size_t size, long long position) override;
    bool writeAt(void const* data, std::size_t size, long long position) override;
    [[nodiscard]] long long getSize() const override;
    std::byte* map() override;

    /// Reads what lies in [begin, end) from `by` bytes further on. Not for one that is mapped.
    void shift(long long begin, long long end, long long by) noexcept;

    /// Gives the memory of the mapped pages back; they are read again when needed.
    void releasePages() noexcept;

private:
    std::shared_ptr<File const> file_;
    bool mapped_;
    std::byte* mapping_ = nullptr;
    long long shiftBegin_ = 0;
    long long shiftEnd_ = 0;
    long long shiftBy_ = 0;
};

/// A new file.
class FileWriteStream : public TiffStream {
public:
    explicit FileWriteStream(File const& file) : file_(file) {}

    long long readAt(void* data, std::size_t size, long long position) override;
    bool writeAt(void const* data, std::size_t size, long long position) override;
    [[nodiscard]] long long getSize() const override { return size_; }

private:
    File const& file_;
    long long size_ = 0;
};

/// A TIFF in memory.
class MemoryStream : public TiffStream {
public:
    std::vector<std::byte> bytes;

    long long readAt(void* data, std::size_t size, long long position) override;
    bool writeAt(void const* data, std::size_t size, long long position) override;
    [[nodiscard]] long long getSize() const override;
};

/// An open TIFF handle. One thread at a time.
class TiffHandle {
public:
    /// `mode` is libtiff's; `name` is what messages start with.
    /// error: std::runtime_error "NAME: reason".
    TiffHandle(std::unique_ptr<TiffStream> stream, std::string name, char const* mode);
    TiffHandle(TiffHandle const&) = delete;
    TiffHandle& operator=(TiffHandle const&) = delete;
    ~TiffHandle();

    [[nodiscard]] TIFF* get() const noexcept { return tiff_; }
    [[nodiscard]] std::string const& getName() const noexcept { return name_; }
    [[nodiscard]] TiffStream& getStream() const noexcept { return *stream_; }

    /// Throws std::runtime_error "NAME: what went wrong" unless `success` and no read or write has
    /// failed: what the system said, else `otherwise` with what libtiff said first behind it.
    void check(bool success, std::string const& otherwise);

    /// Throws like `check` when the codec has warned that a tile or strip is smaller than its
    /// place.
    void checkComplete();

    /// Throws std::runtime_error "NAME: text".
    [[noreturn]] void fail(std::string const& text) const;

    /// Sets a tag of the current directory.
    template <typename... Values>
    void set(std::uint32_t tag, Values... values) {
        check(TIFFSetField(tiff_, tag, values...) != 0, "cannot set tag " + std::to_string(tag));
    }

    /// The value of a tag that the current directory has, or `otherwise`.
    template <typename T>
    [[nodiscard]] T getOr(std::uint32_t tag, T otherwise) const {
        T value{};
        return TIFFGetField(tiff_, tag, &value) ? value : otherwise;
    }

    /// The same for tags that have a default by TIFF 6.0.
    template <typename T>
    [[nodiscard]] T getDefaulted(std::uint32_t tag) const {
        T value{};
        TIFFGetFieldDefaulted(tiff_, tag, &value);
        return value;
    }

    /// Writes what is left and closes; the destructor alone drops errors.
    /// error: std::runtime_error "NAME: reason".
    void close();

private:
    static int keepError(TIFF*, void* self, char const* module, char const* format, va_list values);
    static int keepWarning(TIFF*, void* self, char const* module, char const* format,
                           va_list values);
    void keepMessage(char const* module, std::string text);

    std::unique_ptr<TiffStream> stream_;
    std::string name_;
    std::string message_;
    bool isIncomplete_ = false;
    TIFF* tiff_ = nullptr;
};

}  // namespace Quivo::detail
