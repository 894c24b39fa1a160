#pragma once

// The directories of a TIFF or BigTIFF file as they stand there, read without libtiff: what it does
// not know or refuses is seen all the same, and no chain that loops or claims more than the file
// holds costs more than the file itself. What is damaged is missing; only a file that cannot be
// read is an error.

#include "storage/files/File.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Quivo::detail {

/// One entry of a directory with its values. Plain value.
struct DirectoryEntry {
    std::uint16_t tag = 0;
    std::uint16_t type = 0;   ///< of the values, as TIFF numbers them
    std::uint64_t count = 0;  ///< of the values
    std::string bytes;        ///< the values, little-endian whatever the file is

    /// A value as a number, rationals divided; nothing where there is none.
    [[nodiscard]] std::optional<double> getNumber(std::uint64_t index = 0) const noexcept;
    /// The same for values that count or point to something.
    [[nodiscard]] std::optional<std::uint64_t> getUnsigned(std::uint64_t index = 0) const noexcept;
    /// The first value's two numbers where it is a rational.
    [[nodiscard]] std::optional<std::pair<double, double>> getRatio() const noexcept;
    /// What stands before the first zero byte.
    [[nodiscard]] std::string_view getText() const noexcept;

    [[nodiscard]] friend bool operator==(DirectoryEntry const&, DirectoryEntry const&) = default;
};

/// The size of a value in bytes; 0 for a type that does not exist.
[[nodiscard]] std::size_t getTypeBytes(std::uint16_t type) noexcept;

/// Entries one after the other: tag, type, count and number of bytes with 2, 2, 8 and 8
/// little-endian bytes, then the bytes.
/// error: std::bad_alloc.
[[nodiscard]] std::string packEntries(std::span<DirectoryEntry const> entries);

/// The reverse. What is damaged ends it; an entry whose bytes do not fit its type and count is left
/// out.
/// error: std::bad_alloc.
[[nodiscard]] std::vector<DirectoryEntry> unpackEntries(std::string_view bytes);

/// A directory, whose values are still in the file. Plain value.
struct Directory {
    struct Place {
        std::uint16_t tag;
        std::uint16_t type;
        std::uint64_t count;
        std::uint64_t position;  ///< of the values in the file
    };

    std::uint64_t offset = 0;   ///< where it begins
    std::uint64_t next = 0;     ///< where the next one of the chain begins; 0: it is the last one
    std::vector<Place> places;  ///< one per entry, in the order of the file

    /// The first entry with the tag, null without one.
    [[nodiscard]] Place const* find(std::uint16_t tag) const noexcept;
};

/// Reads the directories of a file. One thread at a time.
class DirectoryReader {
public:
    /// error: std::runtime_error "PATH: reason", as all that reads here, when the system fails.
    explicit DirectoryReader(std::shared_ptr<File const> file);

    /// Whether the file begins as a TIFF file does.
    [[nodiscard]] bool isTiff() const noexcept { return isTiff_; }
    [[nodiscard]] bool isBig() const noexcept { return isBig_; }
    [[nodiscard]] bool isBigEndian() const noexcept { return isBigEndian_; }
    [[nodiscard]] std::uint64_t getFirstOffset() const noexcept { return firstOffset_; }
    [[nodiscard]] std::uint64_t getFileBytes() const noexcept {
        return static_cast<std::uint64_t>(file_->getSize());
    }

    /// The directory at a place; nothing where none can be.
    [[nodiscard]] std::optional<Directory> read(std::uint64_t offset);

    /// Visits the directories of a chain, each once, and none that `seen` has. Says
    /// what ended the chain before its end: "the directories form a loop"; empty when nothing did.
    std::string walk(std::uint64_t offset, std::set<std::uint64_t>& seen,
                     std::function<void(Directory const&)> const& visit);

    /// An entry with its values; nothing where the directory has none, or one whose values lie
    /// outside the file or are more than `most` bytes.
    [[nodiscard]] std::optional<DirectoryEntry> load(Directory const& directory, std::uint16_t tag,
                                                     std::uint64_t most = largestValues);
    [[nodiscard]] std::optional<DirectoryEntry> load(Directory::Place const& place,
                                                     std::uint64_t most = largestValues);

    /// The value of an entry; nothing where there is none.
    [[nodiscard]] std::optional<double> getNumber(Directory const& directory, std::uint16_t tag);
    [[nodiscard]] std::optional<std::uint64_t> getUnsigned(Directory const& directory,
                                                           std::uint16_t tag);
    /// The text of an entry, empty where there is none; of a longer one the beginning.
    [[nodiscard]] std::string getText(Directory const& directory, std::uint16_t tag,
                                      std::uint64_t most = largestValues);

    /// The entries of a directory beside the chain, such as that of EXIF: all that can be loaded.
    [[nodiscard]] std::vector<DirectoryEntry> loadAll(std::uint64_t offset);

private:
    static constexpr std::uint64_t largestValues = std::uint64_t{64} << 20;

    /// `size` bytes of the file; null where it has less, or more was read than an honest file asks
    /// for. Valid until the next call.
    std::byte const* fetch(std::uint64_t position, std::uint64_t size);
    [[nodiscard]] std::uint64_t getInteger(std::byte const* bytes, std::size_t size) const noexcept;

    std::shared_ptr<File const> file_;
    std::vector<std::byte> window_;  ///< the bytes of the file from `windowStart_` on
    std::uint64_t windowStart_ = 0;
    std::uint64_t budget_;  ///< how many bytes more may be asked for
    bool isTiff_ = false;
    bool isBig_ = false;
    bool isBigEndian_ = false;
    std::uint64_t firstOffset_ = 0;
};

}  // namespace Quivo::detail
