#include <quivo/util/Lock.h>

#include <cassert>

namespace Quivo {

namespace {

/// The platform's calls fail only when the lock is misused.
void expectSuccess([[maybe_unused]] int result) noexcept { assert(result == 0); }

}  // namespace

Lock::Lock() : rwlock_(std::make_unique<pthread_rwlock_t>()) {
    expectSuccess(pthread_rwlock_init(rwlock_.get(), nullptr));
}

Lock::~Lock() { expectSuccess(pthread_rwlock_destroy(rwlock_.get())); }

void Lock::lock() { expectSuccess(pthread_rwlock_wrlock(rwlock_.get())); }

void Lock::unlock() { expectSuccess(pthread_rwlock_unlock(rwlock_.get())); }

void Lock::lockShared() { expectSuccess(pthread_rwlock_rdlock(rwlock_.get())); }

void Lock::unlockShared() { expectSuccess(pthread_rwlock_unlock(rwlock_.get())); }

LockGuard::LockGuard(Lock& lock) : lock_(lock) { lock_.lock(); }

LockGuard::~LockGuard() { lock_.unlock(); }

SharedLockGuard::SharedLockGuard(Lock& lock) : lock_(lock) { lock_.lockShared(); }

SharedLockGuard::~SharedLockGuard() { lock_.unlockShared(); }

}  // namespace Quivo
