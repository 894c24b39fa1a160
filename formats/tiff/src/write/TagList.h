#pragma once

// Directories as they are written: libtiff encodes tiles and never sees the file, because it knows
// neither every tag of a source nor where an overview, a sub-directory or the first byte of a tile
// has to stand. Files are little-endian everywhere.

#include "container/Directory.h"

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Quivo::detail {

/// How offsets are written. Plain value.
struct TiffForm {
    bool isBig = false;  ///< BigTIFF, with offsets of 64 bits

    [[nodiscard]] std::uint64_t getHeaderBytes() const noexcept { return isBig ? 16 : 8; }
    [[nodiscard]] std::uint64_t getOffsetBytes() const noexcept { return isBig ? 8 : 4; }
    /// The type of values that point to tiles, and of those that point to directories.
    ///@{
    [[nodiscard]] std::uint16_t getOffsetType() const noexcept;
    [[nodiscard]] std::uint16_t getDirectoryType() const noexcept;
    ///@}

    /// The first bytes of a file whose first directory is at `first`.
    [[nodiscard]] std::string makeHeader(std::uint64_t first) const;
    /// An offset as it stands in the file.
    [[nodiscard]] std::string makeOffset(std::uint64_t value) const;
};

/// The fraction nearest to a positive number among those of 32 bits; 0/0 where none is near.
[[nodiscard]] std::array<std::uint32_t, 2> toRational(double value) noexcept;

/// The entries of a directory, in the order in which their values are to lie behind it; each tag
/// once. Plain value.
class TagList {
public:
    void addShort(std::uint16_t tag, std::uint16_t value) { addShorts(tag, {&value, 1}); }
    void addShorts(std::uint16_t tag, std::span<std::uint16_t const> values);
    void addLong(std::uint16_t tag, std::uint32_t value);
    /// As 16 bits where that is enough.
    void addSize(std::uint16_t tag, long long value);
    void addDoubles(std::uint16_t tag, std::span<double const> values);
    void addRationals(std::uint16_t tag, std::span<std::array<std::uint32_t, 2> const> values);
    /// A text with one zero byte behind it; one that ends with zero bytes stays as it is.
    void addText(std::uint16_t tag, std::string_view text);
    /// Values as their bytes.
    void add(std::uint16_t tag, std::uint16_t type, std::string_view bytes);
    void add(DirectoryEntry entry);
    void add(TagList const& others);
    /// Integers of a type of 16, 32 or 64 bits.
    void addIntegers(std::uint16_t tag, std::uint16_t type, std::span<std::uint64_t const> values);

    [[nodiscard]] std::vector<DirectoryEntry> const& getEntries() const noexcept {
        return entries_;
    }
    [[nodiscard]] bool has(std::uint16_t tag) const noexcept;
    /// The bytes of all values.
    [[nodiscard]] std::uint64_t getValueBytes() const noexcept;

private:
    std::vector<DirectoryEntry> entries_;
};

/// A directory as it stands at a place of a file: the table, the offset of the next directory, the
/// values that do not fit into the table.
class DirectoryBlock {
public:
    /// `position` is even.
    DirectoryBlock(TagList const& tags, TiffForm form, std::uint64_t position,
                   std::uint64_t next = 0);

    [[nodiscard]] std::uint64_t getPosition() const noexcept { return position_; }
    [[nodiscard]] std::string const& getBytes() const noexcept { return bytes_; }

    /// Where in the file the offset of the next directory stands, and where the values of a tag do
    /// that the directory has.
    ///@{
    [[nodiscard]] std::uint64_t getNextPlace() const noexcept { return nextPlace_; }
    [[nodiscard]] std::uint64_t getValuePlace(std::uint16_t tag) const;
    ///@}

    /// The bytes that it takes, and that of an empty list of values for the table alone.
    [[nodiscard]] static std::uint64_t measure(TagList const& tags, TiffForm form) noexcept;

private:
    TiffForm form_;
    std::uint64_t position_;
    std::uint64_t nextPlace_ = 0;
    std::string bytes_;
    std::vector<std::pair<std::uint16_t, std::uint64_t>> places_;  ///< of the values of tags
};

}  // namespace Quivo::detail
