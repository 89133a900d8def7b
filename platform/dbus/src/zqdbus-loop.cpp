/**
 *  @file
 *    The descriptors and watches of a connection, and the timer.
 */

#include "zqdbus-private.h"

#include <private/pprio.h>

#include <algorithm>

#include <poll.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

namespace
{

/** When libdbus has more than it may hold, its socket is left alone: look again after so long. */
constexpr int kWaitSliceMilliseconds = 1000;

/** The wake-up of the thread's blocking calls: one at a time, made for the first. */
thread_local zqDBusDescriptor tSignal;

bool AddToSet(const zqDBusDescriptor &aSet, const zqDBusDescriptor &aDescriptor) noexcept
{
    epoll_event lEvent = {};

    lEvent.events  = EPOLLIN;
    lEvent.data.fd = aDescriptor.Get();

    return epoll_ctl(aSet.Get(), EPOLL_CTL_ADD, aDescriptor.Get(), &lEvent) == 0;
}

int ToPollTimeout(zqDBusClock::time_point anEnd) noexcept
{
    const auto lLeft = std::chrono::ceil<std::chrono::milliseconds>(anEnd - zqDBusClock::now()).count();

    return static_cast<int>(std::clamp<std::int64_t>(lLeft, 0, kWaitSliceMilliseconds));
}

unsigned int ToEpollEvents(DBusWatch *aWatch) noexcept
{
    if (!dbus_watch_get_enabled(aWatch))
        return 0;

    const unsigned int lFlags = dbus_watch_get_flags(aWatch);

    return ((lFlags & DBUS_WATCH_READABLE) != 0 ? EPOLLIN : 0U) | ((lFlags & DBUS_WATCH_WRITABLE) != 0 ? EPOLLOUT : 0U);
}

} // namespace

void zqDBusDescriptor::Set(int aDescriptor) noexcept
{
    const int lOld = std::exchange(mDescriptor, aDescriptor);

    if (lOld >= 0)
        (void)close(lOld);
}

void zqDBusDescriptor::Signal() const noexcept
{
    const std::uint64_t lOne = 1;

    // A full counter is as ready as can be.
    (void)!write(mDescriptor, &lOne, sizeof(lOne));
}

void zqDBusDescriptor::Drain() const noexcept
{
    std::uint64_t lCount = 0;

    (void)!read(mDescriptor, &lCount, sizeof(lCount));
}

zqError zqDBusLoop::Init(DBusConnection *aConnection) noexcept
{
    zqError lReturn = InitDescriptors();

    mConnection = aConnection;

    if (lReturn == zqError_None &&
        !dbus_connection_set_watch_functions(aConnection, AddWatch, RemoveWatch, ToggleWatch, this, nullptr))
        lReturn = zqError_NoResources;

    if (lReturn != zqError_None)
        Close();

    return lReturn;
}

zqError zqDBusLoop::InitDescriptors() noexcept
{
    mSet.Set(epoll_create1(EPOLL_CLOEXEC));
    mWatchSet.Set(epoll_create1(EPOLL_CLOEXEC));
    mTimer.Set(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK));
    mWake.Set(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));

    if (!mSet.IsOpen() || !mWatchSet.IsOpen() || !mTimer.IsOpen() || !mWake.IsOpen())
        return zqError_NoResources;

    if (!AddToSet(mSet, mWatchSet) || !AddToSet(mSet, mTimer) || !AddToSet(mSet, mWake))
        return zqError_NoResources;

    mPollFile = PR_CreateSocketPollFd(mSet.Get());

    if (mPollFile == nullptr)
        return zqError_NoResources;

    mPollDescriptor = { mPollFile, PR_POLL_READ, 0 };

    return zqError_None;
}

void zqDBusLoop::Close() noexcept
{
    if (mConnection != nullptr)
    {
        (void)dbus_connection_set_watch_functions(mConnection, nullptr, nullptr, nullptr, nullptr, nullptr);
        mConnection = nullptr;
    }

    if (mPollFile != nullptr)
        (void)PR_DestroySocketPollFd(std::exchange(mPollFile, nullptr));

    mPollDescriptor = { nullptr, 0, 0 };
    mSet.Set(-1);
    mWatchSet.Set(-1);
    mTimer.Set(-1);
    mWake.Set(-1);
}

dbus_bool_t zqDBusLoop::AddWatch(DBusWatch *aWatch, void *aContext) noexcept
{
    const auto                        lLoop = static_cast<zqDBusLoop *>(aContext);
    const int                         lFile = dbus_watch_get_unix_fd(aWatch);
    const std::lock_guard<std::mutex> lLock(lLoop->mLock);

    return zqDBusGuarded(
               [&]
               {
                   lLoop->mWatches.push_back({ aWatch, lFile, ToEpollEvents(aWatch) });

                   if (lLoop->UpdateDescriptorLocked(lFile))
                       return zqError_None;

                   lLoop->mWatches.pop_back();

                   return zqError_NoResources;
               }) == zqError_None;
}

void zqDBusLoop::ToggleWatch(DBusWatch *aWatch, void *aContext) noexcept
{
    const auto                        lLoop = static_cast<zqDBusLoop *>(aContext);
    const std::lock_guard<std::mutex> lLock(lLoop->mLock);

    for (Watch &lWatch : lLoop->mWatches)
        if (lWatch.mWatch == aWatch)
        {
            lWatch.mEvents = ToEpollEvents(aWatch);
            (void)lLoop->UpdateDescriptorLocked(lWatch.mDescriptor);
            return;
        }
}

void zqDBusLoop::RemoveWatch(DBusWatch *aWatch, void *aContext) noexcept
{
    const auto                        lLoop = static_cast<zqDBusLoop *>(aContext);
    const std::lock_guard<std::mutex> lLock(lLoop->mLock);
    const auto                        lFound = std::find_if(lLoop->mWatches.begin(), lLoop->mWatches.end(),
                                                            [=](const Watch &lWatch) { return lWatch.mWatch == aWatch; });

    if (lFound == lLoop->mWatches.end())
        return;

    const int lFile = lFound->mDescriptor;

    (void)lLoop->mWatches.erase(lFound);
    (void)lLoop->UpdateDescriptorLocked(lFile);
}

bool zqDBusLoop::UpdateDescriptorLocked(int aDescriptor) noexcept
{
    epoll_event lEvent = {};

    lEvent.data.fd = aDescriptor;

    for (const Watch &lWatch : mWatches)
        if (lWatch.mDescriptor == aDescriptor)
            lEvent.events |= lWatch.mEvents;

    if (lEvent.events == 0)
    {
        // Left in the set it would still report a hang-up, for ever.
        (void)epoll_ctl(mWatchSet.Get(), EPOLL_CTL_DEL, aDescriptor, nullptr);
        return true;
    }

    return epoll_ctl(mWatchSet.Get(), EPOLL_CTL_MOD, aDescriptor, &lEvent) == 0 ||
           epoll_ctl(mWatchSet.Get(), EPOLL_CTL_ADD, aDescriptor, &lEvent) == 0;
}

// Signalled once until the loop has looked: what was to be seen was there before it was signalled.
void zqDBusLoop::Wake() noexcept
{
    if (!mIsWoken.exchange(true))
        mWake.Signal();
}

void zqDBusLoop::WakeBy(zqDBusClock::time_point aTime) noexcept
{
    const std::lock_guard<std::mutex> lLock(mLock);

    if (aTime >= mArmed)
        return;

    // Zero would disarm the timer.
    const auto lWait    = std::max<std::chrono::nanoseconds>(aTime - zqDBusClock::now(), std::chrono::nanoseconds(1));
    const auto lSeconds = std::chrono::duration_cast<std::chrono::seconds>(lWait);
    itimerspec lTime    = {};

    lTime.it_value.tv_sec  = static_cast<time_t>(lSeconds.count());
    lTime.it_value.tv_nsec = static_cast<long>((lWait - lSeconds).count());
    mArmed                 = aTime;

    (void)timerfd_settime(mTimer.Get(), 0, &lTime, nullptr);
}

bool zqDBusLoop::Settle() noexcept
{
    // Made unreadable before the flag allows another signal, and before what it told of is looked at.
    if (mIsWoken)
    {
        mWake.Drain();
        mIsWoken = false;
    }

    const std::lock_guard<std::mutex> lLock(mLock);

    if (mArmed > zqDBusClock::now())
        return false;

    mTimer.Drain();
    mArmed = zqDBusClock::time_point::max();
    return true;
}

const zqDBusDescriptor *zqDBusLoop::GetThreadSignal() noexcept
{
    if (!tSignal.IsOpen())
        tSignal.Set(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));

    return tSignal.IsOpen() ? &tSignal : nullptr;
}

void zqDBusLoop::SignalThread(const zqDBusDescriptor &aSignal) noexcept
{
    if (&aSignal != &tSignal)
        aSignal.Signal();
}

void zqDBusLoop::Wait(const zqDBusDescriptor &aSignal, zqDBusClock::time_point anEnd) noexcept
{
    pollfd lFiles[2] = { { mWatchSet.Get(), POLLIN, 0 }, { aSignal.Get(), POLLIN, 0 } };

    if (poll(lFiles, 2, ToPollTimeout(anEnd)) > 0 && (lFiles[1].revents & POLLIN) != 0)
        aSignal.Drain();
}
