/**
 *  @file
 *    The parts of a zqDBus instance.
 *
 *  Locks, in the order in which they are taken: zqDBusLink::mLock, libdbus's
 *  own, zqDBusLoop::mLock. libdbus calls the loop's watch and time-out functions
 *  with its own lock held, on whatever thread makes a call: they touch nothing
 *  but the loop. No lock of ours is held while a handler runs or a call blocks.
 */

#ifndef ZQDBUS_PRIVATE_H
#define ZQDBUS_PRIVATE_H

#include <zqdbus.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <map>
#include <mutex>
#include <new>
#include <string>
#include <utility>
#include <vector>

using zqDBusClock = std::chrono::steady_clock;

/** Holds one reference to a message, or null. */
class zqDBusMessageRef
{
public:
    zqDBusMessageRef() noexcept = default;
    explicit zqDBusMessageRef(DBusMessage *anAdopted) noexcept : mMessage(anAdopted) {}
    zqDBusMessageRef(const zqDBusMessageRef &)            = delete;
    zqDBusMessageRef &operator=(const zqDBusMessageRef &) = delete;
    ~zqDBusMessageRef() { Adopt(nullptr); }

    DBusMessage *Get() const noexcept { return mMessage; }
    DBusMessage *Leak() noexcept { return std::exchange(mMessage, nullptr); }

    void Adopt(DBusMessage *aMessage) noexcept
    {
        DBusMessage *lOld = std::exchange(mMessage, aMessage);

        if (lOld != nullptr)
            dbus_message_unref(lOld);
    }

private:
    DBusMessage *mMessage = nullptr;
};

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

/** Run an operation that may allocate. @returns its result, or -7 when memory is exhausted. */
template <typename Operation>
zqError zqDBusGuarded(Operation &&anOperation) noexcept
{
    try
    {
        return anOperation();
    }
    catch (const std::bad_alloc &)
    {
        return zqError_NoResources;
    }
}

inline bool zqDBusIsSame(const char *aFirst, const char *aSecond) noexcept
{
    return aFirst != nullptr && aSecond != nullptr && std::strcmp(aFirst, aSecond) == 0;
}

// What libdbus would end the process for (zqdbus-values.cpp)

bool zqDBusIsValidPath(const char *aPath) noexcept;
bool zqDBusIsValidInterface(const char *anInterface) noexcept;
bool zqDBusIsValidMember(const char *aMember) noexcept;
bool zqDBusIsValidBusName(const char *aName) noexcept;
bool zqDBusIsValidText(const char *aText) noexcept;

/** When a time-out in milliseconds that begins now will have run out; never for DBUS_TIMEOUT_INFINITE. */
zqDBusClock::time_point zqDBusDeadline(int aTimeout) noexcept;

/** Append type and address pairs after checking every one of them. @retval 0, -5, -7. */
zqError zqDBusAppendArguments(DBusMessage *aMessage, int aFirstType, va_list aArguments) noexcept;

/** A blocking call's side of the wait for its reply. */
struct zqDBusWaiter
{
    bool                    mHasArrived = false; ///< guarded by the loop's lock
    const zqDBusDescriptor *mSignal     = nullptr;
};

/**
 *  The descriptors of a connection, in one that an NSPR loop can poll.
 *
 *  That one is an epoll set of three: the time-outs' timer, the wake-up, and
 *  another epoll set with what libdbus watches. Blocking calls wait on the inner
 *  set themselves: libdbus's own wait keeps every other thread from sending as
 *  long as it lasts, and flushes without a limit before it begins.
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
    void Wake() noexcept { mWake.Signal(); }
    void WakeBy(zqDBusClock::time_point aTime) noexcept;

    /** Read and write what can be without blocking, and run libdbus's time-outs. @returns true when the timer ran out.
     */
    bool Serve() noexcept;

    /** The waiter whose call the calling thread is about to send; null afterwards. */
    static void Expect(zqDBusWaiter *aWaiter) noexcept;

    /** Wait until the waiter's reply is among the received messages. @retval 0, -3, -16. */
    zqError Wait(const zqDBusWaiter &aWaiter, zqDBusClock::time_point anEnd) noexcept;

private:
    struct Watch
    {
        const DBusWatch *mWatch;
        int              mDescriptor;
        unsigned int     mEvents;
    };

    struct Timeout
    {
        zqDBusWaiter             *mWaiter;
        std::chrono::milliseconds mInterval;
        zqDBusClock::time_point   mDue;
    };

    static dbus_bool_t AddWatch(DBusWatch *aWatch, void *aContext) noexcept;
    static void        ToggleWatch(DBusWatch *aWatch, void *aContext) noexcept;
    static void        RemoveWatch(DBusWatch *aWatch, void *aContext) noexcept;
    static dbus_bool_t AddTimeout(DBusTimeout *aTimeout, void *aContext) noexcept;
    static void        ToggleTimeout(DBusTimeout *aTimeout, void *aContext) noexcept;
    static void        RemoveTimeout(DBusTimeout *aTimeout, void *aContext) noexcept;
    static void        WakeUp(void *aContext) noexcept;
    static void DispatchStatusChanged(DBusConnection *aConnection, DBusDispatchStatus aStatus, void *aContext) noexcept;

    zqError      InitDescriptors() noexcept;
    zqError      InitCallbacks(DBusConnection *aConnection) noexcept;
    bool         UpdateDescriptorLocked(int aDescriptor) noexcept;
    void         WakeByLocked(zqDBusClock::time_point aTime) noexcept;
    void         TransferOnce() noexcept;
    void         RunTimeouts() noexcept;
    DBusTimeout *TakeDueTimeout() noexcept;
    bool         HasArrived(const zqDBusWaiter &aWaiter) noexcept;

    std::mutex                       mLock;
    DBusConnection                  *mConnection = nullptr;
    std::vector<Watch>               mWatches;
    std::map<DBusTimeout *, Timeout> mTimeouts;
    zqDBusClock::time_point          mArmed = zqDBusClock::time_point::max();
    zqDBusDescriptor                 mSet;
    zqDBusDescriptor                 mWatchSet;
    zqDBusDescriptor                 mTimer;
    zqDBusDescriptor                 mWake;
    PRFileDesc                      *mPollFile       = nullptr;
    PRPollDesc                       mPollDescriptor = { nullptr, 0, 0 };
};

/** What every part of an instance shares: the connection and the lock of all tables. */
class zqDBusLink
{
public:
    zqDBusLink() noexcept                     = default;
    zqDBusLink(const zqDBusLink &)            = delete;
    zqDBusLink &operator=(const zqDBusLink &) = delete;

    /** Queue a message without waiting. @retval 0, -3, -7. */
    zqError SendLocked(DBusMessage *aMessage, dbus_uint32_t *aSerial) noexcept;

    /** Call a method of the bus with one string, without waiting; a null serial: no answer is wanted. */
    zqError AskBusLocked(const char *aMethod, const char *anArgument, dbus_uint32_t *aSerial) noexcept;

    /** Send a call and wait for its reply, whatever that is. @retval 0, -3, -7, -16. */
    zqError Block(DBusMessage *aMessage, int aTimeout, zqDBusMessageRef &aReply) noexcept;

    bool IsConnected() noexcept;

    std::mutex      mLock;
    DBusConnection *mConnection = nullptr;
    bool            mIsLost     = false; ///< the bus is known to be gone, or the instance is
    zqDBusLoop      mLoop;
};

/** The match rules, each asked of the bus once. */
class zqDBusRules
{
public:
    explicit zqDBusRules(zqDBusLink &aLink) noexcept : mLink(aLink) {}

    /** The row as a rule; throws when memory is exhausted. */
    static std::string Make(const zqDBusSignalDispatch &aRow);

    zqError AddLocked(const std::string &aRule);
    void    RemoveLocked(const std::string &aRule) noexcept;

private:
    zqDBusLink                         &mLink;
    std::map<std::string, unsigned int> mRules;
};

/**
 *  Who owns the well-known names that matter, as of the message being dispatched.
 *
 *  The bus delivers in order: since the rule and the question go out before
 *  anything that depends on them, the answer is dispatched before it, too.
 */
class zqDBusOwners
{
public:
    zqDBusOwners(zqDBusLink &aLink, zqDBusRules &aRules) noexcept : mLink(aLink), mRules(aRules) {}

    /** True for a name that can change its owner. */
    static bool IsTracked(const char *aName) noexcept;

    zqError UseLocked(const char *aName);
    void    ReleaseLocked(const char *aName) noexcept;

    /** The owner, or empty. */
    std::string GetLocked(const char *aName) const;
    bool        IsOwnerLocked(const char *aName, const char *aSender) const noexcept;
    bool        HasLocked(const char *aName) const noexcept;

    /** Ask the bus and wait, not longer than a second; takes the lock. True when the sender owns the name now. */
    bool IsOwnerNow(const char *aName, const char *aSender) noexcept;

    /** Learn from a message. @returns true when it answered a question of ours: nobody else wants it. */
    bool HandleMessageLocked(DBusMessage *aMessage);

private:
    struct Name
    {
        unsigned int  mUsers  = 0;
        dbus_uint32_t mSerial = 0; ///< of the question, until it is answered
        std::string   mOwner;
    };

    static std::string MakeRule(const char *aName);
    bool               HandleAnswerLocked(DBusMessage *aMessage);
    void               HandleChangeLocked(DBusMessage *aMessage);

    zqDBusLink                              &mLink;
    zqDBusRules                             &mRules;
    std::map<std::string, Name, std::less<>> mNames;
};

/** The asynchronous calls that wait for their outcome, and the blocking ones. */
class zqDBusCalls
{
public:
    zqDBusCalls(zqDBusLink &aLink, zqDBusOwners &anOwners) noexcept : mLink(aLink), mOwners(anOwners) {}

    zqError Send(DBusMessage *aMessage, zqDBusPendingCall *aPending, int aTimeout) noexcept;
    zqError Perform(DBusMessage *aMessage, DBusMessage **aReply, int aTimeout, DBusError *anError) noexcept;
    zqError Cancel(zqDBusPendingCall *aPending) noexcept;

    /** @returns true when the message was the reply to a call of ours. */
    bool HandleReply(DBusMessage *aMessage) noexcept;

    /** End the calls whose time has run out. */
    void Expire() noexcept;

    /** End all of them, for the bus is gone. */
    void EndAll() noexcept;

private:
    struct Call
    {
        zqDBusPendingCall      *mPending;
        std::string             mDestination;
        std::string             mOwner; ///< of the destination when the call was sent
        zqDBusClock::time_point mDue;
    };
    using Calls = std::map<dbus_uint32_t, Call>;

    zqError PrepareLocked(DBusMessage *aMessage, std::string &anOwner);
    bool    IsGenuineLocked(const char *aDestination, const std::string &anOwner, DBusMessage *aReply) const noexcept;
    bool    IsGenuine(DBusMessage *aMessage, const std::string &anOwner, DBusMessage *aReply) noexcept;

    zqDBusLink   &mLink;
    zqDBusOwners &mOwners;
    Calls         mCalls;
};

/** The tables of signals and the filters, in the order in which they were registered. */
class zqDBusSignals
{
public:
    zqDBusSignals(zqDBusLink &aLink, zqDBusRules &aRules, zqDBusOwners &anOwners) noexcept
        : mLink(aLink), mRules(aRules), mOwners(anOwners)
    {
    }

    zqError Register(const char *aPath, const zqDBusSignalDispatch *aTable, void *aContext) noexcept;
    zqError Unregister(const char *aPath, const zqDBusSignalDispatch *aTable, void *aContext) noexcept;
    zqError AddFilters(const zqDBusFilter *aTable) noexcept;
    zqError RemoveFilters(const zqDBusFilter *aTable) noexcept;

    DBusHandlerResult Dispatch(DBusMessage *aMessage) noexcept;

private:
    struct Entry
    {
        std::string                 mPath; ///< that the table was registered for
        const zqDBusSignalDispatch *mTable         = nullptr;
        void                       *mContext       = nullptr;
        zqDBusFilter                mFilter        = {};
        zqDBusSignalDispatch        mFilterRows[2] = {}; ///< the filter as a table
        bool                        mIsStale       = false;
        unsigned long               mServed        = 0; ///< the last message that its context was given through it
    };
    using Entries = std::vector<std::unique_ptr<Entry>>;

    static bool IsValid(const zqDBusSignalDispatch &aRow) noexcept;
    static bool IsSame(const zqDBusFilter &aFirst, const zqDBusFilter &aSecond) noexcept;

    zqError AddLocked(std::unique_ptr<Entry> anEntry);
    zqError AddFilterLocked(const zqDBusFilter &aFilter);
    zqError UseRowLocked(const zqDBusSignalDispatch &aRow);
    void    ReleaseRowLocked(const zqDBusSignalDispatch &aRow) noexcept;
    void    RemoveLocked(Entry &anEntry) noexcept;
    bool    RemoveFilterLocked(const zqDBusFilter &aFilter) noexcept;
    void    PruneLocked() noexcept;
    bool    IsMatchLocked(const zqDBusSignalDispatch &aRow, DBusMessage *aMessage) const noexcept;
    bool    IsServedLocked(const void *aContext) const noexcept;

    /** The row of the entry that takes the message, and the handler and context to call; false when there is none. */
    bool TakeLocked(Entry &anEntry, DBusMessage *aMessage, zqDBusMessageHandler &aHandler, void *&aContext) noexcept;

    static DBusHandlerResult CallFilter(void *anEntry, DBusConnection *aConnection, DBusMessage *aMessage);

    zqDBusLink   &mLink;
    zqDBusRules  &mRules;
    zqDBusOwners &mOwners;
    Entries       mEntries;
    unsigned long mMessage       = 0; ///< counts the messages dispatched
    bool          mIsDispatching = false;
};

/** The exported objects. */
class zqDBusObjects
{
public:
    explicit zqDBusObjects(zqDBusLink &aLink) noexcept : mLink(aLink) {}

    zqError Register(const char *aPath, const zqDBusMethodDispatch *aTable, void *aContext) noexcept;
    zqError Unregister(const char *aPath) noexcept;

    /** Take the paths off libdbus that it could not let go of for want of memory. */
    void Retry() noexcept;

    void UnregisterAll() noexcept;

private:
    struct Object
    {
        const zqDBusMethodDispatch *mTable; ///< null: no longer exported
        void                       *mContext;
    };

    static DBusHandlerResult HandleCall(DBusConnection *aConnection, DBusMessage *aMessage, void *aContext) noexcept;

    zqDBusLink                                &mLink;
    std::map<std::string, Object, std::less<>> mObjects;
    bool                                       mHasStale = false;
};

/** What is to be called at a time. */
class zqDBusTimers
{
public:
    explicit zqDBusTimers(zqDBusLink &aLink) noexcept : mLink(aLink) {}

    zqError Set(zqDBus::TimerHandler aHandler, void *aContext, int aMilliseconds) noexcept;
    void    Stop(zqDBus::TimerHandler aHandler, void *aContext) noexcept;
    void    StopAllLocked() noexcept { mTimers.clear(); }

    /** Call those that are due. */
    void Run() noexcept;

private:
    struct Timer
    {
        zqDBus::TimerHandler    mHandler;
        void                   *mContext;
        zqDBusClock::time_point mDue;
    };
    using Timers = std::vector<Timer>;

    Timers::iterator FindLocked(zqDBus::TimerHandler aHandler, const void *aContext) noexcept;
    bool             TakeDue(zqDBusClock::time_point aNow, Timer &aTimer) noexcept;

    zqDBusLink &mLink;
    Timers      mTimers;
};

struct zqDBus::State
{
    using DisconnectRow = std::pair<DisconnectHandler, void *>;

    State() noexcept = default;
    ~State() { Close(); }

    zqError Init() noexcept;
    void    Close() noexcept;
    void    Dispatch() noexcept;
    void    Lose() noexcept;

    static DBusHandlerResult Filter(DBusConnection *aConnection, DBusMessage *aMessage, void *aContext) noexcept;

    zqDBusLink                 mLink;
    zqDBusRules                mRules{ mLink };
    zqDBusOwners               mOwners{ mLink, mRules };
    zqDBusCalls                mCalls{ mLink, mOwners };
    zqDBusSignals              mSignals{ mLink, mRules, mOwners };
    zqDBusObjects              mObjects{ mLink };
    zqDBusTimers               mTimers{ mLink };
    std::vector<DisconnectRow> mDisconnectRows;
    bool                       mHasFilter = false;
    std::atomic<bool>          mIsDispatching{ false };
    std::atomic<bool>          mIsYielded{ false };
};

#endif // ZQDBUS_PRIVATE_H
