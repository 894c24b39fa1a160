#pragma once

#include "samples/Samples.h"
#include "storage/files/File.h"

#include <quivo/core/Vector.h>

#include <memory>
#include <string>

namespace Quivo::detail {

/// One whole level of interleaved samples in a file without a name, so that a level can be computed
/// while the one before it is written. Rows are written and read in bands. One thread at a time.
class ScratchLevel {
public:
    /// The file lies beside `target`, where there has to be room for the result anyway.
    /// error: std::runtime_error "TARGET: reason".
    ScratchLevel(std::string const& target, Vector const& extent, long long pixelBytes);

    [[nodiscard]] Vector const& getExtent() const noexcept { return extent_; }

    /// Stores whole rows of a slice, from `firstRow` on.
    /// error: std::runtime_error "TARGET: reason".
    void writeRows(long long slice, long long firstRow, Bytes const& rows);

    /// Reads `count` whole rows of a slice.
    /// error: std::runtime_error "TARGET: reason".
    [[nodiscard]] Bytes readRows(long long slice, long long firstRow, long long count) const;

private:
    [[nodiscard]] long long getPosition(long long slice, long long row) const noexcept {
        return (slice * extent_.y + row) * extent_.x * pixelBytes_;
    }

    std::string target_;
    Vector extent_;
    long long pixelBytes_;
    std::unique_ptr<File> file_;
};

}  // namespace Quivo::detail
