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
#include <zqnetworkmanager-provisionslock.h>
#include <zqstring.h>

#include <prio.h>
#include <prlock.h>

#include <mutex>
#include <set>

namespace zq::NetworkManager
{

/**
 *  The network manager that applications hold; CreateManager makes one.
 *
 *  Threads. One thread runs Run, and every change of the model, every observer callback and every event comes from
 *  it. The other operations may be called from any thread, and from inside an observer callback, except where their
 *  description says otherwise. Subscribers get events later, on their own queues.
 *
 *  Requests. An operation on a service, a technology or a property only starts the work or waits for the connection
 *  manager's answer; the outcome of what it starts arrives as an event, as each description tells. Which codes a
 *  request fails with besides those named here is the concrete manager's.
 *
 *  Results are 0 for success. Everywhere -2 is for exhausted memory, -3 for a manager that is not initialised, -5 for
 *  a null argument, -7 for what could not be made (a lock, a dictionary, an event), -16 for provisions that another
 *  thread held for 2 s (logged; nothing was done), and -17 for what is not there; the descriptions tell what else a
 *  code stands for. An object that is handed out through an argument is empty when the result is not 0, unless told
 *  otherwise.
 *
 *  Locks, in the order in which they are taken: the observer lock (held while observers are called and events
 *  published), the hold of the provisions (which its holder may take again), the property lock, a list's, an object's.
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
     *  Subscribe a queue to the manager's events. Before this returns, the queue holds the present state: all
     *  properties, the state when it is known, then the services and the technologies when there are any.
     *
     *  Applied in their order, the events give the true model, from whichever thread the queue is subscribed. What
     *  changes just then may be told twice: an object may be added that is known already, or removed that is not.
     *
     *  The queue, and the handler whom the events are for, are the caller's and must outlive the subscription. The
     *  name is for diagnostics.
     *
     *  @retval   -3  The manager is not available; nothing was subscribed.
     *  @retval   -7  An event or a snapshot could not be made; the subscription stands.
     *  @retval  -17  The queue is null.
     *  @returns what zqEventPublisher::Subscribe fails with otherwise.
     */
    zqError Subscribe(zqEventQueue *aQueue, zqIEventHandler *aHandler, const char *aName) override;

    // Requests, which the concrete manager carries out. What is only started has its outcome in an event.

    virtual zqError ServiceSetProperty(const Service &aService, const CFUSharedRef<CFStringRef> &aKey,
                                       const CFUSharedRef<const void *> &aValue) = 0;

    /** Bring one property of a service back to its default. */
    virtual zqError ServiceClearProperty(const Service &aService, const CFUSharedRef<CFStringRef> &aKey) = 0;

    virtual zqError ServiceConnect(const Service &aService) = 0; ///< starts; ServiceDidConnect, ServiceDidNotConnect
    virtual zqError ServiceOnlineCheck(const Service &aService) = 0; ///< starts; ServiceIsOnline, ServiceIsNotOnline

    /** Answer a ServiceInput. @param[in]  anInput  The requested fields with their values. */
    virtual zqError ServiceCompleteInput(const Service &aService, const CFUSharedRef<CFDictionaryRef> &anInput) = 0;

    virtual zqError ServiceDisconnect(const Service &aService) = 0; ///< also stops connecting
    virtual zqError ServiceRemove(const Service &aService)     = 0; ///< forgets credentials, and that it is a favourite
    virtual zqError
    TechnologyScan(const Technology &aTechnology) = 0; ///< starts; TechnologyDidScan, TechnologyDidNotScan

    /** Whether the connection manager has a provisioning record for a type of technology. */
    virtual zqError IsTechnologyProvisioned(const CFUSharedRef<CFStringRef> &aTechnologyType, bool &aProvisioned) = 0;

    // The run loop's hooks, on the loop's thread

    /**
     *  The descriptors that Run polls beside its own.
     *
     *  @param[out]     aCount    How many there are.
     *  @param[in,out]  aChanged  Set to true when the set differs from the one that was yielded last.
     *  @returns the descriptors, lent until the next call; null when there are none.
     */
    virtual PRPollDesc *GetPollDescriptors(unsigned int &aCount, bool *aChanged) = 0;

    /** Handle what has become ready. @param[in]  aDescriptors  Those last yielded by GetPollDescriptors, in that order;
     * null: do what is pending without any. @returns how many of them were handled. */
    virtual int HandleEvents(PRPollDesc *aDescriptors) = 0;

    /**
     *  Set one of the manager's properties. Here it is only set in the model, without an event; the concrete manager
     *  sends it to the connection manager first. When that refuses it, or does not answer, the model says again what
     *  the connection manager told last, with a PropertiesChanged; one that it never told is gone then, and the event
     *  is empty.
     *
     *  @retval 0, -3, -5
     */
    virtual zqError ManagerSetProperty(const CFUSharedRef<CFStringRef> &aKey, const CFUSharedRef<const void *> &aValue);

    /** Tell one observer, on the calling thread, what Subscribe enqueues. @retval 0, -2, -3, -5, -7 */
    virtual zqError Notify(Observer::Base *aObserver);

    /** True while the manager can talk to the connection manager's bus. */
    virtual bool IsAvailable() = 0;

    /**
     *  Bring the connection manager's provisioning file in line with the provisions of the model. What others have
     *  changed in the file since it was last read or written comes into the model first; where both have changed a
     *  record, the model's values stand.
     *
     *  @param[in]  aWrite  False: the records came from the file; nothing is done.
     *
     *  @retval 0, -16, or what GetProvisions fails with; whether the file could be written tells GetProvisionsError.
     */
    virtual zqError UpdateConnManProvisions(bool aWrite) = 0;

    virtual zqError TechnologySetProperty(const Technology &aTechnology, const CFUSharedRef<CFStringRef> &aKey,
                                          const CFUSharedRef<const void *> &aValue) = 0;

    // An object's properties, fresh from the connection manager, with a reference for the caller; null on failure.

    virtual zqError CopyServiceProperties(CFStringRef aPath, CFDictionaryRef &aProperties)    = 0;
    virtual zqError CopyTechnologyProperties(CFStringRef aPath, CFDictionaryRef &aProperties) = 0;

    /** Refuse a ServiceInput, if one is open: the attempt is given up, and who asked for it gets a ServiceDidNotConnect
     * with -20. @retval 0, -2, -7, -27 for a manager that takes no requests for credentials. */
    virtual zqError ServiceCancelInput(const Service &aService);

    // Host sleep. An extension of the device's interface: with it an application decides when the host may sleep. A
    // radio interface may prevent that until it allows it; one that forgets to is asked.

    /** The names of the interfaces that prevent the host's sleep, in order; none: it may sleep. @retval 0, -2 */
    virtual zqError GetSleepPreventers(zqStringArray &aNames);

    /**
     *  Ask each of those interfaces whether it is ready for the host's sleep, without waiting for the answers, each
     *  of which comes within 5 seconds on the loop's thread. One that says that it is leaves the names; so does one
     *  whose failure is the fifth in a row, counted over all interfaces: that it did not answer, or that it could not
     *  even be asked, which counts at once. There is no event: look at the names again.
     *
     *  An application that would like to sleep looks at the names every few seconds, sleeps when there are none, and
     *  asks otherwise. When that fails it goes on: the fifth failure lets the host sleep.
     *
     *  @retval   0  Each was asked; or there is none.
     *  @retval  -3  Nobody was asked.
     *  @retval -27  The manager has no such interfaces.
     *  @returns why the first one could not be asked otherwise: -1, -2, -3 (the bus has gone) or -7. The others were.
     */
    virtual zqError QuerySleepPreventers();

    // The connection manager's provisioning file. Other processes may write it as well.

    /**
     *  Whether the file and the provisions of the model agree, as far as the file was last read or written here. The
     *  operations below succeed when the model has changed; this tells what became of the file.
     *
     *  After a failure the model keeps what it has; the next change, or UpdateConnManProvisions, writes all of it.
     *
     *  @retval   0  They did; or the manager has no file.
     *  @retval  -1  The file could not be read or written.
     *  @retval  -5  The model has a record that the file cannot hold.
     *  @retval  -7  Memory, or another resource, is exhausted.
     *  @retval -16  Other writers held the file for 2 s.
     *  @retval -19  This process may not read the file, which is not written then, either.
     */
    virtual zqError GetProvisionsError() const;

    /** Whether the file can hold a record, or some properties of one, as they are: ProvisionCreate and
     * ProvisionSetProperty ask before they change anything, and fail with the result (logged). Here all are taken. */
    virtual zqError CheckProvision(const CFUSharedRef<CFStringRef>     &anIdentifier,
                                   const CFUSharedRef<CFDictionaryRef> &aProperties);

    // The run loop

    /** Keep the model current and raise events until Stop is called. At most one thread at a time. */
    void Run();

    /** A thread's entry: Run on the manager that is given, or a log line for null. */
    static void Run(void *aManager);

    /** End Run, from any thread; called before Run, it ends the next one after its first pass. @retval 0, -2, -3 */
    zqError Stop();

    // Observers: not from inside a callback

    /**
     *  Register an observer, which stays the caller's, and tell it the present state as Notify does, before this
     *  returns and on this thread.
     *
     *  @retval 0, -2, -5, -18 when it is registered already, or what Notify fails with; it is registered then.
     */
    zqError AddObserver(Observer::Base *aObserver);

    /** Unregister an observer: when this returns, none of its callbacks runs or begins. @retval 0, -5, -17 */
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

    // Snapshots: the array's contents are replaced; its elements are the live objects. Results: 0, -2, -3.

    zqError GetServices(zqRefObjectArray<Service> &aServices) const;
    zqError GetTechnologies(zqRefObjectArray<Technology> &aTechnologies) const;
    zqError GetProvisions(zqRefObjectArray<Provision> &aProvisions) const;

    // Look-ups; texts are compared by content, letter case included. Results: 0, -17.

    /** The service or technology with an object path; empty when there is none. */
    zqSharedPtr<Service>    FindService(CFStringRef aPath) const;
    zqSharedPtr<Technology> FindTechnology(CFStringRef aPath) const;

    /** The first service, in list order, with a name. */
    zqError ManagerLookupService(const CFUSharedRef<CFStringRef> &aName, zqSharedPtr<Service> &aService);

    /**
     *  The first service that matches every entry of a pattern; the first of all when it has none. An entry matches
     *  when the service has the security kind (kServicePropertySecurity), or a property that equals the value.
     */
    zqError ManagerLookupService(const CFUSharedRef<CFDictionaryRef> &aPattern, zqSharedPtr<Service> &aService);

    /** The first connected service on a network interface, such as "wlan0". */
    zqError ManagerLookupServiceByInterfaceName(const CFUSharedRef<CFStringRef> &anInterface,
                                                zqSharedPtr<Service>            &aService);

    /** The first technology of a type, such as kTechnologyTypeWiFi. */
    zqError ManagerLookupTechnology(const CFUSharedRef<CFStringRef> &aType, zqSharedPtr<Technology> &aTechnology);

    /** The provision with an identifier. */
    zqError ManagerLookupProvisionIdentifier(const CFUSharedRef<CFStringRef> &anIdentifier,
                                             zqSharedPtr<Provision>          &aProvision);

    /** The provision with the identifier that is in @a aProperties. @retval -5 */
    zqError ManagerLookupProvision(const CFUSharedRef<CFDictionaryRef> &aProperties,
                                   zqSharedPtr<Provision>              &aProvision);

    // Provisions. They have no events of their own. A change of the list and what follows of it in the connection
    // manager's file exclude every other. The results tell of the list alone; whether the file has followed tells
    // GetProvisionsError.

    /**
     *  Create a provision, or merge into the one that has the identifier, and write the file.
     *
     *  @param[in]   aProperties  The record, with "ProvisionIdentifier"; a new one needs "Type".
     *  @param[out]  aProvision   The new one, or the one that was there, also when merging failed.
     *  @param[in]   aWrite       False: the file is left alone.
     *
     *  @retval -1  The record has no identifier or no type.
     *  @retval -5  The dictionary is null, or the connection manager's file cannot hold the record (logged).
     *  @retval -2, -3, -7, -16
     */
    zqError ProvisionCreate(const CFUSharedRef<CFDictionaryRef> &aProperties, zqSharedPtr<Provision> &aProvision,
                            bool aWrite);
    zqError ProvisionCreate(const CFUSharedRef<CFDictionaryRef> &aProperties, zqSharedPtr<Provision> &aProvision);

    /** One property of a provision, or its identifier. @param[out]  aValue  Null when there is none. @retval 0 */
    zqError ProvisionGetProperty(const Provision &aProvision, const CFUSharedRef<CFStringRef> &aKey,
                                 CFUSharedRef<const void *> &aValue);

    // What follows changes the listed provision that has this one's identifier, and writes the file.

    /**
     *  @retval -5  Also when the key is "ProvisionIdentifier", or the file cannot hold the property (logged).
     *  @retval 0, -7, -16, -17, or what Provision::Refresh fails with otherwise.
     */
    zqError ProvisionSetProperty(const Provision &aProvision, const CFUSharedRef<CFStringRef> &aKey,
                                 const CFUSharedRef<const void *> &aValue);

    /**
     *  @retval 0    It was the passphrase.
     *  @retval -17  No such provision is listed; or the key is another: it has left the record in memory all the
     *               same, and nothing is written.
     *  @retval -5, -16
     */
    zqError ProvisionClearProperty(const Provision &aProvision, const CFUSharedRef<CFStringRef> &aKey);

    zqError ProvisionRemove(const Provision &aProvision); ///< 0, -16, -17

    /** Remove every provision, also those that others stored meanwhile, and secrets beside the file. @retval 0, -16 */
    zqError ProvisionRemoveAll();

    // Technologies

    /** Switch a technology on or off: TechnologySetProperty. Its powered value changes with a TechnologyChanged. */
    zqError TechnologySetEnabled(const Technology &aTechnology, bool anEnabled);

    /** As above, for the first technology of a type. @retval -17 */
    zqError TechnologySetEnabled(const CFUSharedRef<CFStringRef> &aType, bool anEnabled);

    /** Start an online check of the first connected service of a type. @retval -21 when there is none; otherwise as
     * GetServices or ServiceOnlineCheck. */
    zqError TechnologyOnlineCheck(const CFUSharedRef<CFStringRef> &aType);

    // The same, for a key, a name, a type or an identifier that is lent.

    // clang-format off
    CFUSharedRef<CFBooleanRef> IsManagerState(CFStringRef aState) const { return IsManagerState(CFURetain(aState)); }
    zqError ServiceSetProperty(const Service &aService, CFStringRef aKey, const CFUSharedRef<const void *> &aValue) { return ServiceSetProperty(aService, CFURetain(aKey), aValue); }
    zqError ServiceClearProperty(const Service &aService, CFStringRef aKey) { return ServiceClearProperty(aService, CFURetain(aKey)); }
    zqError ManagerSetProperty(CFStringRef aKey, const CFUSharedRef<const void *> &aValue) { return ManagerSetProperty(CFURetain(aKey), aValue); }
    zqError ManagerLookupService(CFStringRef aName, zqSharedPtr<Service> &aService) { return ManagerLookupService(CFURetain(aName), aService); }
    zqError ManagerLookupServiceByInterfaceName(CFStringRef anInterface, zqSharedPtr<Service> &aService) { return ManagerLookupServiceByInterfaceName(CFURetain(anInterface), aService); }
    zqError ManagerLookupTechnology(CFStringRef aType, zqSharedPtr<Technology> &aTechnology) { return ManagerLookupTechnology(CFURetain(aType), aTechnology); }
    zqError ManagerLookupProvisionIdentifier(CFStringRef anIdentifier, zqSharedPtr<Provision> &aProvision) { return ManagerLookupProvisionIdentifier(CFURetain(anIdentifier), aProvision); }
    zqError ProvisionSetProperty(const Provision &aProvision, CFStringRef aKey, const CFUSharedRef<const void *> &aValue) { return ProvisionSetProperty(aProvision, CFURetain(aKey), aValue); }
    zqError ProvisionClearProperty(const Provision &aProvision, CFStringRef aKey) { return ProvisionClearProperty(aProvision, CFURetain(aKey)); }
    zqError TechnologySetProperty(const Technology &aTechnology, CFStringRef aKey, const CFUSharedRef<const void *> &aValue) { return TechnologySetProperty(aTechnology, CFURetain(aKey), aValue); }
    zqError TechnologySetEnabled(CFStringRef aType, bool anEnabled) { return TechnologySetEnabled(CFURetain(aType), anEnabled); }
    zqError TechnologyOnlineCheck(CFStringRef aType) { return TechnologyOnlineCheck(CFURetain(aType)); }
    // clang-format on

    // Network reset: names that have a lock of their own.

    /** True when a network reset will remove the technology with this name. */
    bool WillNetworkResetRemoveTechnology(const zqString &aTechnology);

    /** Mark a technology, or take its mark away. @retval 0, -2, -1 when it is marked already or was not marked. */
    zqError SetNetworkResetWillRemoveTechnology(const zqString &aTechnology, bool aWillRemove);

protected:
    /**
     *  Give the manager its locks, its queue and its lists. A subclass calls it first. It may be called again after
     *  Destroy, and after a failure, which leaves nothing behind.
     *
     *  @param[in]  aQueue       The application's queue, with whose watchdog Run registers; null: it registers nowhere.
     *  @param[in]  aProperties  The properties to begin with; the manager keeps this very dictionary. Null: none.
     *
     *  @retval -1  The array of names that a network reset removes is not empty.
     *  @retval -3  A second Init; the manager is as it was.
     *  @retval 0, -7, or what the publisher or the queue fails with otherwise.
     */
    zqError Init(zqEventQueue *aQueue, CFMutableDictionaryRef aProperties);

    /** Undo Init: empty the lists, forget the observers and the subscribers. Safe to call twice; not while Run runs. */
    void Destroy();

    // The observer lock, for subclasses, and that of the manager's properties
    void Lock() const;
    void Unlock() const;
    void LockProperties() const;
    void UnlockProperties() const;

    using ProvisionsHold = Private::ProvisionsHold;

    /** Make the list have a provision with exactly these properties; null: none. @returns as ProvisionCreate. */
    zqError ReplaceProvision(const CFUSharedRef<CFStringRef> &anIdentifier, CFDictionaryRef aProperties);

    /** An application has set, or cleared, these properties of a provision: they are to be as they are here also where
     * only others have changed them. Told before UpdateConnManProvisions; here nothing is done. */
    virtual void NoteProvisionChange(const CFUSharedRef<CFStringRef>     &anIdentifier,
                                     const CFUSharedRef<CFDictionaryRef> &aProperties);

    /** Bring the file in line with a model that was emptied. Here that is UpdateConnManProvisions(true). */
    virtual zqError EraseConnManProvisions();

    zqError CopyServicePropertiesAux(CFStringRef aPath, CFDictionaryRef &aProperties);
    zqError CopyTechnologyPropertiesAux(CFStringRef aPath, CFDictionaryRef &aProperties);

    // Reports, on the loop's thread. Objects are reported by path; their properties are fetched with Copy*Properties.

    /** Merge properties of the manager and raise PropertiesChanged with them. @retval 0, -3, -5, or as that. */
    zqError UpdateProperties(CFDictionaryRef aProperties);

    /** Remove one of the manager's properties from the model, without an event. @retval 0, -3, -5 */
    zqError ManagerClearProperty(const CFUSharedRef<CFStringRef> &aKey);

    /**
     *  Add, remove or refresh services and raise ServicesAdded, ServicesRemoved or, for each, ServiceChanged.
     *
     *  Adding skips the paths that are listed and is all or nothing; removing and refreshing skip the paths that are
     *  not. A path that a report names twice counts once. A failed refresh ends the report; the refreshes before it
     *  stay, with their events.
     *
     *  @retval 0, -7, -5 also when the operation is none of the three, -17 when an element of the array is no path, or
     *          what fetching, Service::Init, Service::Refresh, the list or the event fails with.
     */
    zqError UpdateServices(CFArrayRef aServices, UpdateOperation anOperation);

    /** Add or remove technologies, as UpdateServices. A changed one is refreshed and signalled by who learns of it. */
    zqError UpdateTechnologies(CFArrayRef aTechnologies, bool anAdd);

    /** Take stored provisions, of a file that nobody else changes: records by identifier, as ProvisionCreate takes
     * them. One that cannot be used is logged and left out. @retval 0, -16, -5 also when the operation is not
     * UpdateOperationAdd. */
    zqError UpdateProvisions(CFDictionaryRef aProvisions, UpdateOperation anOperation);

    // Events: each calls the operation of its name of every observer, in the order of their addresses, then enqueues
    // an event for every subscriber. The observer lock is held for all of it, so they are not for use inside a
    // callback. A null object is allowed: it has the empty name in the log line.
    //
    // An event keeps what its dictionary holds now. The model changes before it is told of (the state by
    // UpdateProperties), all on one thread: Subscribe relies on it.
    //
    // Results: 0, -2 or -7 when an event or what it carries could not be made, or what a subscriber's queue says.

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
    friend class Private::ProvisionsHold;

    zqError InitModel(zqEventQueue *aQueue, CFMutableDictionaryRef aProperties);
    zqError InitResources(Resources &aResources, zqEventQueue *aQueue, CFMutableDictionaryRef aProperties);
    zqError InitLists();
    zqError ReplayProperties(zqIEventHandler *aHandler, zqEventQueue &aQueue);
    void    RefreshPollList(PollList &aList, bool &aIsStale);
    bool    HandleReady(PollList &aList, int anActive);
    int     HandleEvent();
    zqError AddServices(CFArrayRef aServices);
    zqError RemoveServices(CFArrayRef aServices);
    zqError ChangeServices(CFArrayRef aServices);
    zqError AddTechnologies(CFArrayRef aTechnologies);
    zqError RemoveTechnologies(CFArrayRef aTechnologies);
    zqError AddProvisions(CFDictionaryRef aProvisions);
    zqError AddProvision(const CFUSharedRef<CFDictionaryRef> &aProperties, zqSharedPtr<Provision> &aProvision);
    template <typename Change>
    zqError ChangeListed(const Provision &aProvision, Change aChange);

    template <typename Raised, typename Slot, typename... Payload>
    zqError Signal(Slot aSlot, const Payload &...aPayload);

    union OpaqueLock
    {
        PRLock *uOpaque;
    };

    OpaqueLock                      lOpaqueLock;
    std::set<Observer::Base *>      mObservers;
    zqEventQueue                   *mEventQueue;
    zqHeartBeatClient              *lHBClient;
    OpaqueLock                      lOpaquePropertyLock;
    CFMutableDictionaryRef          mProperties;
    ObjectList                      mProvisions;
    ObjectList                      mServices;
    ObjectList                      mTechnologies;
    zqStringArray                   mTechnologiesNetworkResetWillRemove;
    std::mutex                      mNetworkResetLock; // of those names; nothing is called with it held
    mutable Private::ProvisionsLock mProvisionsLock;
};

} // namespace zq::NetworkManager

#endif // ZQNETWORKMANAGER_MANAGER_H
