#include "container/LibTiff.h"

#include <sys/mman.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <new>
#include <stdexcept>
#include <system_error>

namespace Quivo::detail {

namespace {

TiffStream& streamOf(thandle_t client) { return *static_cast<TiffStream*>(client); }

tmsize_t readProc(thandle_t client, void* data, tmsize_t size) {
    TiffStream& stream = streamOf(client);
    auto const moved = stream.readAt(data, static_cast<std::size_t>(size), stream.position);
    // A failure is a short read to libtiff, which adds the number up and would clear the byte
    // before its buffer for -1. The stream keeps what went wrong.
    if (moved <= 0) return 0;
    stream.position += moved;
    return moved;
}

tmsize_t writeProc(thandle_t client, void* data, tmsize_t size) {
    TiffStream& stream = streamOf(client);
    try {
        if (!stream.writeAt(data, static_cast<std::size_t>(size), stream.position)) return -1;
    } catch (std::bad_alloc const&) {  // libtiff is C: nothing may unwind through it
        stream.error = ENOMEM;
        return -1;
    }
    stream.position += size;
    return size;
}

toff_t seekProc(thandle_t client, toff_t offset, int whence) {
    TiffStream& stream = streamOf(client);
    auto const base = whence == SEEK_SET   ? 0
                      : whence == SEEK_CUR ? stream.position
                                           : stream.getSize();
    stream.position = base + static_cast<long long>(offset);
    return static_cast<toff_t>(stream.position);
}

int closeProc(thandle_t) { return 0; }

toff_t sizeProc(thandle_t client) { return static_cast<toff_t>(streamOf(client).getSize()); }

int mapProc(thandle_t client, void** base, toff_t* size) {
    *base = streamOf(client).map();
    *size = sizeProc(client);
    return *base != nullptr;
}

void unmapProc(thandle_t, void*, toff_t) {}

}  // namespace

FileReadStream::FileReadStream(std::shared_ptr<File const> file, bool mapped)
    : file_(std::move(file)), mapped_(mapped) {}

FileReadStream::~FileReadStream() {
    if (mapping_) ::munmap(mapping_, static_cast<std::size_t>(file_->getSize()));
}

long long FileReadStream::readAt(void* data, std::size_t size, long long from) {
    // Past the end nothing is read: a damaged offset is no failure of the system.
    if (from < 0 || from >= file_->getSize()) return 0;
    readBudget -= std::min(static_cast<long long>(size), file_->getSize() - from);
    if (readBudget < 0) return -1;
    if (from < shiftEnd_ && from >= shiftBegin_) {
        size = std::min(size, static_cast<std::size_t>(shiftEnd_ - from));
        from += shiftBy_;
    }
    auto const moved = file_->read(data, size, from);
    if (moved < 0 && error == 0) error = errno;
    return moved;
}

bool FileReadStream::writeAt(void const*, std::size_t, long long) { return false; }

long long FileReadStream::getSize() const { return file_->getSize(); }

std::byte* FileReadStream::map() {
    if (!mapped_ || file_->getSize() == 0) return nullptr;
    if (!mapping_) {
        void* const base = ::mmap(nullptr, static_cast<std::size_t>(file_->getSize()), PROT_READ,
                                  MAP_PRIVATE, file_->getDescriptor(), 0);
        if (base != MAP_FAILED) mapping_ = static_cast<std::byte*>(base);
    }
    return mapping_;
}

void FileReadStream::shift(long long begin, long long end, long long by) noexcept {
    shiftBegin_ = begin;
    shiftEnd_ = end;
    shiftBy_ = by;
}

void FileReadStream::releasePages() noexcept {
    if (mapping_) ::madvise(mapping_, static_cast<std::size_t>(file_->getSize()), MADV_DONTNEED);
}

long long FileWriteStream::readAt(void* data, std::size_t size, long long from) {
    return file_.read(data, size, from);
}

bool FileWriteStream::writeAt(void const* data, std::size_t size, long long to) {
    if (!file_.write(data, size, to)) {
        if (error == 0) error = errno;
        return false;
    }
    size_ = std::max(size_, to + static_cast<long long>(size));
    return true;
}

long long MemoryStream::readAt(void* data, std::size_t size, long long from) {
    auto const end = getSize();
    if (from < 0 || from >= end) return 0;
    auto const count = std::min(static_cast<long long>(size), end - from);
    std::memcpy(data, bytes.data() + from, static_cast<std::size_t>(count));
    return count;
}

bool MemoryStream::writeAt(void const* data, std::size_t size, long long to) {
    auto const end = static_cast<std::size_t>(to) + size;
    if (bytes.size() < end) bytes.resize(end, std::byte{});
    std::memcpy(bytes.data() + to, data, size);
    return true;
}

long long MemoryStream::getSize() const { return static_cast<long long>(bytes.size()); }

TiffHandle::TiffHandle(std::unique_ptr<TiffStream> stream, std::string name, char const* mode)
    : stream_(std::move(stream)), name_(std::move(name)) {
    std::unique_ptr<TIFFOpenOptions, decltype(&TIFFOpenOptionsFree)> options(TIFFOpenOptionsAlloc(),
                                                                             TIFFOpenOptionsFree);
    if (!options) throw std::bad_alloc();
    TIFFOpenOptionsSetErrorHandlerExtR(options.get(), keepError, this);
    TIFFOpenOptionsSetWarningHandlerExtR(options.get(), keepWarning, this);
    // What libtiff allocates at once on reading is never more than the file, give or take the
    // tables of a codec. More is a damaged file.
    auto const slack = std::size_t{64} << 20;
    auto const limit = static_cast<std::size_t>(stream_->getSize()) + slack;
    if (mode[0] == 'r') TIFFOpenOptionsSetMaxSingleMemAlloc(options.get(), tmsize_t(limit));
    tiff_ = TIFFClientOpenExt(name_.c_str(), mode, stream_.get(), readProc, writeProc, seekProc,
                              closeProc, sizeProc, mapProc, unmapProc, options.get());
    if (tiff_) return;
    // Only the first bytes tell what is no TIFF at all; any other trouble has its own message.
    bool const isOther = message_.starts_with("Not a TIFF");
    if (isOther) message_.clear();
    check(false, isOther ? "is not a TIFF file" : "is damaged, or not a TIFF file");
}

TiffHandle::~TiffHandle() {
    if (tiff_) TIFFCleanup(tiff_);
}

void TiffHandle::close() {
    check(TIFFFlush(tiff_) != 0, "cannot be written");
    TIFFCleanup(std::exchange(tiff_, nullptr));
}

void TiffHandle::check(bool success, std::string const& otherwise) {
    std::string const said = std::exchange(message_, {});
    // libtiff goes on without the tags that it could not read.
    bool const isWhole = stream_->error == 0 && stream_->readBudget >= 0;
    if (success && isWhole) return;
    std::string text = said.empty() ? otherwise : otherwise + " (" + said + ")";
    if (stream_->error != 0) text = std::generic_category().message(stream_->error);
    if (stream_->readBudget < 0) text = "damaged: its directories claim more than the file holds";
    fail(text);
}

void TiffHandle::fail(std::string const& text) const {
    throw std::runtime_error(name_ + ": " + text);
}

int TiffHandle::keepError(TIFF*, void* self, char const* module, char const* format,
                          va_list values) {
    auto* const handle = static_cast<TiffHandle*>(self);
    char text[512];
    std::vsnprintf(text, sizeof(text), format, values);
    try {
        handle->keepMessage(module, text);
    } catch (std::bad_alloc const&) {  // libtiff is C: better no message than to unwind through it
    }
    return 1;
}

int TiffHandle::keepWarning(TIFF*, void* self, char const*, char const* format, va_list) {
    // Warnings are for programmers, but for one: after it, the pixels are not those of the file.
    auto* const handle = static_cast<TiffHandle*>(self);
    if (std::strncmp(format, "Improper JPEG", 13) == 0) handle->isIncomplete_ = true;
    return 1;
}

void TiffHandle::checkComplete() {
    check(!std::exchange(isIncomplete_, false), "damaged: a JPEG stream smaller than its place");
}

void TiffHandle::keepMessage(char const* module, std::string text) {
    // The first message names the cause; what follows are its consequences.
    if (!message_.empty()) return;
    // libtiff names the file or the function; the file stands in front anyway.
    bool const isFunction = module && name_ != module && std::strchr(module, '/') == nullptr;
    message_ = isFunction ? std::string(module) + ": " + text : std::move(text);
    std::replace(message_.begin(), message_.end(), '\n', ' ');
}

}  // namespace Quivo::detail
