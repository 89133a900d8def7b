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

zqError zqDBusTimers::Add(zqDBus::TimerHandler aHandler, void *aContext) noexcept
{
    if (aHandler == nullptr)
        return zqError_InvalidArgument;

    return zqDBusGuarded(
        [&]
        {
            const std::lock_guard<std::mutex> lLock(mLink.mLock);

            if (mLink.mIsLost)
                return zqError(zqError_WrongState);

            mTimers.push_back({ aHandler, aContext, zqDBusClock::time_point::max() });
            return zqError(zqError_None);
        });
}

void zqDBusTimers::Remove(zqDBus::TimerHandler aHandler, void *aContext) noexcept
{
    const std::lock_guard<std::mutex> lLock(mLink.mLock);
    const auto                        lFound = FindLocked(aHandler, aContext);

    if (lFound != mTimers.end())
        (void)mTimers.erase(lFound);
}

zqError zqDBusTimers::Set(zqDBus::TimerHandler aHandler, void *aContext, int aMilliseconds) noexcept
{
    if (aHandler == nullptr || aMilliseconds < 0)
        return zqError_InvalidArgument;

    const auto                        lDue = zqDBusClock::now() + std::chrono::milliseconds(aMilliseconds);
    const std::lock_guard<std::mutex> lLock(mLink.mLock);
    const auto                        lFound = FindLocked(aHandler, aContext);

    if (mLink.mIsLost)
        return zqError_WrongState;
    if (lFound == mTimers.end())
        return zqError_NotFound;

    lFound->mDue = lDue;
    mLink.mLoop.WakeBy(lDue);
    return zqError_None;
}

void zqDBusTimers::Stop(zqDBus::TimerHandler aHandler, void *aContext) noexcept
{
    const std::lock_guard<std::mutex> lLock(mLink.mLock);
    const auto                        lFound = FindLocked(aHandler, aContext);

    if (lFound != mTimers.end())
        lFound->mDue = zqDBusClock::time_point::max();
}

bool zqDBusTimers::TakeDue(zqDBusClock::time_point aNow, Timer &aTimer) noexcept
{
    const std::lock_guard<std::mutex> lLock(mLink.mLock);
    zqDBusClock::time_point           lNext = zqDBusClock::time_point::max();

    for (Timer &lTimer : mTimers)
    {
        if (lTimer.mDue <= aNow)
        {
            aTimer      = lTimer;
            lTimer.mDue = zqDBusClock::time_point::max();
            return true;
        }

        lNext = std::min(lNext, lTimer.mDue);
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
