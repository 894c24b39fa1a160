#include "write/TiffSink.h"

#include "container/LibTiff.h"

#include <algorithm>
#include <cerrno>
#include <limits>
#include <utility>

namespace Quivo::detail {

namespace {

/// Classic TIFF where everything certainly fits into its 32-bit offsets, otherwise BigTIFF.
TiffForm chooseForm(TiffPlan const& plan, TileFormat const& format, PageTags const& tags) {
    constexpr double offsetBytes = 16;
    auto const& extents = plan.pyramid.extents;
    auto const worst = static_cast<double>(format.getWorstBytes());
    auto const numPlanes = static_cast<double>(plan.pyramid.tile.numChannels / format.numChannels);
    auto const numPages =
        static_cast<double>(plan.pyramid.tile.numChannels / plan.countPageChannels());
    auto total = static_cast<double>(tags.getMetadata().countBytes());
    for (auto const& name : plan.sliceNames) total += static_cast<double>(name.size());
    for (std::size_t level = 0; level < extents.size(); ++level) {
        auto const tiles = static_cast<double>(plan.pyramid.countTiles(level).prod());
        total += tiles * numPlanes * (worst + offsetBytes) +
                 static_cast<double>(extents[level].z) * numPages *
                     static_cast<double>(tags.countPageBytes());
    }
    return {total >= static_cast<double>(std::numeric_limits<std::uint32_t>::max())};
}

}  // namespace

std::unique_ptr<TiffSink> TiffSink::create(TiffPlan plan) {
    if (plan.layout == TiffLayout::Cog) return std::make_unique<CogSink>(std::move(plan));
    return std::make_unique<PagedSink>(std::move(plan));
}

TiffSink::TiffSink(TiffPlan plan)
    : plan_(std::move(plan)),
      file_(plan_.target, plan_.replaces ? Existing::Replaced : Existing::Kept),
      codec_(plan_.getFormat(), file_.getTarget()),
      tags_(plan_, codec_) {}

void TiffSink::beginPage(long long level, long long slice) {
    level_ = level;
    slice_ = slice;
    auto const tiles = plan_.pyramid.countTiles(static_cast<std::size_t>(level));
    tilesPerRow_ = tiles.x;
    tilesPerPlane_ = tiles.x * tiles.y;
    auto const numChannels = plan_.pyramid.tile.numChannels;
    auto const numPages = numChannels / plan_.countPageChannels();
    auto const numPlanes = numChannels / codec_.getFormat().numChannels / numPages;
    pages_.assign(static_cast<std::size_t>(numPages),
                  TileIndex(static_cast<std::size_t>(tilesPerPlane_ * numPlanes)));
}

Bytes TiffSink::encode(Bytes samples) const { return codec_.encode(std::move(samples)); }

void TiffSink::store(TilePlace const& place, Bytes const& encoded) {
    auto const isOnePage = pages_.size() == 1;
    auto& page = pages_[static_cast<std::size_t>(isOnePage ? 0 : place.channel)];
    auto const plane = isOnePage ? place.channel : 0;
    auto const index =
        static_cast<std::size_t>(plane * tilesPerPlane_ + place.row * tilesPerRow_ + place.column);
    page.offsets[index] = storeBytes(encoded);
    page.sizes[index] = encoded.size();
}

void TiffSink::write(File const& file, void const* data, std::size_t size,
                     std::uint64_t position) const {
    errno = 0;
    if (!file.write(data, size, static_cast<long long>(position))) {
        throwSystemError(getTarget(), "cannot write", errno);
    }
}

PagedSink::PagedSink(TiffPlan plan)
    : TiffSink(std::move(plan)), form_(chooseForm(getPlan(), getFormat(), getTags())) {
    auto const& extents = getPlan().pyramid.extents;
    auto const depth = extents[0].z;
    bool const areAllDeep = std::all_of(extents.begin(), extents.end(),
                                        [depth](auto const& extent) { return extent.z == depth; });
    areLevelsBeside_ =
        extents.size() > 1 && areAllDeep && (depth > 1 || getPlan().layout == TiffLayout::Ome);
    auto const header = form_.makeHeader(0);
    append(header.data(), header.size());
    link_ = end_ - form_.getOffsetBytes();
}

std::uint64_t PagedSink::append(void const* data, std::size_t size) {
    write(getFile(), data, size, end_);
    return std::exchange(end_, end_ + size);
}

std::uint64_t PagedSink::storeBytes(Bytes const& encoded) {
    return append(encoded.data(), encoded.size());
}

DirectoryBlock PagedSink::writeDirectory(TagList const& tags, bool isChained) {
    end_ += end_ % 2;
    DirectoryBlock const block(tags, form_, end_);
    append(block.getBytes().data(), block.getBytes().size());
    if (isChained) {
        write(form_.makeOffset(block.getPosition()), link_);
        link_ = block.getNextPlace();
    }
    return block;
}

void PagedSink::endPage() {
    auto& pages = getPages();
    auto const numLevels = getPlan().pyramid.extents.size();
    for (std::size_t plane = 0; plane < pages.size(); ++plane) {
        auto tags =
            getTags().make(level_, slice_, static_cast<long long>(plane), pages[plane], form_);
        pages[plane] = TileIndex();
        if (level_ == 0 && slice_ == 0 && plane == 0) {
            for (auto const& [tag, entries] : getTags().getMetadata().getDirectories()) {
                auto const place = writeDirectory(entries, false).getPosition();
                tags.addIntegers(tag, form_.getOffsetType(), {&place, 1});
            }
        }
        if (!areLevelsBeside_) {
            writeDirectory(tags, true);
        } else if (level_ == 0) {
            std::vector<std::uint64_t> const unknown(numLevels - 1);
            tags.addIntegers(TIFFTAG_SUBIFD, form_.getDirectoryType(), unknown);
            lists_.push_back(writeDirectory(tags, true).getValuePlace(TIFFTAG_SUBIFD));
            levels_.emplace_back();
        } else {
            auto const page = static_cast<std::size_t>(slice_) * pages.size() + plane;
            levels_[page].push_back(writeDirectory(tags, false).getPosition());
        }
    }
}

void PagedSink::finish() {
    for (std::size_t page = 0; page < lists_.size(); ++page) {
        std::string list;
        for (auto const place : levels_[page]) list += form_.makeOffset(place);
        write(list, lists_[page]);
    }
}

}  // namespace Quivo::detail
