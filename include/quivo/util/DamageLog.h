#pragma once

#include <quivo/core/Export.h>

#include <cstddef>
#include <mutex>
#include <string>

namespace Quivo {

/// What was damaged in the files that were read with it. A reader that is given one puts its
/// no-data value, or 0, where a tile or strip cannot be decoded, and goes on; every such block is
/// reported when it is decoded, again when it is decoded again. Locked inside; any thread.
class QUIVO_API DamageLog {
public:
    DamageLog();
    DamageLog(DamageLog const&) = delete;
    DamageLog& operator=(DamageLog const&) = delete;
    ~DamageLog();

    /// Takes note of one block; `message` is one line that says which and why.
    /// error: std::bad_alloc.
    void report(std::string const& message);

    /// How many blocks were reported.
    [[nodiscard]] std::size_t getCount() const;

    /// What was said of the first of them; empty without one.
    /// error: std::bad_alloc.
    [[nodiscard]] std::string getFirstMessage() const;

private:
    mutable std::mutex mutex_;  ///< guards what follows; a leaf
    std::size_t count_ = 0;
    std::string firstMessage_;
};

}  // namespace Quivo
