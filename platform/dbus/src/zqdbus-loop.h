/**
 *  @file
 *    The descriptors of a zqDBus instance, and waiting on them.
 */

#ifndef ZQDBUS_LOOP_H
#define ZQDBUS_LOOP_H

#include <zqdbus.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <vector>

using zqDBusClock = std::chrono::steady_clock;

/** A native descriptor that closes itself. */
class zqDBusDescriptor
{
public:
    zqDBusDescriptor() noexcept                           = default;
    zqDBusDescriptor(const zqDBusDescriptor &)            = delete;
    zqDBusDescriptor &operator=(const zqDBusDescriptor &) = delete;
    ~zqDBusDescriptor() { Set(-1); }

    int  Get() const noexcept { return mDescriptor; }
    bool IsOpen() const noexcept { return mDescriptor >= 0; }
    void Set(int aDescriptor) noexcept;

    /** For an eventfd: make it readable. */
    void Signal() const noexcept;

    /** For an eventfd or a timerfd: make it unreadable again. */
    void Drain() const noexcept;

private:
    int mDescriptor = -1;
};

/**
 *  The descriptors of a connection, in one that an NSPR loop can poll.
 *
 *  That one is an epoll set of three: the timer, the wake-up, and another epoll
 *  set with what libdbus watches. Who waits on his own thread waits on the inner
 *  set: libdbus's own wait keeps every other thread from sending as long as it
 *  lasts, and flushes without a limit before it begins.
 */
class zqDBusLoop
{
public:
    zqDBusLoop() noexcept = default;
    ~zqDBusLoop() { Close(); }
    zqDBusLoop(const zqDBusLoop &)            = delete;
    zqDBusLoop &operator=(const zqDBusLoop &) = delete;

    zqError Init(DBusConnection *aConnection) noexcept;
    void    Close() noexcept;

    PRPollDesc *GetDescriptor() noexcept { return &mPollDescriptor; }

    /** Make the descriptor ready, now or at a time. Any thread. */
    void Wake() noexcept;
    void WakeBy(zqDBusClock::time_point aTime) noexcept;

    /** Take back what made the descriptor ready. @returns true when the timer ran out. */
    bool Settle() noexcept;

    /** The calling thread's own wake-up, made at the first call; null when it cannot be made. */
    static const zqDBusDescriptor *GetThreadSignal() noexcept;

    /** Wake the thread whose wake-up it is; the calling one is awake. */
    static void SignalThread(const zqDBusDescriptor &aSignal) noexcept;

    /** Wait, not beyond @a anEnd and never for long, until there is traffic or the signal was given. */
    void Wait(const zqDBusDescriptor &aSignal, zqDBusClock::time_point anEnd) noexcept;

private:
    struct Watch
    {
        const DBusWatch *mWatch;
        int              mDescriptor;
        unsigned int     mEvents;
    };

    static dbus_bool_t AddWatch(DBusWatch *aWatch, void *aContext) noexcept;
    static void        ToggleWatch(DBusWatch *aWatch, void *aContext) noexcept;
    static void        RemoveWatch(DBusWatch *aWatch, void *aContext) noexcept;

    zqError InitDescriptors() noexcept;
    bool    UpdateDescriptorLocked(int aDescriptor) noexcept;

    std::mutex              mLock;
    DBusConnection         *mConnection = nullptr;
    std::vector<Watch>      mWatches;
    zqDBusClock::time_point mArmed = zqDBusClock::time_point::max();
    std::atomic<bool>       mIsWoken{ false };
    zqDBusDescriptor        mSet;
    zqDBusDescriptor        mWatchSet;
    zqDBusDescriptor        mTimer;
    zqDBusDescriptor        mWake;
    PRFileDesc             *mPollFile       = nullptr;
    PRPollDesc              mPollDescriptor = { nullptr, 0, 0 };
};

#endif // ZQDBUS_LOOP_H
