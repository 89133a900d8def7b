/**
 *  @file
 *    The parts of a zqDBus instance.
 *
 *  A message goes two ways. What any thread has read is sorted at once, in the
 *  order of the stream: a reply goes to its call, the rest into the instance's
 *  own queue. The thread that runs HandleEvents takes it from there and calls the
 *  handlers. So libdbus's queue is empty between two operations, a reply is found
 *  by its serial whatever came before it, and a handler that blocks keeps nobody
 *  from reading.
 *
 *  There is no pending call of libdbus's on the connection: when a connection
 *  dies, libdbus 1.14 completes those one by one without its lock, and a second
 *  thread that looks at the queue meanwhile ends the process.
 *
 *  Locks, in the order in which they are taken: zqDBusLink::mLock, libdbus's
 *  own, zqDBusLoop::mLock. libdbus calls the loop's watch functions with its own
 *  lock held, on whatever thread makes a call: they touch nothing but the loop.
 *  No lock of ours is held while a handler runs or a call blocks.
 */

#ifndef ZQDBUS_PRIVATE_H
#define ZQDBUS_PRIVATE_H

#include "zqdbus-loop.h"
#include "zqdbus-received.h"

#include <cstring>
#include <map>
#include <new>
#include <string>
#include <thread>
#include <utility>
#include <vector>

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

/** What a method call needs. */
inline bool zqDBusAreValidNames(const char *aDestination, const char *aPath, const char *anInterface,
                                const char *aMethod) noexcept
{
    return zqDBusIsValidBusName(aDestination) && zqDBusIsValidPath(aPath) && zqDBusIsValidInterface(anInterface) &&
           zqDBusIsValidMember(aMethod);
}

/**
 *  Walk over the arguments of a marshalled message, as zqDBus::WalkDBusMsgIter does over those of one in memory.
 *
 *  @param[out]  aResult  What the walker returned.
 *  @returns false, and nothing was walked, when the bytes are not proven to be such a message.
 */
bool zqDBusWalkBytes(const char *aBytes, int aLength, const char *aSignature, zqDBusWalker aWalker, void *aContext,
                     zqError &aResult) noexcept;

/** When a time-out in milliseconds that begins now will have run out; never for DBUS_TIMEOUT_INFINITE. */
zqDBusClock::time_point zqDBusDeadline(int aTimeout) noexcept;

/** Append type and address pairs after checking every one of them. @retval 0, -5, -7. */
zqError zqDBusAppendArguments(DBusMessage *aMessage, int aFirstType, va_list aArguments) noexcept;

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

    bool IsConnectedLocked() const noexcept { return !mIsLost && dbus_connection_get_is_connected(mConnection); }
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
 *  Who owns the well-known names that matter: as of the message being
 *  dispatched, and as of the one received last.
 *
 *  The bus delivers in order: since the rule and the question go out before
 *  anything that depends on them, the answer is received before it, too.
 */
class zqDBusOwners
{
public:
    zqDBusOwners(zqDBusLink &aLink, zqDBusRules &aRules) noexcept : mLink(aLink), mRules(aRules) {}

    /** True for a name that can change its owner. */
    static bool IsTracked(const char *aName) noexcept;

    zqError UseLocked(const char *aName);
    void    ReleaseLocked(const char *aName) noexcept;
    bool    HasLocked(const char *aName) const noexcept;

    /** As of the message being dispatched. */
    bool IsOwnerLocked(const char *aName, const char *aSender) const noexcept;

    /** The owner as of the message received last, or empty. */
    const std::string &GetLatestLocked(const char *aName) const noexcept;

    /** Learn from a message that was received. @returns true when it answered a question of ours: nobody else wants it.
     */
    bool ReceiveLocked(DBusMessage *aMessage, zqDBusSequence aSequence);

    /** A message is about to be dispatched: what was received before it counts from here on. */
    void AdvanceLocked(zqDBusSequence aSequence) noexcept;

private:
    struct Change
    {
        zqDBusSequence mSequence;
        std::string    mOwner;
    };

    struct Name
    {
        unsigned int        mUsers  = 0;
        dbus_uint32_t       mSerial = 0; ///< of the question, until it is answered
        std::string         mOwner;
        std::vector<Change> mComing; ///< received and not reached yet by what is dispatched
    };

    static std::string MakeRule(const char *aName);
    bool               ReceiveAnswerLocked(DBusMessage *aMessage, zqDBusSequence aSequence);
    void               ReceiveChangeLocked(DBusMessage *aMessage, zqDBusSequence aSequence);
    void               AddChangeLocked(Name &aName, zqDBusSequence aSequence, const char *anOwner);

    zqDBusLink                              &mLink;
    zqDBusRules                             &mRules;
    std::map<std::string, Name, std::less<>> mNames;
    std::size_t                              mNumComing = 0; ///< over all names
};

/** The calls that wait for their outcome. */
class zqDBusCalls
{
public:
    zqDBusCalls(zqDBusLink &aLink, zqDBusOwners &anOwners) noexcept : mLink(aLink), mOwners(anOwners) {}

    /** A blocking call's side of the wait for its reply; guarded by the link's lock. */
    struct Waiter
    {
        const zqDBusDescriptor *mSignal = nullptr; ///< of the thread that waits
        zqDBusMessageRef        mReply;
        bool                    mIsGone = false; ///< the bus went before the reply came
    };

    /** What becomes of a call whose reply was received. */
    enum class Receipt
    {
        Unknown, ///< no call of ours waits for it
        Forged,  ///< it is somebody else's: the true one is still to come
        Taken,   ///< a blocking call has it
        Pending  ///< its receiver is to be told
    };

    zqError Send(DBusMessage *aMessage, zqDBusPendingCall *aPending, int aTimeout) noexcept;

    /** The same for a call whose thread is going to wait. @param[out]  aSerial  By which it is forgotten. */
    zqError SendWaiting(DBusMessage *aMessage, int aTimeout, Waiter &aWaiter, dbus_uint32_t &aSerial) noexcept;
    void    ForgetLocked(dbus_uint32_t aSerial) noexcept { (void)mCalls.erase(aSerial); }

    /** @param[out]  aPending  The receiver, when the result is Pending: it waits for nothing more. */
    Receipt ReceiveLocked(DBusMessage *aMessage, zqDBusPendingCall *&aPending) noexcept;

    /** The bus has gone: no blocking call gets its reply any more. */
    void ReceiveLossLocked() noexcept;

    /** True when the receiver waited for an outcome; it does not any more. */
    bool RemoveLocked(const zqDBusPendingCall *aPending) noexcept;

    bool IsEmptyLocked() const noexcept { return mCalls.empty(); }

    /** End the calls whose time has run out. */
    void Expire() noexcept;

    /** End all of them, for the bus is gone. */
    void EndAll() noexcept;

    // A call's one outcome; each deletes the receiver.
    static void Reply(zqDBusPendingCall *aPending, DBusMessage *aReply) noexcept;
    static void Disconnect(zqDBusPendingCall *aPending, const char *aReason) noexcept;

private:
    struct Call
    {
        zqDBusPendingCall      *mPending; ///< null for a blocking call
        Waiter                 *mWaiter;
        std::string             mDestination;
        std::string             mOwner; ///< of the destination when the call was sent
        zqDBusClock::time_point mDue;
    };
    using Calls = std::map<dbus_uint32_t, Call>;

    zqError SendCall(DBusMessage *aMessage, Call aCall, dbus_uint32_t *aSerial) noexcept;
    zqError PrepareLocked(DBusMessage *aMessage, std::string &anOwner);
    bool    IsGenuineLocked(const Call &aCall, const char *aSender) const noexcept;

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

    bool IsEmptyLocked() const noexcept { return mEntries.empty(); }

    /** @returns true when a handler has handled it. */
    bool Dispatch(DBusMessage *aMessage) noexcept;

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
    /** A message and what of it rows are compared with, which libdbus looks up anew each time. */
    struct Head
    {
        explicit Head(DBusMessage *aMessage) noexcept;

        DBusMessage *mMessage;
        const char  *mMember;
        const char  *mInterface;
        const char  *mPath;
        const char  *mSender;
    };

    bool IsMatchLocked(const zqDBusSignalDispatch &aRow, const Head &aHead) const noexcept;
    bool IsServedLocked(const void *aContext) const noexcept;

    /** The row of the entry that takes the message, and the handler and context to call; false when there is none. */
    bool TakeLocked(Entry &anEntry, const Head &aHead, zqDBusMessageHandler &aHandler, void *&aContext) noexcept;

    static DBusHandlerResult CallFilter(void *anEntry, DBusConnection *aConnection, DBusMessage *aMessage);

    zqDBusLink   &mLink;
    zqDBusRules  &mRules;
    zqDBusOwners &mOwners;
    Entries       mEntries;
    unsigned long mMessage       = 0; ///< counts the messages dispatched
    bool          mIsDispatching = false;
};

/** The connection's filters, in the order in which they were added. */
class zqDBusConnectionFilters
{
public:
    explicit zqDBusConnectionFilters(zqDBusLink &aLink) noexcept : mLink(aLink) {}

    zqError Add(DBusHandleMessageFunction aFilter, void *aContext, DBusFreeFunction aFree) noexcept;
    zqError Remove(DBusHandleMessageFunction aFilter, const void *aContext) noexcept;
    void    RemoveAll() noexcept;

    /** Until one of them has handled it. */
    void Dispatch(DBusMessage *aMessage) noexcept;

private:
    struct Row;
    using Rows = std::vector<std::shared_ptr<Row>>;

    std::shared_ptr<Row> FindAfter(unsigned long aNumber, unsigned long aLast) noexcept;

    zqDBusLink   &mLink;
    Rows          mRows;
    unsigned long mLast = 0; ///< the number that was given to a row last
};

/** The exported objects. */
class zqDBusObjects
{
public:
    explicit zqDBusObjects(zqDBusLink &aLink) noexcept : mLink(aLink) {}

    zqError Register(const char *aPath, const zqDBusMethodDispatch *aTable, void *aContext) noexcept;
    zqError Unregister(const char *aPath) noexcept;

    bool IsEmptyLocked() const noexcept { return mObjects.empty(); }

    /** True when the message is a call that one of the tables has a row for. */
    bool HasLocked(DBusMessage *aMessage) const noexcept;

    void Dispatch(DBusMessage *aMessage) noexcept;

    /** Take the paths off libdbus that it could not let go of for want of memory. */
    void Retry() noexcept;

    void UnregisterAll() noexcept;

private:
    struct Object
    {
        const zqDBusMethodDispatch *mTable; ///< null: no longer exported
        void                       *mContext;
    };

    const zqDBusMethodDispatch *FindRowLocked(DBusMessage *aMessage, void *&aContext) const noexcept;

    zqDBusLink                                &mLink;
    std::map<std::string, Object, std::less<>> mObjects;
    bool                                       mHasStale = false;
};

/** What is to be called at a time. */
class zqDBusTimers
{
public:
    explicit zqDBusTimers(zqDBusLink &aLink) noexcept : mLink(aLink) {}

    zqError Add(zqDBus::TimerHandler aHandler, void *aContext) noexcept;
    void    Remove(zqDBus::TimerHandler aHandler, void *aContext) noexcept;
    void    RemoveAllLocked() noexcept { mTimers.clear(); }
    zqError Set(zqDBus::TimerHandler aHandler, void *aContext, int aMilliseconds) noexcept;
    void    Stop(zqDBus::TimerHandler aHandler, void *aContext) noexcept;

    /** Call those that are due. */
    void Run() noexcept;

private:
    struct Timer
    {
        zqDBus::TimerHandler    mHandler;
        void                   *mContext;
        zqDBusClock::time_point mDue; ///< max: it is not set
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

    // On any thread

    /** Call and wait for the reply, whatever that is. @retval 0, -3, -5, -7, -16. */
    zqError Block(DBusMessage *aMessage, int aTimeout, zqDBusMessageRef &aReply) noexcept;

    /** The two halves of it. */
    zqError Send(DBusMessage *aMessage, int aTimeout, zqDBusCalls::Waiter &aWaiter, dbus_uint32_t &aSerial) noexcept;
    zqError Await(zqDBusCalls::Waiter &aWaiter, dbus_uint32_t aSerial, int aTimeout, zqDBusMessageRef &aReply) noexcept;

    /** The result of a blocking call, from that of waiting for its reply. @retval as zqDBus::PerformMethodCall. */
    static zqError Conclude(zqError aResult, zqDBusMessageRef &aReply, DBusMessage **aTaken,
                            DBusError *anError) noexcept;

    zqError Perform(DBusMessage *aMessage, DBusMessage **aReply, int aTimeout, DBusError *anError) noexcept;
    zqError Cancel(zqDBusPendingCall *aPending) noexcept;
    zqError Flush(int aTimeout) noexcept;
    bool    IsOwnerNow(const char *aName, const char *aSender) noexcept;

    /** Dispatch what was received, at most so many messages. @param[in]  aIsReady  The descriptor was: read first. */
    int HandleEvents(bool aIsReady, std::size_t aMost) noexcept;

    void DispatchUnclaimed() noexcept;

    zqDBusLink                 mLink;
    zqDBusRules                mRules{ mLink };
    zqDBusOwners               mOwners{ mLink, mRules };
    zqDBusCalls                mCalls{ mLink, mOwners };
    zqDBusSignals              mSignals{ mLink, mRules, mOwners };
    zqDBusConnectionFilters    mFilters{ mLink };
    zqDBusObjects              mObjects{ mLink };
    zqDBusTimers               mTimers{ mLink };
    std::vector<DisconnectRow> mDisconnectRows;
    std::atomic<bool>          mIsYielded{ false };

private:
    static DBusHandlerResult Filter(DBusConnection *aConnection, DBusMessage *aMessage, void *aContext) noexcept;

    // Receiving, on any thread

    /** Read and write what can be without blocking, and sort what has come. @returns false when memory is short. */
    bool Transfer() noexcept;

    /** Sort what libdbus has received. @returns false when memory is short. */
    bool Sort() noexcept;

    DBusHandlerResult Receive(DBusMessage *aMessage);
    DBusHandlerResult ReceiveReply(DBusMessage *aMessage);
    void              QueueLocked(DBusMessage *aMessage, zqDBusPendingCall *aPending) noexcept;
    void              Wait(const zqDBusDescriptor &aSignal, bool aIsShort, zqDBusClock::time_point anEnd) noexcept;

    // Dispatching, on the thread that runs HandleEvents

    void Dispatch(std::size_t aMost) noexcept;
    void Handle(const zqDBusReceived &aReceived) noexcept;
    void Lose() noexcept;
    void EndReceived() noexcept;

    bool              mHasFilter = false;
    std::atomic<bool> mIsDispatching{ false };

    // Guarded by the link's lock
    zqDBusReceivedQueue mReceived;
    zqDBusSequence      mSequence = 0;
    bool                mHasLoss  = false; ///< the loss of the bus waits behind what was received

    std::atomic<std::thread::id> mDispatcher{};     ///< the thread inside of HandleEvents
    std::atomic<bool>            mIsShort{ false }; ///< memory was short when a message was to be sorted
};

#endif // ZQDBUS_PRIVATE_H
