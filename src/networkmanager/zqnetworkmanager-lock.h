/**
 *  @file
 *    How the model's locks are taken and held.
 */

#ifndef ZQNETWORKMANAGER_LOCK_H
#define ZQNETWORKMANAGER_LOCK_H

#include <prlock.h>

namespace zq::NetworkManager::Private
{

// A lock is null for something that is not initialised: nobody else has that then.

inline void Take(PRLock *aLock)
{
    if (aLock != nullptr)
        PR_Lock(aLock);
}

inline void Give(PRLock *aLock)
{
    if (aLock != nullptr)
        (void)PR_Unlock(aLock);
}

class ScopedLock
{
public:
    explicit ScopedLock(PRLock *aLock) : mLock(aLock) { Take(mLock); }
    ~ScopedLock() { Give(mLock); }

    ScopedLock(const ScopedLock &)            = delete;
    ScopedLock &operator=(const ScopedLock &) = delete;

private:
    PRLock *const mLock;
};

/** Holds the lock of an object or a list. */
template <typename T>
class LockOf
{
public:
    explicit LockOf(const T &aLockable) : mLockable(aLockable) { mLockable.Lock(); }
    ~LockOf() { mLockable.Unlock(); }

    LockOf(const LockOf &)            = delete;
    LockOf &operator=(const LockOf &) = delete;

private:
    const T &mLockable;
};

} // namespace zq::NetworkManager::Private

#endif // ZQNETWORKMANAGER_LOCK_H
