/**
 *  @file
 *    An NSPR lock that std::lock_guard can hold.
 */

#ifndef ZQLOCK_H
#define ZQLOCK_H

#include <prlock.h>

class zqLock
{
public:
    zqLock() noexcept = default;
    ~zqLock()
    {
        if (mLock != nullptr)
            PR_DestroyLock(mLock);
    }
    zqLock(const zqLock &)            = delete;
    zqLock &operator=(const zqLock &) = delete;

    /** @returns false when the lock cannot be created. */
    bool Init() noexcept
    {
        mLock = PR_NewLock();
        return mLock != nullptr;
    }

    void lock() noexcept { PR_Lock(mLock); }
    void unlock() noexcept { (void)PR_Unlock(mLock); }

private:
    PRLock *mLock = nullptr;
};

#endif // ZQLOCK_H
