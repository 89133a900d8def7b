/**
 *  @file
 *    The guard of an NSPR lock, for every room.
 */

#ifndef ZQSHARED_LOCK_H
#define ZQSHARED_LOCK_H

#include <prlock.h>

namespace zq::Shared
{

/** Holds a lock, which is null for something that is not initialised: nobody else has that then. */
class ScopedLock
{
public:
    explicit ScopedLock(PRLock *aLock) noexcept : mLock(aLock)
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
    PRLock *const mLock;
};

} // namespace zq::Shared

#endif // ZQSHARED_LOCK_H
