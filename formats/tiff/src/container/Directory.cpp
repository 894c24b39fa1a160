#include "container/Directory.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <cstring>

namespace Quivo::detail {

namespace {

constexpr std::size_t windowBytes = 4 << 10;
constexpr std::uint64_t mostEntries = 4096;  // of a directory: more than any has
constexpr std::size_t mostPages = 1 << 20;

// What TIFF calls BYTE, ASCII, SHORT, LONG, RATIONAL, SBYTE, UNDEFINED, SSHORT, SLONG, SRATIONAL,
// FLOAT, DOUBLE, IFD, (14, 15), LONG8, SLONG8, IFD8.
constexpr std::array<unsigned char, 19> typeBytes{0, 1, 1, 2, 4, 8, 1, 1, 2, 4,
                                                  8, 4, 8, 4, 0, 0, 8, 8, 8};

enum Type : std::uint16_t {
    Byte = 1,
    Ascii,
    Short,
    Long,
    Rational,
    SByte,
    Undefined,
    SShort,
    SLong,
    SRational,
    Float,
    Double,
    Ifd,
    Long8 = 16,
    SLong8,
    Ifd8
};

/// How many bytes belong together where the order of bytes is turned.
std::size_t getWordBytes(std::uint16_t type) noexcept {
    return type == Rational || type == SRational ? 4 : getTypeBytes(type);
}

std::uint64_t getLittleEndian(char const* bytes, std::size_t size) noexcept {
    std::uint64_t value = 0;
    for (std::size_t i = size; i-- > 0;) {
        value = value << 8 | static_cast<unsigned char>(bytes[i]);
    }
    return value;
}

void putLittleEndian(std::string& out, std::uint64_t value, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) out += static_cast<char>(value >> 8 * i & 0xff);
}

/// The lower `size` bytes as a number with a sign.
std::int64_t toSigned(std::uint64_t value, std::size_t size) noexcept {
    auto const shift = 64 - 8 * size;
    return static_cast<std::int64_t>(value << shift) >> shift;
}

}  // namespace

std::size_t getTypeBytes(std::uint16_t type) noexcept {
    return type < typeBytes.size() ? typeBytes[type] : 0;
}

std::optional<double> DirectoryEntry::getNumber(std::uint64_t index) const noexcept {
    auto const size = getTypeBytes(type);
    if (size == 0 || index >= bytes.size() / size) return std::nullopt;
    char const* const at = bytes.data() + index * size;
    auto const value = getLittleEndian(at, size);
    switch (type) {
        case Rational:
            return double(value & 0xffffffff) / double(value >> 32);
        case SRational:
            return double(toSigned(value & 0xffffffff, 4)) / double(toSigned(value >> 32, 4));
        case SByte:
        case SShort:
        case SLong:
        case SLong8:
            return double(toSigned(value, size));
        case Float:
            return double{std::bit_cast<float>(static_cast<std::uint32_t>(value))};
        case Double:
            return std::bit_cast<double>(value);
        default:
            return double(value);
    }
}

std::optional<std::uint64_t> DirectoryEntry::getUnsigned(std::uint64_t index) const noexcept {
    auto const size = getTypeBytes(type);
    bool const isWhole = type == Byte || type == Short || type == Long || type == Long8 ||
                         type == Ifd || type == Ifd8;
    bool const hasSign = type == SByte || type == SShort || type == SLong || type == SLong8;
    if (!(isWhole || hasSign) || index >= bytes.size() / size) return std::nullopt;
    auto const value = getLittleEndian(bytes.data() + index * size, size);
    if (hasSign && toSigned(value, size) < 0) return std::nullopt;
    return value;
}

std::optional<std::pair<double, double>> DirectoryEntry::getRatio() const noexcept {
    if ((type != Rational && type != SRational) || bytes.size() < 8) return std::nullopt;
    auto const part = [&](std::size_t at) {
        auto const value = getLittleEndian(bytes.data() + at, 4);
        return type == Rational ? double(value) : double(toSigned(value, 4));
    };
    return std::pair(part(0), part(4));
}

std::string_view DirectoryEntry::getText() const noexcept {
    std::string_view const all(bytes);
    return all.substr(0, all.find('\0'));
}

std::string packEntries(std::span<DirectoryEntry const> entries) {
    std::string out;
    for (auto const& entry : entries) {
        putLittleEndian(out, entry.tag, 2);
        putLittleEndian(out, entry.type, 2);
        putLittleEndian(out, entry.count, 8);
        putLittleEndian(out, entry.bytes.size(), 8);
        out += entry.bytes;
    }
    return out;
}

std::vector<DirectoryEntry> unpackEntries(std::string_view bytes) {
    constexpr std::size_t head = 20;
    std::vector<DirectoryEntry> entries;
    while (bytes.size() >= head) {
        DirectoryEntry entry;
        entry.tag = static_cast<std::uint16_t>(getLittleEndian(bytes.data(), 2));
        entry.type = static_cast<std::uint16_t>(getLittleEndian(bytes.data() + 2, 2));
        entry.count = getLittleEndian(bytes.data() + 4, 8);
        auto const size = getLittleEndian(bytes.data() + 12, 8);
        bytes.remove_prefix(head);
        if (size > bytes.size()) break;
        auto const typeSize = getTypeBytes(entry.type);
        entry.bytes = bytes.substr(0, size);
        bytes.remove_prefix(size);
        bool const fits = typeSize > 0 && size % typeSize == 0 && size / typeSize == entry.count;
        if (fits) entries.push_back(std::move(entry));
    }
    return entries;
}

Directory::Place const* Directory::find(std::uint16_t tag) const noexcept {
    auto const found = std::find_if(places.begin(), places.end(),
                                    [&](Place const& place) { return place.tag == tag; });
    return found == places.end() ? nullptr : &*found;
}

DirectoryReader::DirectoryReader(std::shared_ptr<File const> file) : file_(std::move(file)) {
    // Directories may share their bytes; an honest file does so rarely.
    budget_ = 16 * std::min(static_cast<std::uint64_t>(file_->getSize()), std::uint64_t{1} << 58) +
              (std::uint64_t{1} << 20);
    auto const* bytes = fetch(0, 8);
    if (!bytes) return;
    isBigEndian_ = bytes[0] == std::byte{'M'};
    bool const hasOrder = bytes[0] == bytes[1] && (isBigEndian_ || bytes[0] == std::byte{'I'});
    auto const version = getInteger(bytes + 2, 2);
    isBig_ = version == 43;
    if (!hasOrder || (version != 42 && version != 43)) return;
    if (isBig_) {
        bytes = fetch(0, 16);
        if (!bytes || getInteger(bytes + 4, 2) != 8) return;
        firstOffset_ = getInteger(bytes + 8, 8);
    } else {
        firstOffset_ = getInteger(bytes + 4, 4);
    }
    isTiff_ = true;
}

std::uint64_t DirectoryReader::getInteger(std::byte const* bytes, std::size_t size) const noexcept {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < size; ++i) {
        value = value << 8 | static_cast<std::uint64_t>(bytes[isBigEndian_ ? i : size - 1 - i]);
    }
    return value;
}

std::byte const* DirectoryReader::fetch(std::uint64_t position, std::uint64_t size) {
    auto const fileSize = static_cast<std::uint64_t>(file_->getSize());
    if (position > fileSize || size > fileSize - position || size > budget_) return nullptr;
    budget_ -= size;
    auto const windowEnd = windowStart_ + window_.size();
    if (position < windowStart_ || position + size > windowEnd) {
        auto const wanted =
            std::min(std::max<std::uint64_t>(size, windowBytes), fileSize - position);
        window_.resize(static_cast<std::size_t>(wanted));
        auto const got =
            file_->read(window_.data(), window_.size(), static_cast<long long>(position));
        auto const error = errno;
        window_.resize(static_cast<std::size_t>(std::max(got, 0LL)));
        windowStart_ = position;
        if (got < 0) throwSystemError(file_->getPath(), "cannot read", error);
        if (window_.size() < size) return nullptr;  // it became shorter
    }
    return window_.data() + (position - windowStart_);
}

std::optional<Directory> DirectoryReader::read(std::uint64_t offset) {
    if (!isTiff_ || offset == 0) return std::nullopt;
    std::size_t const countBytes = isBig_ ? 8 : 2;
    std::size_t const entryBytes = isBig_ ? 20 : 12;
    std::size_t const wordBytes = isBig_ ? 8 : 4;
    auto const* const head = fetch(offset, countBytes);
    if (!head) return std::nullopt;
    auto const count = getInteger(head, countBytes);
    if (count == 0 || count > mostEntries) return std::nullopt;
    auto const start = offset + countBytes;
    auto const* bytes = fetch(start, count * entryBytes);
    if (!bytes) return std::nullopt;
    Directory result;
    result.offset = offset;
    result.places.reserve(static_cast<std::size_t>(count));
    for (std::uint64_t i = 0; i < count; ++i, bytes += entryBytes) {
        Directory::Place place{};
        place.tag = static_cast<std::uint16_t>(getInteger(bytes, 2));
        place.type = static_cast<std::uint16_t>(getInteger(bytes + 2, 2));
        place.count = getInteger(bytes + 4, wordBytes);
        auto const size = getTypeBytes(place.type);
        bool const isInside = size == 0 || place.count <= wordBytes / size;
        place.position = isInside ? start + i * entryBytes + 4 + wordBytes
                                  : getInteger(bytes + 4 + wordBytes, wordBytes);
        result.places.push_back(place);
    }
    // A file that ends here has no further directory.
    auto const* const next = fetch(start + count * entryBytes, wordBytes);
    if (next) result.next = getInteger(next, wordBytes);
    return result;
}

std::string DirectoryReader::walk(std::uint64_t offset, std::set<std::uint64_t>& seen,
                                  std::function<void(Directory const&)> const& visit) {
    for (std::size_t pages = 0; offset != 0; ++pages) {
        if (!seen.insert(offset).second) return "the directories form a loop";
        if (pages == mostPages) return "there are too many directories";
        auto const directory = read(offset);
        if (!directory) return "a directory is damaged";
        visit(*directory);
        offset = directory->next;
    }
    return {};
}

std::optional<DirectoryEntry> DirectoryReader::load(Directory const& directory, std::uint16_t tag,
                                                    std::uint64_t most) {
    auto const* const place = directory.find(tag);
    return place ? load(*place, most) : std::nullopt;
}

std::optional<DirectoryEntry> DirectoryReader::load(Directory::Place const& place,
                                                    std::uint64_t most) {
    auto const size = getTypeBytes(place.type);
    if (size == 0 || place.count > most / size) return std::nullopt;
    auto const* const bytes = fetch(place.position, place.count * size);
    if (!bytes) return std::nullopt;
    DirectoryEntry entry{place.tag, place.type, place.count, {}};
    entry.bytes.assign(reinterpret_cast<char const*>(bytes),
                       static_cast<std::size_t>(place.count * size));
    auto const word = getWordBytes(place.type);
    if (isBigEndian_ && word > 1) {
        for (auto at = entry.bytes.begin(); at != entry.bytes.end();) {
            std::reverse(at, at + static_cast<std::ptrdiff_t>(word));
            at += static_cast<std::ptrdiff_t>(word);
        }
    }
    return entry;
}

std::optional<double> DirectoryReader::getNumber(Directory const& directory, std::uint16_t tag) {
    auto const* const place = directory.find(tag);
    auto first = place ? *place : Directory::Place{};
    first.count = std::min<std::uint64_t>(first.count, 1);
    auto const entry = place ? load(first) : std::nullopt;
    return entry ? entry->getNumber() : std::nullopt;
}

std::optional<std::uint64_t> DirectoryReader::getUnsigned(Directory const& directory,
                                                          std::uint16_t tag) {
    auto const* const place = directory.find(tag);
    auto first = place ? *place : Directory::Place{};
    first.count = std::min<std::uint64_t>(first.count, 1);
    auto const entry = place ? load(first) : std::nullopt;
    return entry ? entry->getUnsigned() : std::nullopt;
}

std::string DirectoryReader::getText(Directory const& directory, std::uint16_t tag,
                                     std::uint64_t most) {
    auto const* const place = directory.find(tag);
    if (!place || getTypeBytes(place->type) != 1) return {};
    auto beginning = *place;
    beginning.count = std::min(beginning.count, most);
    auto const entry = load(beginning);
    return entry ? std::string(entry->getText()) : std::string();
}

std::vector<DirectoryEntry> DirectoryReader::loadAll(std::uint64_t offset) {
    std::vector<DirectoryEntry> entries;
    auto const directory = read(offset);
    if (!directory) return entries;
    for (auto const& place : directory->places) {
        if (auto entry = load(place)) entries.push_back(std::move(*entry));
    }
    return entries;
}

}  // namespace Quivo::detail
