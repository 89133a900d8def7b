/**
 *  @file
 *    What is called at a time.
 */

#include "zqdbus-private.h"

#include <zqlog.h>

#include <algorithm>

#define ZQ_LOG_COMPONENT "dbus"
#define ZQ_LOG_FILE "zqdbus"

zqDBusTimers::Timers::iterator zqDBusTimers::FindLocked(zqDBus::TimerHandler aHandler, const void *aContext) noexcept
{
    return std::find_if(mTimers.begin(), mTimers.end(),
                        [=](const Timer &aTimer)
                        { return aTimer.mHandler == aHandler && aTimer.mContext == aContext; });
}

zqError zqDBusTimers::Set(zqDBus::TimerHandler aHandler, void *aContext, int aMilliseconds) noexcept
{
    if (aHandler == nullptr || aMilliseconds < 0)
        return zqError_InvalidArgument;

    return zqDBusGuarded(
        [&]
        {
            const Timer lTimer = { aHandler, aContext, zqDBusClock::now() + std::chrono::milliseconds(aMilliseconds) };
            const std::lock_guard<std::mutex> lLock(mLink.mLock);

            if (mLink.mIsLost)
                return zqError(zqError_WrongState);

            const auto lFound = FindLocked(aHandler, aContext);

            if (lFound != mTimers.end())
                *lFound = lTimer;
            else
                mTimers.push_back(lTimer);

            mLink.mLoop.WakeBy(lTimer.mDue);
            return zqError(zqError_None);
        });
}

void zqDBusTimers::Stop(zqDBus::TimerHandler aHandler, void *aContext) noexcept
{
    const std::lock_guard<std::mutex> lLock(mLink.mLock);
    const auto                        lFound = FindLocked(aHandler, aContext);

    if (lFound != mTimers.end())
        (void)mTimers.erase(lFound);
}

bool zqDBusTimers::TakeDue(zqDBusClock::time_point aNow, Timer &aTimer) noexcept
{
    const std::lock_guard<std::mutex> lLock(mLink.mLock);
    zqDBusClock::time_point           lNext = zqDBusClock::time_point::max();

    for (auto lTimer = mTimers.begin(); lTimer != mTimers.end(); ++lTimer)
    {
        if (lTimer->mDue <= aNow)
        {
            aTimer = *lTimer;
            (void)mTimers.erase(lTimer);
            return true;
        }

        lNext = std::min(lNext, lTimer->mDue);
    }

    mLink.mLoop.WakeBy(lNext);
    return false;
}

void zqDBusTimers::Run() noexcept
{
    // One look at the clock: one that sets itself again without a pause waits for the next round.
    const zqDBusClock::time_point lNow   = zqDBusClock::now();
    Timer                         lTimer = {};

    while (TakeDue(lNow, lTimer))
    {
        try
        {
            lTimer.mHandler(lTimer.mContext);
        }
        catch (...)
        {
            ZQ_LOG(zqLogLevel_Error, "dbus: the handler of a timer threw\n");
        }
    }
}
