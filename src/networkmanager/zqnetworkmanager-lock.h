// Scoped holders of the model's locks.

#ifndef ZQNETWORKMANAGER_LOCK_H
#define ZQNETWORKMANAGER_LOCK_H

#include <prlock.h>

namespace zq::NetworkManager::Private
{

/** Holds a lock, which is null for something that is not initialised: nobody else has that then. */
class ScopedLock
{
public:
    explicit ScopedLock(PRLock *aLock) : mLock(aLock)
    {
        if (mLock != nullptr)
            PR_Lock(mLock);
    }

    ~ScopedLock()
    {
        if (mLock != nullptr)
            (void)PR_Unlock(mLock);
    }

    ScopedLock(const ScopedLock &)            = delete;
    ScopedLock &operator=(const ScopedLock &) = delete;

private:
    PRLock *mLock;
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
