#pragma once

#include <quivo/core/Export.h>
#include <quivo/util/Cancellation.h>

namespace Quivo {

/// Learns how far a long operation has come. Derive from it and implement `progressChanged`.
///
/// Two plain counters: nothing is clamped or checked. The order of the virtual operations is part
/// of the binary interface. The operation neither keeps nor deletes its monitor. One thread at a
/// time: the library updates it on the thread that runs the operation.
///
/// Compilers may warn that a derived class has virtual functions and a public destructor that is
/// not virtual: make it `final`.
class QUIVO_API ProgressMonitor {
public:
    /// Total unknown (-1), progress 0.
    ProgressMonitor() noexcept;

    /// Stores the value that the progress counts towards, then notifies.
    virtual void setMaxValue(long long value);
    /// The total; -1 while it is not known.
    virtual long long getMaxValue();
    /// Adds `delta` (any sign, also 0) to the progress, then notifies.
    virtual void increase(long long delta);
    /// Stores the progress, then notifies.
    virtual void update(long long value);
    /// The progress, from 0 towards the total.
    virtual long long getProgress() const;
    /// Called as the last thing of every change, with the new values in place. What it throws
    /// leaves the operation that made the change.
    virtual void progressChanged() = 0;

protected:
    /// A monitor is destroyed through its own type, never through this one.
    ~ProgressMonitor() = default;

private:
    long long maxValue_;
    long long progress_;
};

}  // namespace Quivo
