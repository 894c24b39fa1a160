#include "read/PageDecoder.h"

#include "read/Orientation.h"
#include "samples/Samples.h"
#include "storage/files/AtomicFile.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <utility>

namespace Quivo::detail {

namespace {

Bytes makeBytes(long long count) { return Bytes(static_cast<std::size_t>(count)); }

/// Calls `visit(x, y, rectangle)` for all cells of a grid that a rectangle touches.
template <typename Visit>
void visitCells(PixelRect const& rect, long long cellWidth, long long cellHeight, Visit visit) {
    for (auto y = rect.y / cellHeight; y * cellHeight < rect.y + rect.height; ++y) {
        for (auto x = rect.x / cellWidth; x * cellWidth < rect.x + rect.width; ++x) {
            PixelRect const cell{x * cellWidth, y * cellHeight, cellWidth, cellHeight};
            visit(x, y, rect.intersected(cell));
        }
    }
}

}  // namespace

std::shared_ptr<Block const> PageDecoder::decode(PageInfo const& page, BlockKey const& key,
                                                 BlockCache::Room& room,
                                                 CancellationChecker* checker) {
    auto const takeRoom = [&](std::size_t bytes) { room.take(bytes); };
    bool const isUpright = page.orientation == Orientation::Upright;
    bool const isMaskAlone =
        page.isDecodedByPlane() && page.isMaskChannel && key.plane == page.getNumOwnChannels();
    auto block = isUpright && !isMaskAlone ? pieces_.decode(page, key, takeRoom, checker)
                                           : decodeUpright(page, key, takeRoom, checker);
    if (page.mask) {
        PixelRect const upright{key.x * page.blockWidth, key.y * page.blockHeight, block->width,
                                block->height};
        applyMask(page, upright, key.plane, *block, checker);
    }
    return block;
}

std::shared_ptr<Block> PageDecoder::decodeUpright(PageInfo const& page, BlockKey const& key,
                                                  TakeRoom const& takeRoom,
                                                  CancellationChecker* checker) {
    PixelRect upright{key.x * page.blockWidth, key.y * page.blockHeight, 0, 0};
    upright.width = std::min(page.blockWidth, page.width - upright.x);
    upright.height = std::min(page.blockHeight, page.height - upright.y);
    auto block = std::make_shared<Block>();
    block->width = upright.width;
    block->height = upright.height;
    auto const bytes = upright.width * upright.height * page.getChannelsPerBlock() *
                       getSampleBytes(page.sampleType);
    takeRoom(static_cast<std::size_t>(bytes));
    block->samples = makeBytes(bytes);
    if (page.isDecodedByPlane() && key.plane >= page.getNumOwnChannels()) return block;  // a mask
    if (page.needsScratch) {
        copyFromScratch(page, upright, key.plane, *block, checker);
    } else {
        assemble(page, upright, key.plane, *block, checker);
    }
    return block;
}

void PageDecoder::assemble(PageInfo const& page, PixelRect const& upright, long long plane,
                           Block& block, CancellationChecker* checker) {
    Turn const turn(page.orientation, page.storedWidth, page.storedHeight);
    auto const size = getSampleBytes(page.sampleType);
    auto const numChannels = page.isDecodedByPlane() ? 1 : page.getNumOwnChannels();
    PixelRect const stored = turn.toStored(upright);
    visitCells(stored, page.pieceWidth, page.pieceHeight,
               [&](long long x, long long y, PixelRect const& part) {
                   auto const piece = getPiece(page, {0, 0, plane, x, y}, checker);
                   PixelRect const to = turn.toUpright(part);
                   auto const from = (part.y - y * page.pieceHeight) * piece->width + part.x -
                                     x * page.pieceWidth;
                   auto const into = (to.y - upright.y) * block.width + to.x - upright.x;
                   for (long long c = 0; c < numChannels; ++c) {
                       auto const* const src =
                           piece->samples.data() + (c * piece->width * piece->height + from) * size;
                       auto* const dst =
                           block.samples.data() + (c * block.width * block.height + into) * size;
                       turn.copy(src, piece->width, part, dst, block.width, static_cast<int>(size));
                   }
               });
}

void PageDecoder::copyFromScratch(PageInfo const& page, PixelRect const& upright, long long plane,
                                  Block& block, CancellationChecker* checker) {
    auto const file = getScratch(page, plane, checker);
    Turn const turn(page.orientation, page.storedWidth, page.storedHeight);
    auto const size = getSampleBytes(page.sampleType);
    auto const numChannels = page.isDecodedByPlane() ? 1 : page.getNumOwnChannels();
    PixelRect const stored = turn.toStored(upright);
    Bytes rows = makeBytes(stored.width * stored.height * size);
    for (long long c = 0; c < numChannels; ++c) {
        for (long long y = 0; y < stored.height; ++y) {
            auto const position =
                ((c * page.storedHeight + stored.y + y) * page.storedWidth + stored.x) * size;
            auto const bytes = static_cast<std::size_t>(stored.width * size);
            auto* const row = rows.data() + y * stored.width * size;
            if (file->read(row, bytes, position) != static_cast<long long>(bytes)) {
                throwSystemError(file->getPath(), "cannot read back a turned page", errno);
            }
        }
        turn.copy(rows.data(), stored.width, stored,
                  block.samples.data() + c * block.width * block.height * size, block.width,
                  static_cast<int>(size));
    }
}

std::shared_ptr<File const> PageDecoder::getScratch(PageInfo const& page, long long plane,
                                                    CancellationChecker* checker) {
    // A page whose rows can only be decoded in their order, and are wanted in another one, is
    // decoded once, as it lies in the file.
    Turnstile::Turn const turn(scratchTurn_, checker);
    std::pair const key(page.getPlaneId(), page.isDecodedByPlane() ? plane : 0);
    if (auto const found = scratch_.find(key); found != scratch_.end()) return found->second;
    auto const target = (std::filesystem::temp_directory_path() / "quivo-page").string();
    std::shared_ptr<File const> file = createNameless(target);
    auto const size = getSampleBytes(page.sampleType);
    auto const numChannels = page.isDecodedByPlane() ? 1 : page.getNumOwnChannels();
    for (long long y = 0; y * page.pieceHeight < page.storedHeight; ++y) {
        for (long long x = 0; x * page.pieceWidth < page.storedWidth; ++x) {
            checkCancelled(checker);
            auto const piece = pieces_.decode(
                page, {0, 0, plane, x, y}, [](std::size_t) {}, checker);
            for (long long row = 0; row < numChannels * piece->height; ++row) {
                auto const line = row / piece->height * page.storedHeight + y * page.pieceHeight +
                                  row % piece->height;
                auto const bytes = static_cast<std::size_t>(piece->width * size);
                auto const position = (line * page.storedWidth + x * page.pieceWidth) * size;
                if (!file->write(piece->samples.data() + row * piece->width * size, bytes,
                                 position)) {
                    throwSystemError(target, "cannot keep a page to be turned", errno);
                }
            }
        }
    }
    return scratch_[key] = std::move(file);
}

std::shared_ptr<Block const> PageDecoder::getPiece(PageInfo const& page, BlockKey const& key,
                                                   CancellationChecker* checker) {
    RecentBlocks::Key const name(page.getPlaneId(), key.plane, key.x, key.y);
    if (auto known = recent_.find(name)) return known;
    checkCancelled(checker);
    std::shared_ptr<Block const> piece = pieces_.decode(
        page, key, [](std::size_t) {}, checker);
    recent_.keep(name, piece);
    return piece;
}

Bytes PageDecoder::readMask(PageInfo const& mask, PixelRect const& upright,
                            CancellationChecker* checker) {
    Block values{upright.width, upright.height, makeBytes(upright.width * upright.height)};
    if (mask.needsScratch) {
        copyFromScratch(mask, upright, 0, values, checker);
    } else {
        assemble(mask, upright, 0, values, checker);
    }
    return std::move(values.samples);
}

void PageDecoder::applyMask(PageInfo const& page, PixelRect const& upright, long long plane,
                            Block& block, CancellationChecker* checker) {
    Bytes const mask = readMask(*page.mask, upright, checker);
    auto const numValues = upright.width * upright.height;
    bool const isByPlane = page.isDecodedByPlane();
    visitSampleType(page.sampleType, [&](auto sample) {
        using T = decltype(sample);
        auto* const values = reinterpret_cast<T*>(block.samples.data());
        if (page.isMaskChannel) {
            auto const channel = page.getNumOwnChannels();
            if (isByPlane && plane != channel) return;
            T const full =
                toSample<T>(isFloat<T> ? 1.0 : getDefaultValueRange(page.sampleType).max);
            T const none = toSample<T>(0.0);
            T* const out = isByPlane ? values : values + channel * numValues;
            for (long long i = 0; i < numValues; ++i) {
                out[i] = mask[static_cast<std::size_t>(i)] != std::byte{} ? full : none;
            }
            return;
        }
        auto const numChannels = isByPlane ? 1 : page.getNumOwnChannels();
        for (long long c = 0; c < numChannels; ++c) {
            T const fill = toSample<T>(page.getDeliveredFill(isByPlane ? plane : c));
            for (long long i = 0; i < numValues; ++i) {
                if (mask[static_cast<std::size_t>(i)] == std::byte{})
                    values[c * numValues + i] = fill;
            }
        }
    });
}

}  // namespace Quivo::detail
