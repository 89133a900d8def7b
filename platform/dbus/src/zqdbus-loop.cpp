/**
 *  @file
 *    The descriptors, watches and time-outs of a connection.
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

/** Reads are of some kilobytes: enough of them for a large reply, not so many that a flood keeps the loop. */
constexpr int kTransfersPerCall = 64;

/** When libdbus has more than it may hold, its socket is left alone: look again after so long. */
constexpr int kWaitSliceMilliseconds = 1000;

/**
 *  Held while a time-out of libdbus runs. Another thread may drop the call that
 *  the time-out belongs to at that very moment: freeing it waits here.
 */
std::recursive_mutex sTimeoutRun;

/** The waiter of the call that the thread is about to send. */
thread_local zqDBusWaiter *tExpected = nullptr;

/** The wake-up of the thread's blocking calls: one at a time, made for the first. */
thread_local zqDBusDescriptor tSignal;

void AwaitTimeoutRun(void * /* aContext */) noexcept
{
    const std::lock_guard<std::recursive_mutex> lLock(sTimeoutRun);
}

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

    if (lReturn == 0)
        lReturn = InitCallbacks(aConnection);

    if (lReturn != 0)
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

zqError zqDBusLoop::InitCallbacks(DBusConnection *aConnection) noexcept
{
    mConnection = aConnection;

    if (!dbus_connection_set_watch_functions(aConnection, AddWatch, RemoveWatch, ToggleWatch, this, nullptr))
        return zqError_NoResources;

    if (!dbus_connection_set_timeout_functions(aConnection, AddTimeout, RemoveTimeout, ToggleTimeout, this, nullptr))
        return zqError_NoResources;

    dbus_connection_set_wakeup_main_function(aConnection, WakeUp, this, nullptr);
    dbus_connection_set_dispatch_status_function(aConnection, DispatchStatusChanged, this, nullptr);

    return zqError_None;
}

void zqDBusLoop::Close() noexcept
{
    if (mConnection != nullptr)
    {
        dbus_connection_set_dispatch_status_function(mConnection, nullptr, nullptr, nullptr);
        dbus_connection_set_wakeup_main_function(mConnection, nullptr, nullptr, nullptr);
        (void)dbus_connection_set_timeout_functions(mConnection, nullptr, nullptr, nullptr, nullptr, nullptr);
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

dbus_bool_t zqDBusLoop::AddTimeout(DBusTimeout *aTimeout, void *aContext) noexcept
{
    const auto                      lLoop     = static_cast<zqDBusLoop *>(aContext);
    const std::chrono::milliseconds lInterval = std::chrono::milliseconds(dbus_timeout_get_interval(aTimeout));

    if (dbus_timeout_get_data(aTimeout) == nullptr)
        dbus_timeout_set_data(aTimeout, &sTimeoutRun, AwaitTimeoutRun);

    const std::lock_guard<std::mutex> lLock(lLoop->mLock);

    return zqDBusGuarded(
               [&]
               {
                   Timeout lTimeout = { tExpected, lInterval, zqDBusClock::time_point::max() };

                   // Who waits for a call looks at the clock himself.
                   if (lTimeout.mWaiter == nullptr && dbus_timeout_get_enabled(aTimeout))
                       lTimeout.mDue = zqDBusClock::now() + lInterval;

                   lLoop->mTimeouts[aTimeout] = lTimeout;
                   lLoop->WakeByLocked(lTimeout.mDue);

                   return zqError_None;
               }) == zqError_None;
}

void zqDBusLoop::ToggleTimeout(DBusTimeout *aTimeout, void *aContext) noexcept
{
    const auto                        lLoop = static_cast<zqDBusLoop *>(aContext);
    const std::lock_guard<std::mutex> lLock(lLoop->mLock);
    const auto                        lFound = lLoop->mTimeouts.find(aTimeout);

    if (lFound == lLoop->mTimeouts.end() || lFound->second.mWaiter != nullptr)
        return;

    lFound->second.mDue = dbus_timeout_get_enabled(aTimeout) ? zqDBusClock::now() + lFound->second.mInterval
                                                             : zqDBusClock::time_point::max();
    lLoop->WakeByLocked(lFound->second.mDue);
}

// libdbus removes the time-out of a call at the moment when the reply enters
// the queue of received messages: that is how a waiter learns of it.
void zqDBusLoop::RemoveTimeout(DBusTimeout *aTimeout, void *aContext) noexcept
{
    const auto                        lLoop = static_cast<zqDBusLoop *>(aContext);
    const std::lock_guard<std::mutex> lLock(lLoop->mLock);
    const auto                        lFound = lLoop->mTimeouts.find(aTimeout);

    if (lFound == lLoop->mTimeouts.end())
        return;

    if (zqDBusWaiter *const lWaiter = lFound->second.mWaiter)
    {
        lWaiter->mHasArrived = true;
        lWaiter->mSignal->Signal();
    }

    (void)lLoop->mTimeouts.erase(lFound);
}

void zqDBusLoop::WakeUp(void *aContext) noexcept
{
    static_cast<zqDBusLoop *>(aContext)->Wake();
}

void zqDBusLoop::DispatchStatusChanged(DBusConnection * /* aConnection */, DBusDispatchStatus aStatus,
                                       void *aContext) noexcept
{
    if (aStatus != DBUS_DISPATCH_COMPLETE)
        static_cast<zqDBusLoop *>(aContext)->Wake();
}

void zqDBusLoop::WakeBy(zqDBusClock::time_point aTime) noexcept
{
    const std::lock_guard<std::mutex> lLock(mLock);

    WakeByLocked(aTime);
}

void zqDBusLoop::WakeByLocked(zqDBusClock::time_point aTime) noexcept
{
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

// Read and written without touching a watch: another thread's blocking call
// may free it at any time.
void zqDBusLoop::TransferOnce() noexcept
{
    (void)dbus_connection_read_write(mConnection, 0);
}

bool zqDBusLoop::Serve() noexcept
{
    bool lIsTimerDue = false;

    for (int lCount = 0; lCount < kTransfersPerCall; lCount++)
    {
        epoll_event lEvents[3];
        const int   lReady      = epoll_wait(mSet.Get(), lEvents, 3, 0);
        bool        lHasTraffic = false;

        for (int lIndex = 0; lIndex < lReady; lIndex++)
        {
            if (lEvents[lIndex].data.fd == mTimer.Get())
                lIsTimerDue = true;
            else if (lEvents[lIndex].data.fd == mWake.Get())
                mWake.Drain();
            else
                lHasTraffic = true;
        }

        if (!lHasTraffic)
            break;

        TransferOnce();
    }

    if (lIsTimerDue)
        RunTimeouts();

    return lIsTimerDue;
}

void zqDBusLoop::RunTimeouts() noexcept
{
    {
        const std::lock_guard<std::mutex> lLock(mLock);

        mTimer.Drain();
        mArmed = zqDBusClock::time_point::max();
    }

    const std::lock_guard<std::recursive_mutex> lRun(sTimeoutRun);

    while (DBusTimeout *const lTimeout = TakeDueTimeout())
        (void)dbus_timeout_handle(lTimeout);
}

DBusTimeout *zqDBusLoop::TakeDueTimeout() noexcept
{
    const std::lock_guard<std::mutex> lLock(mLock);
    const zqDBusClock::time_point     lNow  = zqDBusClock::now();
    zqDBusClock::time_point           lNext = zqDBusClock::time_point::max();

    for (auto &lRow : mTimeouts)
    {
        if (lRow.second.mDue <= lNow)
        {
            lRow.second.mDue = lNow + std::max(lRow.second.mInterval, std::chrono::milliseconds(1));
            return lRow.first;
        }

        lNext = std::min(lNext, lRow.second.mDue);
    }

    WakeByLocked(lNext);

    return nullptr;
}

void zqDBusLoop::Expect(zqDBusWaiter *aWaiter) noexcept
{
    if (aWaiter != nullptr)
    {
        if (!tSignal.IsOpen())
            tSignal.Set(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));

        aWaiter->mSignal = &tSignal;
    }

    tExpected = aWaiter;
}

bool zqDBusLoop::HasArrived(const zqDBusWaiter &aWaiter) noexcept
{
    const std::lock_guard<std::mutex> lLock(mLock);

    return aWaiter.mHasArrived;
}

zqError zqDBusLoop::Wait(const zqDBusWaiter &aWaiter, zqDBusClock::time_point anEnd) noexcept
{
    for (;;)
    {
        TransferOnce();

        // What came beside the reply is the loop's, which saw no descriptor become readable.
        if (dbus_connection_get_dispatch_status(mConnection) != DBUS_DISPATCH_COMPLETE)
            Wake();

        // Fetching the reply flushes, without a limit, what others left to be sent: not before it is gone.
        if (HasArrived(aWaiter) && !dbus_connection_has_messages_to_send(mConnection))
            return zqError_None;

        if (!dbus_connection_get_is_connected(mConnection))
            return zqError_WrongState;

        if (zqDBusClock::now() >= anEnd)
            return zqError_TimedOut;

        pollfd lFiles[2] = { { mWatchSet.Get(), POLLIN, 0 }, { aWaiter.mSignal->Get(), POLLIN, 0 } };

        if (poll(lFiles, 2, ToPollTimeout(anEnd)) > 0 && (lFiles[1].revents & POLLIN) != 0)
            aWaiter.mSignal->Drain();
    }
}
