/**
 *  @file
 *    zqConnMan, the client of the ConnMan daemon: it follows the daemon's
 *    presence, mirrors its state, technologies and services, carries requests
 *    to it, serves its input agent, and keeps the provisioning file.
 *
 *  Threads: Init, Destroy, SetDelegate, TellAvailableAgain, the Update and Flush
 *  operations and the array forms of ManagerGetServices and
 *  ManagerGetTechnologies belong to the thread that drives the bus
 *  (zqDBus::HandleEvents), and every callback of the delegate comes on it. The
 *  requests, the dictionary forms that ask the daemon, and the answers to an
 *  input request may come from any thread.
 *
 *  Results, where an operation does not say otherwise:
 *
 *    -  0      Done; for an asynchronous request: sent.
 *    - -1      The daemon refused, for a reason that has no code of its own.
 *    - -3      Not initialised, the daemon is not on the bus, or the bus is
 *              gone: nothing was sent.
 *    - -5      An argument is null or cannot be sent, a value is of a type that
 *              is not supported, or a reply cannot be decoded.
 *    - -2, -7  Memory is exhausted.
 *    - -7001   The daemon did not answer a blocking request in time, or went
 *              away before it answered. (An asynchronous request that is not
 *              answered in time is reported as -16.)
 *    - any code that MapError yields, for what the daemon or the bus answered.
 *
 *  Paths, names and strings are UTF-8. The values of properties never reach a
 *  log line: some of them are secrets.
 */

#ifndef ZQCONNMAN_H
#define ZQCONNMAN_H

#include <zqconnman-delegate.h>
#include <zqconnman-pendingcall.h>
#include <zqconnman-provisioning.h>
#include <zqnetworkmanager-vocabulary.h>

#include <prlock.h>

/** What a message of a certain form is decoded with; internal. */
struct zqDBusCFForm;

/**
 *  The client.
 *
 *  A thread has one at most, since the agent's object path is its connection's.
 *  The bus that it uses is the default instance of the thread that calls Init;
 *  once that bus is lost the client stays unavailable, and a new client is
 *  needed to follow the daemon on a new bus.
 */
class ZQ_EXPORT zqConnMan
{
public:
    /** How what the daemon sends becomes CoreFoundation values. */
    enum Decoding
    {
        /** A reply or signal that holds an element of another type than the device's daemon sends is refused whole. */
        kDecodingExact,

        /**
         *  Every type is taken: integers and floating-point numbers become CFNumber, structures arrays, containers of
         *  any shape keep their depth; a file descriptor is left out together with its name. A uint64 above 2^63-1
         *  keeps its bits, read as signed. An array of strings may also be set as the value of a property.
         */
        kDecodingTolerant
    };

    /**
     *  Choose the decoding of every client of the process, before the first is
     *  made; kDecodingExact unless called. From any thread.
     */
    static void     SetDecoding(Decoding aDecoding) noexcept;
    static Decoding GetDecoding() noexcept;

    zqConnMan() noexcept;
    ~zqConnMan();
    zqConnMan(const zqConnMan &)            = delete;
    zqConnMan &operator=(const zqConnMan &) = delete;

    // Lifecycle

    /**
     *  Take the calling thread's bus, follow the daemon on it, and load what it
     *  has when it is there.
     *
     *  It succeeds when the daemon is absent, and when it is there but what it
     *  answers cannot be decoded or does not come: that is logged. Whether it is
     *  there is found out in the background if the bus does not tell in 100 ms.
     *
     *  A daemon that leaves a call of the load unanswered is asked again in the
     *  background, after 1 s and then ever later up to 60 s, and at once when it
     *  sends a signal, until all of it is loaded. So is one that could not be
     *  loaded for want of memory, or that refused the agent.
     *
     *  @param[in]  aTimeout  For every call to the daemon, in milliseconds; -1: the bus library's own.
     *
     *  @retval   0  Following.
     *  @retval  -1  There is no bus.
     *  @retval  -3  Initialised already, or the bus is gone.
     *  @retval  -7  No lock could be made, or memory is exhausted.
     *  @retval -12  The bus did not say whether the daemon is there.
     *  @retval -18  The thread has a client already.
     */
    zqError Init(const int &aTimeout);
    zqError Init();

    /**
     *  Undo Init; safe to call twice, called by the destructor.
     *
     *  The delegate is detached first and hears nothing of what follows: the
     *  agent is unregistered (a call that waits for the daemon, for the time-out
     *  but at most 1 second), a held input request is cancelled, outstanding
     *  requests end with an error.
     */
    void Destroy();

    /**
     *  Register the one delegate, or with null none. It must outlive its registration.
     *
     *  A new one is told what is loaded: PropertiesChanged, ServicesAdded and
     *  TechnologiesAdded, each when there is something, and then Available when
     *  the agent could be registered. Without one, the agent is unregistered.
     *  Setting the same again does nothing.
     */
    void                         SetDelegate(zq::ConnMan::Delegate::Base *aDelegate);
    zq::ConnMan::Delegate::Base *GetDelegate() const noexcept;

    /**
     *  The delegate could not take all that it was told, for want of an answer or of memory: tell it Available once
     *  more, after a second at the earliest, when the daemon has shown that it answers. Does nothing while the daemon
     *  is not available.
     */
    void TellAvailableAgain();

    /** In milliseconds; -1: the bus library's own. */
    int  GetTimeout() const noexcept;
    void SetTimeout(int aTimeout) noexcept;

    /** True while the daemon is on the bus and takes requests. From any thread. */
    bool IsAvailable() const noexcept;

    /**
     *  Ask the bus whether anybody owns "net.connman"; waits 100 ms at most.
     *
     *  @param[out]  aHasOwner  1 or 0.
     *  @retval -12  The answer is not a boolean.
     */
    zqError CheckConnManReady(unsigned int &aHasOwner);

    // What the daemon has. A dictionary that is handed out is the caller's (Create rule); it is null after a failure.

    zqError ManagerGetProperties(CFDictionaryRef &aProperties);

    /** Object path to property dictionary, asked from the daemon. */
    zqError ManagerGetServices(CFDictionaryRef &aServices);
    zqError ManagerGetTechnologies(CFDictionaryRef &aTechnologies);

    /**
     *  Append the object paths, in the daemon's order: of what is loaded. When
     *  nothing is, that is asked from the daemon and counts as loaded from then on.
     */
    zqError ManagerGetServices(CFMutableArrayRef aPaths);
    zqError ManagerGetTechnologies(CFMutableArrayRef aPaths);

    zqError ServiceGetProperties(const char *aPath, CFDictionaryRef &aProperties);
    zqError TechnologyGetProperties(const char *aPath, CFDictionaryRef &aProperties);
    class PropertiesReader; ///< of many objects: zqconnman-propertiesreader.h

    /**
     *  Load anew from the daemon, and tell the delegate the differences. Update
     *  stops at the first error; when that is -7000, the daemon is treated as gone.
     *
     *  Services that were loaded already keep the properties they have: those
     *  follow the daemon's signals.
     */
    zqError Update();
    zqError UpdateProperties();
    zqError UpdateServices();
    zqError UpdateTechnologies();

    /** Forget what is loaded; the delegate is not told. */
    void Flush();
    void FlushProperties();
    void FlushServices();
    void FlushTechnologies();

    // Services

    /** Asynchronous: ServiceDidConnect or ServiceDidNotConnect. */
    zqError ServiceConnect(const char *aPath);

    /** Asynchronous: ServiceIsOnline or ServiceIsNotOnline. */
    zqError ServiceOnlineCheck(const char *aPath);

    // Synchronous: each waits for the daemon's answer, for the time-out at most.
    zqError ServiceDisconnect(const char *aPath);
    zqError ServiceRemove(const char *aPath);
    zqError ServiceMove(const char *aPath, const char *aTarget, bool aBefore);
    zqError ServiceClearProperty(const char *aPath, const char *aName);

    /** @param[in]  aValue  A CFString, CFBoolean, CFNumber, or a CFDictionary of such. */
    zqError ServiceSetProperty(const char *aPath, const char *aName, const void *aValue);

    // Manager and technologies

    /** Asynchronous; the outcome is only logged. */
    zqError ManagerSetProperty(const char *aName, const void *aValue);

    /** The same, with @a aPending to receive the outcome; it stays the caller's when the result is not 0. */
    zqError ManagerSetProperty(const char *aName, const void *aValue,
                               zq::ConnMan::ManagerSetPropertyPendingCall *aPending);

    /** Synchronous or not as @a aMode says; the outcome of an asynchronous one is only logged. */
    zqError TechnologySetProperty(const char *aPath, const char *aName, const void *aValue,
                                  ConnmanMethodSyncFlag aMode);

    /**
     *  Asynchronous: TechnologyDidScan or TechnologyDidNotScan.
     *
     *  While a scan is outstanding (see SetScanning) nothing is sent and the result is 0.
     */
    zqError TechnologyScan(const char *aPath);

    /** The flag that a scan is outstanding. The delegate clears it when it is told the outcome. */
    void SetScanning(bool aScanning);

    // The answer to an input request (Delegate::Base::ServiceRequestInput)

    /**
     *  Answer the held request. When the values cannot be sent the request
     *  stays held. It waits until the answer has left, for 1 second at most:
     *  with a bus that has stalled it leaves later.
     *
     *  @param[in]  aPath    The service that the request is for.
     *  @param[in]  aValues  Name of a field to its value.
     *
     *  @retval   0  Answered.
     *  @retval  -2  The answer could not be queued; the request is no longer held.
     *  @retval  -3  No request is held.
     *  @retval  -5  A null argument, or a value of an unsupported type.
     *  @retval  -7  The answer could not be built.
     *  @retval -17  The held request is for another service.
     */
    zqError ServiceCompleteInput(const char *aPath, CFDictionaryRef aValues);

    /**
     *  Refuse the held request ("net.connman.Agent.Error.Canceled"); waits and
     *  fails as ServiceCompleteInput does, but 0 is also the result when no
     *  request for this service is held: nothing was done.
     */
    zqError ServiceCancelInput(const char *aPath);

    // Provisioning: what the file holds, and what is common to the results, is told in zqconnman-provisioning.h. These
    // need neither Init nor the daemon.

    /** How long a writer waits for the others, in milliseconds. */
    static constexpr int kProvisionsTimeout = 2000;

    using ProvisionsMerge = zq::ConnMan::ProvisionsMerge;

    /**
     *  Read the records: identifier to properties, and among these the identifier.
     *
     *  @param[out]  aProvisions  The caller's (Create rule).
     *  @retval 0, -1, -7, -19
     */
    zqError GetProvisions(CFDictionaryRef &aProvisions);

    /** The same, added to the caller's dictionary, which is left as it is when the file cannot be read. -5 for null. */
    zqError GetProvisions(CFMutableDictionaryRef aProvisions);

    /** The same in the form that ProvisionsMerge has it: without the identifiers among the properties. */
    zqError GetProvisions(CFMutableDictionaryRef aProvisions, bool &anIsWhole);

    /**
     *  Make these records the whole contents of the file. A file that is
     *  damaged, or cannot be read, and is about to be replaced is kept beside it
     *  as quil.damaged, for its owner alone.
     *
     *  @param[in]  aProvisions  Identifier to properties, as GetProvisions yields them.
     *  @param[in]  aWrite       False: do nothing.
     *  @retval 0, -1, -5, -7, -16
     */
    zqError UpdateProvisions(CFDictionaryRef aProvisions, bool aWrite);
    zqError UpdateProvisions(CFDictionaryRef aProvisions);

    /**
     *  Read the records, let the caller say what is to be stored, and store
     *  that, with no other writer in between. A property that keeps its value
     *  keeps the very text that the file has for it, and a record that stays
     *  the lines that are none of its properties.
     *
     *  @param[in]  aMerge    Called once at most, on this thread, before this returns.
     *  @param[in]  aTimeout  To wait for other writers, in milliseconds.
     *  @returns 0 when the file holds what @a aMerge said; otherwise what it, GetProvisions or UpdateProvisions fails
     *           with: the old file is in place.
     */
    zqError MergeProvisions(const ProvisionsMerge &aMerge, int aTimeout = kProvisionsTimeout);

    /**
     *  Store that there is no record, and remove quil.damaged and what an
     *  interrupted writer may have left: no secret stays. @retval 0, -7, -16; -1
     *  when something could not be written or removed (logged).
     */
    zqError EraseProvisions(int aTimeout = kProvisionsTimeout);

    /**
     *  Whether a record would be read back from the file as it is.
     *
     *  @param[in]  aProperties  Without the identifier, or with it.
     *  @retval 0, -7; -5 when it would not: a log line names the property, never its value; or an argument is null.
     */
    static zqError CheckProvision(CFStringRef anIdentifier, CFDictionaryRef aProperties);

    /**
     *  Whether the daemon's directory holds anything whose name begins with
     *  that of the technology ("wifi").
     *
     *  @retval   0  It does; @a aProvisioned is true.
     *  @retval  -1  The directory cannot be read.
     *  @retval -17  It does not, or there is no name; @a aProvisioned is false.
     */
    zqError IsTechnologyProvisioned(CFStringRef aTechnology, bool &aProvisioned);

    // Calls to the daemon

    /** A call to "net.connman", with a reference for the caller; null after any failure. */
    DBusMessage *NewMethodCall(const char *anObject, const char *anInterface, const char *aMethod);

    /**
     *  Call and wait for the reply.
     *
     *  The further arguments are type and address pairs as for
     *  dbus_message_append_args, ended by DBUS_TYPE_INVALID.
     *
     *  @param[out]  aReply   With a reference for the caller; null after a failure.
     *  @param[out]  anError  Filled in when the daemon or the bus answered with an error; may be null.
     *  @retval -1   It did: see MapError.
     *  @retval -16  No reply came in time; @a anError is set too.
     */
    zqError PerformMethodCall(const char *aPath, const char *anInterface, const char *aMethod, DBusMessage **aReply,
                              int aTimeout, DBusError *anError, int aFirstType, ...);

    /** Call, and let @a aPending receive the outcome; it stays the caller's when the result is not 0. */
    zqError PerformMethodCall(const char *aPath, const char *anInterface, const char *aMethod,
                              zqDBusPendingCall *aPending, int aTimeout, int aFirstType, ...);

    zqError PerformMethodCallWithMessage(DBusMessage *aMessage, DBusMessage **aResponse, int aTimeout,
                                         DBusError *anError);
    zqError PerformMethodCallWithMessage(DBusMessage *aMessage, zqDBusPendingCall *aPending, int aTimeout);

    /**
     *  The code for an error of the daemon or the bus. ConnMan's errors are told by their message, in any letter case;
     *  then the bus's by their name. The error is logged under @a aLabel.
     *
     *  @returns -5 invalid arguments, service or property; -16 operation time-out; -17 not found; -18 not unique; -19
     *           permission denied; -20 operation aborted; -21 not connected; -22 already exists, enabled, disabled or
     *           connected; -23 in progress; -26 not implemented; -27 not supported; -113 no route to host; -7000
     *           ServiceUnknown; -7001 NoReply; -7002 UnknownMethod; -7003 UnknownObject; -1 for any other, and for an
     *           error that is not set or has no message.
     */
    static zqError MapError(const char *aLabel, DBusError *anError);

private:
    /** The input request that waits for its answer; guarded by the client's lock. */
    class RequestInputContext
    {
    public:
        RequestInputContext() noexcept = default;
        ~RequestInputContext();
        RequestInputContext(const RequestInputContext &)            = delete;
        RequestInputContext &operator=(const RequestInputContext &) = delete;

        bool IsPending() const noexcept;
        bool Matches(const char *thePath) const noexcept;
        void Set(DBusConnection *aConnection, DBusMessage *aMessage, CFStringRef aPath) noexcept;
        void Reset() noexcept;

        /** Lent; null when nothing is held. */
        DBusConnection *GetConnection() const noexcept { return mConnection; }
        DBusMessage    *GetMessage() const noexcept { return mMessage; }

    private:
        DBusConnection *mConnection = nullptr;
        DBusMessage    *mMessage    = nullptr;
        CFStringRef     mPath       = nullptr;
    };

    class AskPendingCall;
    struct Handlers;
    friend class zq::ConnMan::PendingCall;
    friend struct zqConnManBench;

    // Lifecycle and presence
    zqError AttachToBus();
    void    DetachFromBus();
    zqError ChangeFilters(bool anAdd);
    zqError FindConnMan();
    bool    NameOwnerChanged(DBusMessage *aMessage);
    void    BusLost();
    zqError ConnManArrived();
    zqError ConnManLeft();
    zqError ConnManAvailable();
    zqError ConnManUnavailable();
    zqError Load();
    zqError UpdateDelegateAvailability();
    void    ReplayToDelegate();

    // Asking a daemon that is there but not, or not wholly, loaded
    enum class Asked;
    void UpdateAsking();
    void Ask();
    void AskEnded(const AskPendingCall *anAsk, Asked anOutcome);
    void ConnManHeard();

    // Calls
    zqError CanCall() const;
    zqError PerformCall(const char *aPath, const char *anInterface, const char *aMethod, zqDBusPendingCall *aPending,
                        DBusMessage **aReply, int aTimeout, DBusError *anError, int aFirstType, va_list anArguments);
    zqError Call(const char *aPath, const char *anInterface, const char *aMethod, int aTimeout, int aFirstType, ...);
    template <class T, class Send>
    zqError SendPending(const char *aPath, Send aSend);
    template <class T>
    zqError CallAsync(const char *aPath, const char *anInterface, const char *aMethod, const char *aText);
    zqError GetProperties(const char *aPath, const char *anInterface, const char *aMethod, int aTimeout,
                          const zqDBusCFForm &aForm, CFDictionaryRef &aResult);
    zqError NewSetProperty(const char *aPath, const char *anInterface, const char *aName, const void *aValue,
                           DBusMessage *&aMessage);
    zqError SetProperty(const char *aPath, const char *anInterface, int aTimeout, const char *aName,
                        const void *aValue);
    zqError SetProperty(const char *aPath, const char *anInterface, int aTimeout, zqDBusPendingCall *aPending,
                        const char *aName, const void *aValue);
    template <class T>
    zqError SetPropertyAsync(const char *aPath, const char *anInterface, const char *aName, const void *aValue);
    void    AddPendingCall(zq::ConnMan::PendingCall *aPending) noexcept;
    void    RemovePendingCall(zq::ConnMan::PendingCall *aPending) noexcept;
    void    CancelPendingCalls();

    // Caches and signals
    struct ObjectKind;
    using PathsHandler = void (zq::ConnMan::Delegate::Base::*)(zqConnMan *aConnMan, CFArrayRef aPaths);
    zqError Update(bool aMissingOnly);
    zqError UpdateProperties(CFDictionaryRef aChanges);
    zqError UpdateServices(CFDictionaryRef aCurrent);
    zqError UpdateTechnologies(CFDictionaryRef aCurrent);
    zqError UpdateObjects(const ObjectKind &aKind, CFDictionaryRef aCurrent);
    zqError GetPaths(const ObjectKind &aKind, CFMutableArrayRef aPaths);
    void    NotifyPaths(PathsHandler aHandler, CFArrayRef aPaths);
    void    UpdateChangedServices(CFDictionaryRef aCurrent, CFArrayRef aRemoved);
    void    AddTechnologies(CFDictionaryRef anAdded);
    bool    ManagerPropertyChanged(DBusMessage *aMessage);
    bool    ManagerTechnologyAdded(DBusMessage *aMessage);
    bool    ManagerTechnologyRemoved(DBusMessage *aMessage);
    bool    RemoveTechnology(CFStringRef aPath);
    bool    ManagerServicesChanged(DBusMessage *aMessage);
    bool    ServicePropertyChanged(const char *aPath, DBusMessageIter *anIterator);
    bool    TechnologyPropertyChanged(const char *aPath, DBusMessageIter *anIterator);
    bool    Missed(zqError anError);
    void    MissedSome(CFMutableDictionaryRef &aCache);

    // Agent
    zqError           SetAgent(bool aRegister);
    DBusHandlerResult AgentRequestInput(DBusConnection *aConnection, DBusMessage *aMessage);
    DBusHandlerResult AgentReportError(DBusConnection *aConnection, DBusMessage *aMessage);
    DBusHandlerResult AgentRelease(DBusConnection *aConnection, DBusMessage *aMessage);
    DBusHandlerResult AgentCancel(DBusConnection *aConnection, DBusMessage *aMessage);
    DBusMessage      *CopyHeldInput(DBusConnection *&aConnection, const char *aPath, bool &aMatches);
    bool              ReleaseHeldInput(DBusMessage *aMessage);
    zqError           CancelInput(DBusConnection *aConnection, DBusMessage *aMessage);
    void              CancelHeldInput();

    zqDBus                                    *mDBus;
    CFMutableDictionaryRef                     mProperties;
    CFMutableDictionaryRef                     mServices;
    CFMutableDictionaryRef                     mTechnologies;
    std::atomic<zq::ConnMan::Delegate::Base *> mDelegate;
    std::atomic<int>                           mTimeout;
    std::atomic<bool>                          mAvailable;
    bool                                       mAgentRegistered;
    RequestInputContext                        mInput;
    PRLock                                    *mLock; // guards mInput, mScanning and mPendingCalls
    bool                                       mScanning;
    zq::ConnMan::PendingCall                  *mPendingCalls;
    bool                                       mExported = false; // the agent's object is this client's

    // The daemon is absent; or it is present, and then it is available with all
    // of it loaded, or it is asked: a call is outstanding, or one is due. All of
    // it is the loop's thread's.
    bool                  mPresent    = false;   // it owns its name, as far as is known
    bool                  mIncomplete = false;   // it is available, but something of it is to be loaded, or told, again
    bool                  mMissed     = false;   // a signal found no memory: all is loaded, and compared, again
    bool                  mSilent     = false;   // it has not answered yet: a signal of it is news
    bool                  mAskDue     = false;   // the timer runs
    int                   mAskDelay   = 0;       // before the ask that is due or outstanding, in milliseconds
    const AskPendingCall *mAsk        = nullptr; // the outstanding one; others that end are of no interest
};

#endif // ZQCONNMAN_H
