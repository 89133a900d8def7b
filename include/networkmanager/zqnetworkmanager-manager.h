/**
 *  @file
 *    The abstract network manager: the live model of the device's networking,
 *    the observers and subscribers that are told of its changes, and the loop
 *    that keeps it current.
 */

#ifndef ZQNETWORKMANAGER_MANAGER_H
#define ZQNETWORKMANAGER_MANAGER_H

#include <zqevent.h>
#include <zqnetworkmanager-objectlist.h>
#include <zqnetworkmanager-observer.h>
#include <zqstring.h>

#include <prio.h>
#include <prlock.h>

#include <chrono>
#include <mutex>
#include <set>
#include <thread>

namespace zq::NetworkManager
{

/**
 *  The network manager that applications hold; CreateManager makes one.
 *
 *  Threads. One thread runs Run, and every change of the model, every observer
 *  callback and every event comes from it. The other operations may be called
 *  from any thread, and from inside an observer callback, except where their
 *  description says otherwise. Subscribers get events later, on their own
 *  queues.
 *
 *  Requests. An operation on a service, a technology or a property only starts
 *  the work or waits for the connection manager's answer; the outcome of what
 *  it starts arrives as an event, as each description tells. Which codes a
 *  request fails with besides those named here is the concrete manager's.
 *
 *  Results are 0 for success; an object that is handed out through an argument
 *  is empty when the result is not 0, unless told otherwise.
 *
 *  Locks, in the order in which they are taken: the observer lock (held while
 *  observers are called and events published), the hold of the provisions, the
 *  property lock, a list's lock, an object's lock. Only the hold may be taken
 *  again by its holder.
 */
class ZQ_EXPORT Manager : public zqEventPublisher
{
public:
    /** How a report of objects changes the model. */
    enum UpdateOperation
    {
        UpdateOperationAdd    = 0,
        UpdateOperationRemove = 1,
        UpdateOperationChange = 2
    };

    Manager();
    ~Manager() override = 0;

    // Events

    /**
     *  Subscribe a queue to the manager's events. Before this returns, the
     *  queue holds the present state: all properties, the state when it is
     *  known, then the services and the technologies when there are any.
     *
     *  Applied in their order, the events give the true model, from whichever
     *  thread the queue is subscribed. What changes just then may be told twice:
     *  an object may be added that is known already, or removed that is not.
     *
     *  @param[in]  aQueue    Where events are enqueued; the caller's, and must
     *                        outlive the subscription.
     *  @param[in]  aHandler  Whom they are for; the same.
     *  @param[in]  aName     A name for diagnostics.
     *
     *  @retval    0
     *  @retval   -3  The manager is not available; nothing was subscribed.
     *  @retval   -7  An event or a snapshot could not be made; the subscription stands.
     *  @retval  -17  The queue is null.
     *  @returns what zqEventPublisher::Subscribe fails with otherwise.
     */
    zqError Subscribe(zqEventQueue *aQueue, zqIEventHandler *aHandler, const char *aName) override;

    // Requests, which the concrete manager carries out

    /** Set one property of a service in the connection manager. @retval 0, -5 for a null key or value. */
    virtual zqError ServiceSetProperty(const Service &aService, const CFUSharedRef<CFStringRef> &aKey,
                                       const CFUSharedRef<const void *> &aValue) = 0;

    /** Bring one property of a service back to its default. @retval 0, -5 for a null key. */
    virtual zqError ServiceClearProperty(const Service &aService, const CFUSharedRef<CFStringRef> &aKey) = 0;

    /** Start to connect; the outcome is a ServiceDidConnect or ServiceDidNotConnect. */
    virtual zqError ServiceConnect(const Service &aService) = 0;

    /** Start an online check; the outcome is a ServiceIsOnline or ServiceIsNotOnline. */
    virtual zqError ServiceOnlineCheck(const Service &aService) = 0;

    /** Answer a ServiceInput. @param[in]  anInput  The requested fields with their values. */
    virtual zqError ServiceCompleteInput(const Service &aService, const CFUSharedRef<CFDictionaryRef> &anInput) = 0;

    /** Disconnect, or stop connecting. */
    virtual zqError ServiceDisconnect(const Service &aService) = 0;

    /** Forget a service: its credentials, and that it is a favourite. */
    virtual zqError ServiceRemove(const Service &aService) = 0;

    /** Start a scan; the outcome is a TechnologyDidScan or TechnologyDidNotScan. */
    virtual zqError TechnologyScan(const Technology &aTechnology) = 0;

    /** Whether the connection manager has a provisioning record for a type of technology. */
    virtual zqError IsTechnologyProvisioned(const CFUSharedRef<CFStringRef> &aTechnologyType, bool &aProvisioned) = 0;

    // The run loop's hooks, on the loop's thread

    /**
     *  The descriptors that Run polls beside its own.
     *
     *  @param[out]     aCount    How many there are.
     *  @param[in,out]  aChanged  Set to true when the set differs from the one
     *                            that was yielded last; left alone otherwise.
     *  @returns the descriptors, lent until the next call; null when there are none.
     */
    virtual PRPollDesc *GetPollDescriptors(unsigned int &aCount, bool *aChanged) = 0;

    /**
     *  Handle what has become ready.
     *
     *  @param[in]  aDescriptors  Those last yielded by GetPollDescriptors, in
     *                            that order, with their out-flags; null: do
     *                            what is pending without any descriptor.
     *  @returns how many of the descriptors were handled.
     */
    virtual int HandleEvents(PRPollDesc *aDescriptors) = 0;

    /**
     *  Set one of the manager's properties. Here it is only set in the model,
     *  without an event; the concrete manager sends it to the connection manager
     *  first. When that refuses it, or does not answer, the model says again what
     *  the connection manager told last, with a PropertiesChanged; one that it
     *  never told is gone then, and the event is empty.
     *
     *  @retval   0
     *  @retval  -3  Not initialised.
     *  @retval  -5  The key or the value is null.
     */
    virtual zqError ManagerSetProperty(const CFUSharedRef<CFStringRef> &aKey, const CFUSharedRef<const void *> &aValue);

    /**
     *  Tell one observer the present state, on the calling thread: all
     *  properties, the state when it is known, then the services and the
     *  technologies when there are any. Provisions are not told.
     *
     *  @retval   0
     *  @retval  -2  A snapshot of a list could not be made.
     *  @retval  -3  Not initialised.
     *  @retval  -5  The observer is null.
     *  @retval  -7  A snapshot of the properties could not be made.
     */
    virtual zqError Notify(Observer::Base *aObserver);

    /** True while the manager can talk to the connection manager's bus. */
    virtual bool IsAvailable() = 0;

    /**
     *  Bring the connection manager's provisioning file in line with the
     *  provisions of the model. What others have changed in the file since it
     *  was last read or written comes into the model first; where both have
     *  changed a record, the model's values stand.
     *
     *  @param[in]  aWrite  False: the records came from the file; nothing is done.
     *
     *  @retval   0  Whether the file could be written: see GetProvisionsError.
     *  @retval -16  Another thread held the provisions for 2 s; nothing was done.
     *  @returns what GetProvisions fails with otherwise.
     */
    virtual zqError UpdateConnManProvisions(bool aWrite) = 0;

    /** Set one property of a technology in the connection manager. @retval 0, -5 for a null key or value. */
    virtual zqError TechnologySetProperty(const Technology &aTechnology, const CFUSharedRef<CFStringRef> &aKey,
                                          const CFUSharedRef<const void *> &aValue) = 0;

    /** A service's properties, fresh from the connection manager. @param[out]  aProperties  With a reference for the
     * caller; null on failure. */
    virtual zqError CopyServiceProperties(CFStringRef aPath, CFDictionaryRef &aProperties) = 0;

    /** A technology's properties, fresh from the connection manager. @param[out]  aProperties  With a reference for
     * the caller; null on failure. */
    virtual zqError CopyTechnologyProperties(CFStringRef aPath, CFDictionaryRef &aProperties) = 0;

    /**
     *  Refuse a ServiceInput: the connection manager gives the attempt up, and
     *  who asked for it gets a ServiceDidNotConnect with -20.
     *
     *  @retval    0  Refused; or no request for this service is open.
     *  @retval   -2  The refusal could not be sent.
     *  @retval   -7  The refusal could not be made.
     *  @retval  -27  A manager that takes no requests for credentials.
     */
    virtual zqError ServiceCancelInput(const Service &aService);

    // Host sleep. An extension of the device's interface: with it an application
    // decides when the host may sleep. A radio interface may prevent that until it
    // allows it; one that forgets to is asked.

    /**
     *  The names of the interfaces that prevent the host's sleep, in order; none: it may sleep.
     *
     *  @retval  0
     *  @retval -2  Memory is exhausted.
     */
    virtual zqError GetSleepPreventers(zqStringArray &aNames);

    /**
     *  Ask each of those interfaces whether it is ready for the host's sleep,
     *  without waiting for the answers, each of which comes within 5 seconds on
     *  the loop's thread. One that says that it is leaves the names; so does
     *  one whose failure is the fifth in a row, counted over all interfaces:
     *  that it did not answer, or that it could not even be asked, which counts
     *  at once. There is no event: look at the names again.
     *
     *  @code
     *  // Every few seconds while the host would like to sleep
     *  zqStringArray lNames;
     *  zqError       lError = lManager->GetSleepPreventers(lNames);
     *
     *  if (lError == zqError_None && lNames.IsEmpty())
     *      Suspend();
     *  else if ((lError = lManager->QuerySleepPreventers()) != zqError_None)
     *      Report(lError); // and go on: it counts as a failure, of which the fifth lets the host sleep
     *  @endcode
     *
     *  @retval   0  Each was asked; or there is none.
     *  @retval  -3  The manager is not initialised, and nobody was asked.
     *  @retval -27  The manager has no such interfaces.
     *  @returns why the first one could not be asked otherwise: -1, -2, -3 (the
     *           bus has gone) or -7. The others were asked all the same.
     */
    virtual zqError QuerySleepPreventers();

    // The connection manager's provisioning file. Other processes may write it as well.

    /**
     *  Whether the file and the provisions of the model agree, as far as the
     *  file was last read or written here. The operations below succeed when
     *  the model has changed; this tells what became of the file.
     *
     *  @retval   0  They did; or the manager has no file.
     *  @retval  -1  The file could not be read or written.
     *  @retval  -5  The model has a record that the file cannot hold.
     *  @retval  -7  Memory, or another resource, is exhausted.
     *  @retval -16  Other writers held the file for 2 s.
     *  @retval -19  This process may not read the file, which is not written then, either.
     *
     *  After a failure the model keeps what it has; the next change, or
     *  UpdateConnManProvisions, writes all of it.
     */
    virtual zqError GetProvisionsError() const;

    /**
     *  Whether the file can hold a record as it is: ProvisionCreate and
     *  ProvisionSetProperty ask before they change anything.
     *
     *  @param[in]  aProperties  The record, or some of its properties.
     *  @returns 0; otherwise the code that those operations fail with, having logged why. Here every record is taken.
     */
    virtual zqError CheckProvision(const CFUSharedRef<CFStringRef>     &anIdentifier,
                                   const CFUSharedRef<CFDictionaryRef> &aProperties);

    // The run loop

    /** Keep the model current and raise events until Stop is called. At most one thread at a time. */
    void Run();

    /** A thread's entry: Run on the manager that is given, or a log line for null. */
    static void Run(void *aManager);

    /**
     *  End Run, from any thread; called before Run, it makes the next Run
     *  return after its first pass.
     *
     *  @retval 0, -2 when memory is exhausted, -3 before Init.
     */
    zqError Stop();

    // Observers: not from inside a callback

    /**
     *  Register an observer, which stays the caller's, and tell it the present
     *  state as Notify does, before this returns and on this thread.
     *
     *  @retval    0
     *  @retval   -2  Memory is exhausted; it was not registered.
     *  @retval   -5  The observer is null.
     *  @retval  -18  It is registered already.
     *  @returns what Notify fails with otherwise; it is registered then.
     */
    zqError AddObserver(Observer::Base *aObserver);

    /** Unregister an observer: when this returns, none of its callbacks runs or begins. @retval 0, -5 for null, -17
     * when it was not registered. */
    zqError RemoveObserver(Observer::Base *aObserver);

    // The manager's properties

    /** One property, with a reference; null when absent, for a null key (logged) or before Init (logged). */
    CFUSharedRef<const void *> ManagerGetProperty(CFStringRef aKey) const;

    /** The manager's own dictionary, with a reference; live: only for reading, on the loop's thread. */
    ZQ_LIVE CFUSharedRef<CFDictionaryRef> ManagerGetProperties() const;

    /** The state, a kManagerState*, with a reference; null before any was reported. */
    CFUSharedRef<CFStringRef> ManagerGetState() const;

    /** kCFBooleanTrue when the state equals @a aState; false when either is null. */
    CFUSharedRef<CFBooleanRef> IsManagerState(const CFUSharedRef<CFStringRef> &aState) const;

    // Snapshots: the array's contents are replaced; its elements are the live objects.
    // Results: 0, -2 when memory is exhausted, -3 before Init.

    zqError GetServices(zqRefObjectArray<Service> &aServices) const;
    zqError GetTechnologies(zqRefObjectArray<Technology> &aTechnologies) const;
    zqError GetProvisions(zqRefObjectArray<Provision> &aProvisions) const;

    // Look-ups; texts are compared by content, letter case included.

    /** The service or technology with an object path; empty when there is none. */
    zqSharedPtr<Service>    FindService(CFStringRef aPath) const;
    zqSharedPtr<Technology> FindTechnology(CFStringRef aPath) const;

    /** The first service, in list order, with a name. @retval 0, -17 when there is none. */
    zqError ManagerLookupService(const CFUSharedRef<CFStringRef> &aName, zqSharedPtr<Service> &aService);

    /**
     *  The first service that matches every entry of a pattern.
     *
     *  kServicePropertyName: the service's name equals the value.
     *  kServicePropertySecurity: the service has the security kind that is the
     *  value. Any other key: the service's property equals the value. A pattern
     *  without entries matches the first service.
     *
     *  @retval 0, -17 when there is none.
     */
    zqError ManagerLookupService(const CFUSharedRef<CFDictionaryRef> &aPattern, zqSharedPtr<Service> &aService);

    /** The first connected service on a network interface, such as "wlan0". @retval 0, -17 when there is none. */
    zqError ManagerLookupServiceByInterfaceName(const CFUSharedRef<CFStringRef> &anInterface,
                                                zqSharedPtr<Service>            &aService);

    /** The first technology of a type, such as kTechnologyTypeWiFi. @retval 0, -17 when there is none. */
    zqError ManagerLookupTechnology(const CFUSharedRef<CFStringRef> &aType, zqSharedPtr<Technology> &aTechnology);

    /** The provision with an identifier. @retval 0, -17 when there is none. */
    zqError ManagerLookupProvisionIdentifier(const CFUSharedRef<CFStringRef> &anIdentifier,
                                             zqSharedPtr<Provision>          &aProvision);

    /** The provision with the identifier that is in @a aProperties. @retval 0, -5 for null, -17 when there is none. */
    zqError ManagerLookupProvision(const CFUSharedRef<CFDictionaryRef> &aProperties,
                                   zqSharedPtr<Provision>              &aProvision);

    // Provisions. They have no events of their own.
    //
    // A change of the list and what follows of it in the connection manager's
    // file exclude every other: whoever waits for them longer than 2 s gives up
    // with -16 (logged), and nothing was changed. The results tell of the list
    // alone; whether the file has followed tells GetProvisionsError.

    /**
     *  Create a provision, or merge into the one that has the identifier.
     *
     *  @param[in]   aProperties  The record; "ProvisionIdentifier" is its
     *                            identifier, "Type" is required in a new one.
     *  @param[out]  aProvision   The new one, or the one that was there, also
     *                            when merging failed.
     *  @param[in]   aWrite       Whether the connection manager's file is to be written.
     *
     *  @retval   0
     *  @retval  -1  The record has no identifier or no type.
     *  @retval  -2  Memory is exhausted.
     *  @retval  -3  Not initialised.
     *  @retval  -5  The dictionary is null, or the connection manager's file cannot hold the record (logged).
     *  @retval  -7  The dictionary could not be copied.
     *  @retval -16
     */
    zqError ProvisionCreate(const CFUSharedRef<CFDictionaryRef> &aProperties, zqSharedPtr<Provision> &aProvision,
                            bool aWrite);

    /** As above, and the connection manager's file is written. */
    zqError ProvisionCreate(const CFUSharedRef<CFDictionaryRef> &aProperties, zqSharedPtr<Provision> &aProvision);

    /** One property of a provision, or its identifier. @param[out]  aValue  Null when there is none. @retval 0 */
    zqError ProvisionGetProperty(const Provision &aProvision, const CFUSharedRef<CFStringRef> &aKey,
                                 CFUSharedRef<const void *> &aValue);

    /**
     *  Set one property of the listed provision that has this one's identifier,
     *  and write the connection manager's file.
     *
     *  @retval    0
     *  @retval   -5  The key or the value is null, the key is "ProvisionIdentifier", or the connection manager's file
     *                cannot hold them (logged).
     *  @retval   -7  A dictionary could not be made.
     *  @retval  -16
     *  @retval  -17  No such provision is listed.
     *  @returns what Provision::Refresh fails with otherwise.
     */
    zqError ProvisionSetProperty(const Provision &aProvision, const CFUSharedRef<CFStringRef> &aKey,
                                 const CFUSharedRef<const void *> &aValue);

    /**
     *  Remove one property from the listed provision that has this one's
     *  identifier.
     *
     *  @retval    0  It was the passphrase; the connection manager's file is written.
     *  @retval   -5  The key is null.
     *  @retval  -16
     *  @retval  -17  No such provision is listed; or the key is another: it has
     *                left the record in memory all the same, and nothing is written.
     */
    zqError ProvisionClearProperty(const Provision &aProvision, const CFUSharedRef<CFStringRef> &aKey);

    /** Remove the listed provision that has this one's identifier, and write the connection manager's file. @retval 0,
     * -16, -17 when there is none. */
    zqError ProvisionRemove(const Provision &aProvision);

    /** Remove every provision, those that others have stored meanwhile included, and whatever secret is beside the
     * connection manager's file. @retval 0, -16 */
    zqError ProvisionRemoveAll();

    // Technologies

    /**
     *  Switch a technology on or off. Its powered value changes when the
     *  connection manager reports that: a TechnologyChanged.
     *
     *  @returns what TechnologySetProperty returns.
     */
    zqError TechnologySetEnabled(const Technology &aTechnology, bool anEnabled);

    /** As above, for the first technology of a type. @retval -17 when there is none. */
    zqError TechnologySetEnabled(const CFUSharedRef<CFStringRef> &aType, bool anEnabled);

    /**
     *  Start an online check of the first connected service of a type.
     *
     *  @retval  -21  No service of the type is connected.
     *  @returns what GetServices or ServiceOnlineCheck returns otherwise.
     */
    zqError TechnologyOnlineCheck(const CFUSharedRef<CFStringRef> &aType);

    // Network reset: names that have a lock of their own.

    /** True when a network reset will remove the technology with this name. */
    bool WillNetworkResetRemoveTechnology(const zqString &aTechnology);

    /** Mark a technology, or take its mark away, in one step with the look at it. @retval 0, -1 when it is marked
     * already or was not marked, -2 when memory is exhausted. */
    zqError SetNetworkResetWillRemoveTechnology(const zqString &aTechnology, bool aWillRemove);

protected:
    /**
     *  Give the manager its locks, its queue and its lists. A subclass calls it
     *  first.
     *
     *  @param[in]  aQueue       The application's queue, with whose watchdog
     *                           Run registers; null: Run registers nowhere.
     *  @param[in]  aProperties  The properties to begin with; the manager
     *                           keeps this very dictionary. Null: none.
     *
     *  @retval   0
     *  @retval  -1  The array of names that a network reset removes is not empty.
     *  @retval  -3  A second Init; the manager is as it was.
     *  @retval  -7  Something could not be made; nothing is left behind.
     *  @returns what the publisher or the queue fails with otherwise.
     *
     *  After a failure but -3, and after Destroy, it may be called again.
     */
    zqError Init(zqEventQueue *aQueue, CFMutableDictionaryRef aProperties);

    /** Undo Init: empty the lists, forget the observers and the subscribers. Safe to call twice; not while Run runs. */
    void Destroy();

    /** The observer lock. */
    void Lock() const;
    void Unlock() const;

    /** The lock of the manager's properties. */
    void LockProperties() const;
    void UnlockProperties() const;

    /**
     *  Holds a manager's provisions while it lives: their list, and the file
     *  that follows it. The thread that holds them may hold them again.
     */
    class ZQ_EXPORT ProvisionsHold
    {
    public:
        /** Waits for the other holders in the order of arrival, 2 s at most. */
        explicit ProvisionsHold(const Manager &aManager);
        ~ProvisionsHold();
        ProvisionsHold(const ProvisionsHold &)            = delete;
        ProvisionsHold &operator=(const ProvisionsHold &) = delete;

        /** False when it was waited in vain (logged): nothing may be changed. */
        bool IsHeld() const { return mIsHeld; }

        /** What is left of the 2 s since this thread began to wait for the provisions, in milliseconds. */
        int GetTimeLeft() const;

    private:
        const Manager &mManager;
        const bool     mIsHeld;
    };

    /**
     *  Make the list have, under an identifier, a provision with these
     *  properties and no others; or, for null, none. Nothing is written.
     *
     *  @returns what ProvisionCreate fails with.
     */
    zqError ReplaceProvision(const CFUSharedRef<CFStringRef> &anIdentifier, CFDictionaryRef aProperties);

    /**
     *  These properties of a provision were set, or cleared, by an application:
     *  they are to be what they are here also where others have changed them
     *  and nothing has changed here. Told before UpdateConnManProvisions; here
     *  nothing is done.
     */
    virtual void NoteProvisionChange(const CFUSharedRef<CFStringRef>     &anIdentifier,
                                     const CFUSharedRef<CFDictionaryRef> &aProperties);

    /**
     *  Bring the file in line with a model from which every provision was
     *  removed. Here that is UpdateConnManProvisions(true).
     */
    virtual zqError EraseConnManProvisions();

    zqError CopyServicePropertiesAux(CFStringRef aPath, CFDictionaryRef &aProperties);
    zqError CopyTechnologyPropertiesAux(CFStringRef aPath, CFDictionaryRef &aProperties);

    // Reports of the connection manager, on the loop's thread. Objects are
    // reported by path; their properties are fetched with Copy*Properties.

    /**
     *  Merge properties of the manager and raise PropertiesChanged with them.
     *
     *  @retval   0
     *  @retval  -3  Not initialised.
     *  @retval  -5  The dictionary is null.
     *  @returns what SignalPropertiesChanged fails with otherwise.
     */
    zqError UpdateProperties(CFDictionaryRef aProperties);

    /** Remove one of the manager's properties from the model, without an event. @retval 0, -3 before Init, -5 for null.
     */
    zqError ManagerClearProperty(const CFUSharedRef<CFStringRef> &aKey);

    /**
     *  Add, remove or refresh services and raise ServicesAdded,
     *  ServicesRemoved or, for each, ServiceChanged.
     *
     *  Adding skips the paths that are listed and is all or nothing; removing
     *  and refreshing skip the paths that are not. A path that a report names
     *  twice counts once. A failed refresh ends the report; the refreshes before
     *  it stay, with their events.
     *
     *  @param[in]  aServices  Object paths.
     *
     *  @retval    0
     *  @retval   -5  The array is null, or the operation is none of the three.
     *  @retval   -7  A service could not be allocated.
     *  @retval  -17  An element of the array is no path.
     *  @returns what fetching, Service::Init, Service::Refresh, the list or the
     *           event fails with otherwise.
     */
    zqError UpdateServices(CFArrayRef aServices, UpdateOperation anOperation);

    /** Add or remove technologies, as UpdateServices. A changed technology is refreshed and signalled by who learns of
     * it. */
    zqError UpdateTechnologies(CFArrayRef aTechnologies, bool anAdd);

    /**
     *  Take the provisions that are stored in the connection manager's file; a
     *  record that cannot be used is logged and left out.
     *
     *  @param[in]  aProvisions  Records by identifier, as ProvisionCreate takes them.
     *  @retval 0, -5 when the dictionary is null or the operation is not UpdateOperationAdd.
     */
    zqError UpdateProvisions(CFDictionaryRef aProvisions, UpdateOperation anOperation);

    // Events: each calls the operation of its name of every observer, in the
    // order of their addresses, then enqueues an event for every subscriber.
    // The observer lock is held for all of it, so they are not for use inside a
    // callback. A null object is allowed: it has the empty name in the log line.
    //
    // An event keeps what its dictionary holds now. The model changes before it is
    // told of (the state by UpdateProperties), all on one thread: Subscribe relies
    // on it.
    //
    // Results: 0, -2 or -7 when an event, its array or its dictionary could not be
    // made, or what a subscriber's queue refused with.

    zqError SignalStateChanged(CFStringRef aState);
    zqError SignalPropertiesChanged(CFDictionaryRef aProperties);
    zqError SignalServicesAdded(const zqRefObjectArray<Service> &aServices);
    zqError SignalServicesRemoved(const zqRefObjectArray<Service> &aServices);
    zqError SignalServiceChanged(Service *aService, CFDictionaryRef aChanged);
    zqError SignalServiceInput(Service *aService, CFDictionaryRef aFields);
    zqError SignalServiceError(Service *aService, CFStringRef anError);
    zqError SignalServiceDidConnect(Service *aService);
    zqError SignalServiceDidNotConnect(Service *aService, const zqError &anError);
    zqError SignalServiceIsOnline(Service *aService);
    zqError SignalServiceIsNotOnline(Service *aService, const zqError &anError);
    zqError SignalServiceIsWaking(Service *aService, int aReason);
    zqError SignalServiceDidWake(Service *aService, int aReason);
    zqError SignalServiceDidNotWake(Service *aService, const zqError &anError);
    zqError SignalTechnologiesAdded(const zqRefObjectArray<Technology> &aTechnologies);
    zqError SignalTechnologiesRemoved(const zqRefObjectArray<Technology> &aTechnologies);
    zqError SignalTechnologyChanged(Technology *aTechnology, CFDictionaryRef aChanged);
    zqError SignalTechnologyDidScan(Technology *aTechnology);
    zqError SignalTechnologyDidNotScan(Technology *aTechnology, const zqError &anError);
    zqError SignalDidPrepareForSleep();
    zqError SignalDidNotPrepareForSleep(zqError anError);

private:
    struct Resources;
    class PollList;

    zqError InitModel(zqEventQueue *aQueue, CFMutableDictionaryRef aProperties);
    zqError InitResources(Resources &aResources, zqEventQueue *aQueue, CFMutableDictionaryRef aProperties);
    zqError InitLists();

    zqError ReplayProperties(zqIEventHandler *aHandler, zqEventQueue &aQueue);

    void RefreshPollList(PollList &aList, bool &aIsStale);
    bool HandleReady(PollList &aList, int anActive);
    int  HandleEvent();

    zqError AddServices(CFArrayRef aServices);
    zqError RemoveServices(CFArrayRef aServices);
    zqError ChangeServices(CFArrayRef aServices);
    zqError AddTechnologies(CFArrayRef aTechnologies);
    zqError RemoveTechnologies(CFArrayRef aTechnologies);
    zqError AddProvisions(CFDictionaryRef aProvisions);
    zqError AddProvision(const CFUSharedRef<CFDictionaryRef> &aProperties, zqSharedPtr<Provision> &aProvision);
    zqError LookupListedProvision(const Provision &aProvision, zqSharedPtr<Provision> &aListed);

    /** A lock that its holder may take again, and that those who wait get in the order of their arrival. */
    class ProvisionsLock
    {
    public:
        using Time = std::chrono::steady_clock::time_point;

        bool Take();
        void Give();

        /** When the holder's time is over. Of use to the holder alone. */
        Time GetDeadline() const { return mDeadline; }

    private:
        struct Waiter;

        bool AwaitTurn(std::unique_lock<std::mutex> &aGuard, Time aDeadline);
        void Hand(std::thread::id aThread, Time aDeadline);

        std::mutex      mMutex;
        std::thread::id mHolder;
        unsigned int    mDepth = 0; // how often the holder has taken it
        Time            mDeadline;
        Waiter         *mFirst = nullptr; // of those who wait
    };

    template <typename Slot, typename... Kept, typename... Payload>
    zqError Signal(Slot aSlot, zqError (*aBroadcast)(zqIEventHandler *, zqEventQueue &, Manager *, Kept...),
                   const Payload &...aPayload);

    union
    {
        PRLock *uOpaque;
    } lOpaqueLock;
    std::set<Observer::Base *> mObservers;
    zqEventQueue              *mEventQueue;
    zqHeartBeatClient         *lHBClient;
    union
    {
        PRLock *uOpaque;
    } lOpaquePropertyLock;
    CFMutableDictionaryRef mProperties;
    ObjectList             mProvisions;
    ObjectList             mServices;
    ObjectList             mTechnologies;
    zqStringArray          mTechnologiesNetworkResetWillRemove;
    std::mutex             mNetworkResetLock; // of those names; nothing is called with it held
    mutable ProvisionsLock mProvisionsLock;
};

} // namespace zq::NetworkManager

#endif // ZQNETWORKMANAGER_MANAGER_H
