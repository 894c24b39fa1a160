#pragma once

#include <quivo/core/Export.h>

#include <pthread.h>

#include <memory>

namespace Quivo {

/// A POSIX reader-writer lock: any number of shared holders or one exclusive holder.
///
/// Not re-entrant, and a shared hold is never upgraded. A thread that holds the lock exclusively
/// and asks for it again does not get it: the platform may let it wait for ever, or report EDEADLK,
/// as glibc does, which is only asserted. The inner guard then holds nothing, and its end ends the
/// outer hold. A thread that shares the lock and asks for it exclusively waits for ever.
///
/// Who holds it lets it go, on the same thread. Nobody holds it when it is destroyed. A failure of
/// the platform's calls is asserted in debug builds. Any thread.
class QUIVO_API Lock {
public:
    /// error: std::bad_alloc.
    Lock();
    Lock(Lock const&) = delete;
    Lock& operator=(Lock const&) = delete;
    ~Lock();

    /// Waits until nobody else holds the lock, then holds it exclusively.
    void lock();
    /// Ends the exclusive hold of this thread.
    void unlock();
    /// Waits until nobody holds the lock exclusively, then shares it.
    void lockShared();
    /// Ends one shared hold of this thread.
    void unlockShared();

private:
    std::unique_ptr<pthread_rwlock_t> rwlock_;
};

/// Holds a `Lock` exclusively for one scope. The lock outlives it. One thread.
class QUIVO_API LockGuard {
public:
    /// Waits as `Lock::lock`.
    explicit LockGuard(Lock& lock);
    LockGuard(LockGuard const&) = delete;
    LockGuard& operator=(LockGuard const&) = delete;
    ~LockGuard();

private:
    Lock& lock_;
};

/// Shares a `Lock` for one scope. The lock outlives it. One thread.
class QUIVO_API SharedLockGuard {
public:
    /// Waits as `Lock::lockShared`.
    explicit SharedLockGuard(Lock& lock);
    SharedLockGuard(SharedLockGuard const&) = delete;
    SharedLockGuard& operator=(SharedLockGuard const&) = delete;
    ~SharedLockGuard();

private:
    Lock& lock_;
};

}  // namespace Quivo
