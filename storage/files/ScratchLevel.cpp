#include "storage/files/ScratchLevel.h"

#include "storage/files/AtomicFile.h"

#include <cerrno>

namespace Quivo::detail {

ScratchLevel::ScratchLevel(std::string const& target, Vector const& extent, long long pixelBytes)
    : target_(target), extent_(extent), pixelBytes_(pixelBytes), file_(createNameless(target)) {}

void ScratchLevel::writeRows(long long slice, long long firstRow, Bytes const& rows) {
    if (!file_->write(rows.data(), rows.size(), getPosition(slice, firstRow))) {
        throwSystemError(target_, "cannot write the next level", errno);
    }
}

Bytes ScratchLevel::readRows(long long slice, long long firstRow, long long count) const {
    Bytes rows(static_cast<std::size_t>(count * extent_.x * pixelBytes_));
    errno = 0;
    auto const got = file_->read(rows.data(), rows.size(), getPosition(slice, firstRow));
    if (got != static_cast<long long>(rows.size())) {
        throwSystemError(target_, "cannot read back a level", errno);
    }
    return rows;
}

}  // namespace Quivo::detail
