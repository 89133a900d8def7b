/**
 *  @file
 *    How the model's locks are taken and held.
 */

#ifndef ZQNETWORKMANAGER_LOCK_H
#define ZQNETWORKMANAGER_LOCK_H

#include <zqshared-lock.h>

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

using Shared::ScopedLock;

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
