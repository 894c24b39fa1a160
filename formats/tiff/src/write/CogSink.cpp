#include "write/TiffSink.h"

#include "container/LibTiff.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>

namespace Quivo::detail {

namespace {

constexpr std::size_t frameBytes = 4;  ///< before a tile, and behind it

/// What GDAL reads before anything else, so that it need not ask for the length of a tile.
std::string makeNotes() {
    std::string const notes =
        "LAYOUT=IFDS_BEFORE_DATA\n"
        "BLOCK_ORDER=ROW_MAJOR\n"
        "BLOCK_LEADER=SIZE_AS_UINT4\n"
        "BLOCK_TRAILER=LAST_4_BYTES_REPEATED\n"
        "KNOWN_INCOMPATIBLE_EDITION=NO\n ";
    auto size = std::to_string(notes.size());
    size.insert(0, 6 - size.size(), '0');
    return "GDAL_STRUCTURAL_METADATA_SIZE=" + size + " bytes\n" + notes;
}

}  // namespace

CogSink::CogSink(TiffPlan plan)
    : TiffSink(std::move(plan)), waiting_(createNameless(getTarget())) {}

std::uint64_t CogSink::storeBytes(Bytes const& encoded) {
    block_.resize(frameBytes + encoded.size() + frameBytes);
    auto* out = block_.data();
    for (std::size_t i = 0; i < frameBytes; ++i) {
        *out++ = static_cast<std::byte>(encoded.size() >> 8 * i);
    }
    std::memcpy(out, encoded.data(), encoded.size());
    out += encoded.size();
    auto const repeated = std::min(encoded.size(), frameBytes);
    std::memset(out, 0, frameBytes);
    std::memcpy(out, out - repeated, repeated);
    write(*waiting_, block_.data(), block_.size(), end_);
    auto const place = end_ + frameBytes;
    end_ += block_.size();
    return place;
}

void CogSink::endPage() {
    auto const begin = levels_.empty() ? 0 : levels_.back().begin + levels_.back().size;
    levels_.push_back({std::move(getPages().front()), begin, end_ - begin});
}

std::string CogSink::makeHead(TiffForm form, std::uint64_t headBytes) const {
    auto bytes = form.makeHeader(0);
    // Tiles that lie plane by plane are not in the order that the notes promise.
    if (!getPlan().arePlanesApart()) bytes += makeNotes();
    bytes.resize(bytes.size() + bytes.size() % 2, '\0');
    auto const first = form.makeOffset(bytes.size());
    bytes.replace(static_cast<std::size_t>(form.getHeaderBytes() - form.getOffsetBytes()),
                  first.size(), first);
    std::vector<TagList> pages;
    // The coarsest level comes first.
    std::uint64_t levelStart = headBytes;
    for (std::size_t i = levels_.size(); i-- > 0;) {
        TileIndex tiles = levels_[i].tiles;
        for (auto& offset : tiles.offsets) offset += levelStart - levels_[i].begin;
        levelStart += levels_[i].size;
        pages.insert(pages.begin(), getTags().make(static_cast<long long>(i), 0, 0, tiles, form));
    }
    // Directories beside the chain stand behind it; the sizes of all are known beforehand.
    auto const& others = getTags().getMetadata().getDirectories();
    std::uint64_t const unknown = 0;
    auto measured = pages.front();
    for (auto const& other : others) {
        measured.addIntegers(other.first, form.getOffsetType(), {&unknown, 1});
    }
    auto const toEven = [](std::uint64_t place) { return place + place % 2; };
    std::vector<std::uint64_t> places{bytes.size()};
    for (std::size_t i = 0; i < pages.size() + others.size(); ++i) {
        TagList const& tags = i == 0             ? measured
                              : i < pages.size() ? pages[i]
                                                 : others[i - pages.size()].second;
        places.push_back(toEven(places.back() + DirectoryBlock::measure(tags, form)));
    }
    for (std::size_t i = 0; i < others.size(); ++i) {
        pages.front().addIntegers(others[i].first, form.getOffsetType(),
                                  {&places[pages.size() + i], 1});
    }
    for (std::size_t i = 0; i < pages.size() + others.size(); ++i) {
        TagList const& tags = i < pages.size() ? pages[i] : others[i - pages.size()].second;
        auto const next = i + 1 < pages.size() ? places[i + 1] : 0;
        bytes.resize(static_cast<std::size_t>(places[i]), '\0');
        bytes += DirectoryBlock(tags, form, places[i], next).getBytes();
    }
    bytes.resize(static_cast<std::size_t>(places.back()), '\0');
    return bytes;
}

void CogSink::finish() {
    TiffForm form;
    auto headBytes = makeHead(form, 0).size();
    if (headBytes + end_ > std::numeric_limits<std::uint32_t>::max()) {
        form.isBig = true;
        headBytes = makeHead(form, 0).size();
    }
    write(makeHead(form, headBytes), 0);
    std::uint64_t place = headBytes;
    for (std::size_t i = levels_.size(); i-- > 0;) {
        errno = 0;
        auto const& level = levels_[i];
        if (!getFile().copyFrom(*waiting_, static_cast<long long>(level.begin),
                                static_cast<long long>(level.size),
                                static_cast<long long>(place))) {
            throwSystemError(getTarget(), "cannot write", errno);
        }
        place += level.size;
    }
}

}  // namespace Quivo::detail
