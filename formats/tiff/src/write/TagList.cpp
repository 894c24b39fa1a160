#include "write/TagList.h"

#include "container/LibTiff.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <stdexcept>

namespace Quivo::detail {

namespace {

/// Appends the lowest `size` bytes of a number, little-endian.
void append(std::string& bytes, std::uint64_t value, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) bytes.push_back(static_cast<char>(value >> 8 * i));
}

std::uint64_t toEven(std::uint64_t position) { return position + position % 2; }

std::uint64_t getTableBytes(std::size_t numEntries, TiffForm form) {
    auto const count = static_cast<std::uint64_t>(numEntries);
    return form.isBig ? 8 + 20 * count + 8 : 2 + 12 * count + 4;
}

}  // namespace

std::uint16_t TiffForm::getOffsetType() const noexcept {
    return isBig ? std::uint16_t{TIFF_LONG8} : std::uint16_t{TIFF_LONG};
}

std::uint16_t TiffForm::getDirectoryType() const noexcept {
    return isBig ? std::uint16_t{TIFF_IFD8} : std::uint16_t{TIFF_IFD};
}

std::string TiffForm::makeHeader(std::uint64_t first) const {
    std::string bytes = "II";
    append(bytes, isBig ? 43 : 42, 2);
    if (isBig) append(bytes, 8, 4);
    return bytes + makeOffset(first);
}

std::string TiffForm::makeOffset(std::uint64_t value) const {
    std::string bytes;
    append(bytes, value, static_cast<std::size_t>(getOffsetBytes()));
    return bytes;
}

std::array<std::uint32_t, 2> toRational(double value) noexcept {
    constexpr double most = std::numeric_limits<std::uint32_t>::max();
    if (!(value >= 1 / most && value <= most)) return {0, 0};
    // The convergents of the continued fraction: each is nearer than all fractions with smaller
    // numbers.
    double numerator = 1, denominator = 0, lastNumerator = 0, lastDenominator = 1;
    for (double rest = value;;) {
        double const whole = std::floor(rest);
        double const nextNumerator = whole * numerator + lastNumerator;
        double const nextDenominator = whole * denominator + lastDenominator;
        if (nextNumerator > most || nextDenominator > most) break;
        lastNumerator = std::exchange(numerator, nextNumerator);
        lastDenominator = std::exchange(denominator, nextDenominator);
        bool const isExact = numerator / denominator == value;
        if (isExact || rest == whole) break;
        rest = 1 / (rest - whole);
    }
    return {static_cast<std::uint32_t>(numerator), static_cast<std::uint32_t>(denominator)};
}

void TagList::addShorts(std::uint16_t tag, std::span<std::uint16_t const> values) {
    std::string bytes;
    for (auto const value : values) append(bytes, value, 2);
    add(tag, TIFF_SHORT, bytes);
}

void TagList::addLong(std::uint16_t tag, std::uint32_t value) {
    std::string bytes;
    append(bytes, value, 4);
    add(tag, TIFF_LONG, bytes);
}

void TagList::addSize(std::uint16_t tag, long long value) {
    if (value <= std::numeric_limits<std::uint16_t>::max()) {
        addShort(tag, static_cast<std::uint16_t>(value));
    } else {
        addLong(tag, static_cast<std::uint32_t>(value));
    }
}

void TagList::addDoubles(std::uint16_t tag, std::span<double const> values) {
    std::string bytes;
    for (double const value : values) append(bytes, std::bit_cast<std::uint64_t>(value), 8);
    add(tag, TIFF_DOUBLE, bytes);
}

void TagList::addRationals(std::uint16_t tag,
                           std::span<std::array<std::uint32_t, 2> const> values) {
    std::string bytes;
    for (auto const& value : values) {
        append(bytes, value[0], 4);
        append(bytes, value[1], 4);
    }
    add(tag, TIFF_RATIONAL, bytes);
}

void TagList::addText(std::uint16_t tag, std::string_view text) {
    std::string bytes(text);
    if (!text.ends_with('\0')) bytes.push_back('\0');
    add(tag, TIFF_ASCII, bytes);
}

void TagList::add(std::uint16_t tag, std::uint16_t type, std::string_view bytes) {
    auto const size = getTypeBytes(type);
    add(DirectoryEntry{tag, type, bytes.size() / size, std::string(bytes)});
}

void TagList::add(DirectoryEntry entry) {
    if (entry.count > 0 && !has(entry.tag)) entries_.push_back(std::move(entry));
}

void TagList::add(TagList const& others) {
    for (auto const& entry : others.entries_) add(entry);
}

void TagList::addIntegers(std::uint16_t tag, std::uint16_t type,
                          std::span<std::uint64_t const> values) {
    auto const size = getTypeBytes(type);
    std::string bytes;
    bytes.reserve(values.size() * size);
    for (auto const value : values) append(bytes, value, size);
    add(DirectoryEntry{tag, type, values.size(), std::move(bytes)});
}

bool TagList::has(std::uint16_t tag) const noexcept {
    return std::any_of(entries_.begin(), entries_.end(),
                       [tag](auto const& entry) { return entry.tag == tag; });
}

std::uint64_t TagList::getValueBytes() const noexcept {
    std::uint64_t sum = 0;
    for (auto const& entry : entries_) sum += 32 + entry.bytes.size();
    return sum;
}

DirectoryBlock::DirectoryBlock(TagList const& tags, TiffForm form, std::uint64_t position,
                               std::uint64_t next)
    : form_(form), position_(position) {
    auto const& entries = tags.getEntries();
    // Values lie in the order of the list, entries in that of their tags.
    auto const inlineBytes = form.getOffsetBytes();
    std::vector<std::uint64_t> places(entries.size());
    std::string values;
    auto const start = toEven(getTableBytes(entries.size(), form));
    for (std::size_t i = 0; i < entries.size(); ++i) {
        if (entries[i].bytes.size() <= inlineBytes) continue;
        values.resize(toEven(values.size()), '\0');
        places[i] = position + start + values.size();
        values += entries[i].bytes;
    }
    std::vector<std::size_t> order(entries.size());
    for (std::size_t i = 0; i < order.size(); ++i) order[i] = i;
    std::sort(order.begin(), order.end(),
              [&](std::size_t a, std::size_t b) { return entries[a].tag < entries[b].tag; });
    append(bytes_, entries.size(), form.isBig ? 8 : 2);
    for (std::size_t const i : order) {
        auto const& entry = entries[i];
        append(bytes_, entry.tag, 2);
        append(bytes_, entry.type, 2);
        append(bytes_, entry.count, static_cast<std::size_t>(inlineBytes));
        if (places[i] == 0) {
            places[i] = position + bytes_.size();
            bytes_ += entry.bytes;
            bytes_.resize(
                bytes_.size() + static_cast<std::size_t>(inlineBytes) - entry.bytes.size(), '\0');
        } else {
            bytes_ += form.makeOffset(places[i]);
        }
        places_.emplace_back(entry.tag, places[i]);
    }
    nextPlace_ = position + bytes_.size();
    bytes_ += form.makeOffset(next);
    if (values.empty()) return;
    bytes_.resize(static_cast<std::size_t>(start), '\0');
    bytes_ += values;
}

std::uint64_t DirectoryBlock::getValuePlace(std::uint16_t tag) const {
    auto const found = std::find_if(places_.begin(), places_.end(),
                                    [tag](auto const& place) { return place.first == tag; });
    if (found == places_.end()) throw std::logic_error("a directory without this tag");
    return found->second;
}

std::uint64_t DirectoryBlock::measure(TagList const& tags, TiffForm form) noexcept {
    auto size = toEven(getTableBytes(tags.getEntries().size(), form));
    for (auto const& entry : tags.getEntries()) {
        if (entry.bytes.size() > form.getOffsetBytes()) size = toEven(size) + entry.bytes.size();
    }
    return size;
}

}  // namespace Quivo::detail
