/**
 *  @file
 *    The one concrete manager: it joins the model to the ConnMan client and to
 *    the WPAN controller.
 */

#ifndef ZQNETWORKMANAGER_CONNMAN_H
#define ZQNETWORKMANAGER_CONNMAN_H

#include <zqconnman-propertiesreader.h>
#include <zqconnman.h>
#include <zqnetworkmanager-manager.h>
#include <zqshared-containers.h>
#include <zqwpanctl.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <set>

namespace zq::NetworkManager::ConnMan
{

/**
 *  Threads: Init, Destroy, the destructor and every callback run on the thread
 *  that drives the run loop, or while no loop runs. The operations of the
 *  application run on the caller's thread and take no lock here but those of the
 *  sleep preventers and of the manager's properties that are being set, and the
 *  hold of the provisions.
 */
class Manager final : public zq::NetworkManager::Manager, public ::zq::ConnMan::Delegate::Base
{
public:
    Manager() noexcept;
    ~Manager() override;
    Manager(const Manager &)            = delete;
    Manager &operator=(const Manager &) = delete;

    /**
     *  @param[in]  aQueue  The application's queue; may be null.
     *  @returns 0, or the code of the step that failed: every step before it has been undone.
     */
    zqError Init(zqEventQueue *aQueue);

    /**
     *  Afterwards the client tells this manager nothing more. Safe to call twice.
     *
     *  It unregisters the input agent, which waits for the daemon's answer: with
     *  a daemon that is there and silent, for 1 second.
     */
    void Destroy();

    // The abstract manager

    zqError     ServiceSetProperty(const Service &aService, const CFUSharedRef<CFStringRef> &aKey,
                                   const CFUSharedRef<const void *> &aValue) override;
    zqError     ServiceClearProperty(const Service &aService, const CFUSharedRef<CFStringRef> &aKey) override;
    zqError     ServiceConnect(const Service &aService) override;
    zqError     ServiceOnlineCheck(const Service &aService) override;
    zqError     ServiceCompleteInput(const Service &aService, const CFUSharedRef<CFDictionaryRef> &anInput) override;
    zqError     ServiceDisconnect(const Service &aService) override;
    zqError     ServiceRemove(const Service &aService) override;
    zqError     TechnologyScan(const Technology &aTechnology) override;
    zqError     IsTechnologyProvisioned(const CFUSharedRef<CFStringRef> &aTechnologyType, bool &aProvisioned) override;
    PRPollDesc *GetPollDescriptors(unsigned int &aCount, bool *aChanged) override;
    int         HandleEvents(PRPollDesc *aDescriptors) override;
    zqError     ManagerSetProperty(const CFUSharedRef<CFStringRef>  &aKey,
                                   const CFUSharedRef<const void *> &aValue) override;
    bool        IsAvailable() override;
    zqError     UpdateConnManProvisions(bool aWrite) override;
    zqError     TechnologySetProperty(const Technology &aTechnology, const CFUSharedRef<CFStringRef> &aKey,
                                      const CFUSharedRef<const void *> &aValue) override;
    zqError     CopyServiceProperties(CFStringRef aPath, CFDictionaryRef &aProperties) override;
    zqError     CopyTechnologyProperties(CFStringRef aPath, CFDictionaryRef &aProperties) override;
    zqError     ServiceCancelInput(const Service &aService) override;
    zqError     GetSleepPreventers(zqStringArray &aNames) override;
    zqError     QuerySleepPreventers() override;
    zqError     GetProvisionsError() const override;
    zqError     CheckProvision(const CFUSharedRef<CFStringRef>     &anIdentifier,
                               const CFUSharedRef<CFDictionaryRef> &aProperties) override;
    void        NoteProvisionChange(const CFUSharedRef<CFStringRef>     &anIdentifier,
                                    const CFUSharedRef<CFDictionaryRef> &aProperties) override;
    zqError     EraseConnManProvisions() override;

    // The client's delegate

    void    Available(zqConnMan *aConnMan) override;
    void    Unavailable(zqConnMan *aConnMan) override;
    void    StateChanged(zqConnMan *aConnMan, CFStringRef aState) override;
    void    PropertiesChanged(zqConnMan *aConnMan, CFDictionaryRef aProperties) override;
    void    ServicesAdded(zqConnMan *aConnMan, CFArrayRef aServices) override;
    void    ServicesRemoved(zqConnMan *aConnMan, CFArrayRef aServices) override;
    void    ServicesUpdated(zqConnMan *aConnMan, CFArrayRef aServices) override;
    void    ServiceChanged(zqConnMan *aConnMan, CFStringRef aPath, CFDictionaryRef aProperties) override;
    zqError ServiceRequestInput(zqConnMan *aConnMan, CFStringRef aPath, CFDictionaryRef aProperties) override;
    void    ServiceReportError(zqConnMan *aConnMan, CFStringRef aPath, CFStringRef aError) override;
    void    ServiceDidConnect(zqConnMan *aConnMan, CFStringRef aPath) override;
    void    ServiceDidNotConnect(zqConnMan *aConnMan, CFStringRef aPath, zqError anError) override;
    void    ServiceIsOnline(zqConnMan *aConnMan, CFStringRef aPath) override;
    void    ServiceIsNotOnline(zqConnMan *aConnMan, CFStringRef aPath, zqError anError) override;
    void    TechnologiesAdded(zqConnMan *aConnMan, CFArrayRef aTechnologies) override;
    void    TechnologiesRemoved(zqConnMan *aConnMan, CFArrayRef aTechnologies) override;
    void    TechnologyChanged(zqConnMan *aConnMan, CFStringRef aPath, CFDictionaryRef aProperties) override;
    void    TechnologyDidScan(zqConnMan *aConnMan, CFStringRef aPath) override;
    void    TechnologyDidNotScan(zqConnMan *aConnMan, CFStringRef aPath, zqError anError) override;

    // The WPAN controller's signals, and what an interface has answered to
    // QuerySleepPreventers

    void HandleWPANCtlPreventSleep(const zqString &anInterface);
    void HandleWPANCtlAllowSleep(const zqString &anInterface);
    void HandleWPANCtlNetWake(const zqString &anInterface, int aData, int aRemaining);
    void HandleWPANDidGetOkToSleepProperty(const zqString &anInterface, zqError anError, const zqString &aKey,
                                           const CFUSharedRef<const void *> &aValue);

private:
    // Lifecycle

    zqError InitClients();
    zqError ConnectWPANCtl();
    void    LetGo();

    // What is loaded whenever the daemon becomes available

    zqError InitCaches();
    zqError InitProperties();
    zqError InitServices();
    zqError InitTechnologies();
    template <typename T>
    zqError InitObjects(CFMutableArrayRef aPaths);
    zqError InitProvisions();

    // The stored provisions, of which this manager, and other processes, change
    // what they have seen. Each is called with the provisions held.

    using Records = CFUSharedRef<CFDictionaryRef>; // identifier to properties

    zqError ReadProvisions();
    zqError WriteProvisions(Records &aListed, const ProvisionsHold &aHold);
    zqError GatherProvisions(Records &aRecords) const;

    /**
     *  Make the list what has come of it and of the file, and note what both have now.
     *
     *  @param[in,out]  aListed  What the list has.
     *  @param[in]      aStored  What the file has.
     */
    zqError ListProvisions(Records &aListed, const Records &aMerged, const Records &aStored);
    zqError NoteSeen(const Records &aListed, const Records &aMerged, const Records &aStored);

    // Reports by paths

    /**
     *  Add, or refresh, what a report lists. Each object's properties are
     *  fetched once, before the model is told: an object that has vanished, or
     *  lacks what it must have, does not hide its neighbours. What a passing
     *  failure kept out is made up for later.
     *
     *  @returns 0, or such a failure, or why the model refused.
     */
    template <typename T>
    zqError AddReported(CFArrayRef aPaths);
    zqError RefreshReported(CFArrayRef aServices);

    /** What is fetched for the report that a thread is handling. */
    class Report;

    /** What is different about services and technologies. */
    template <typename T>
    struct Kind
    {
        const char *mName;
        const char *mAssertion; // of one that is not in the list
        zqError (zqConnMan::*mGetPaths)(CFMutableArrayRef aPaths);
        zqError (zqConnMan::*mGetAll)(CFDictionaryRef &anObjects);
        zqConnMan::PropertiesReader::Kind mReader;
        zqSharedPtr<T> (zq::NetworkManager::Manager::*mFind)(CFStringRef aPath) const;
        zqError (zq::NetworkManager::Manager::*mCopyList)(zqRefObjectArray<T> &anArray) const;
        zqError (*mUpdate)(Manager &aManager, CFArrayRef aPaths, UpdateOperation anOperation);
        zqError (Manager::*mSignalChanged)(T *anObject, CFDictionaryRef aProperties);

        static const Kind kKind;
    };

    using Get = zqError (zqConnMan::*)(const char *aPath, CFDictionaryRef &aProperties);
    zqError CopyObjectProperties(CFStringRef aPath, Get aGet, CFDictionaryRef &aProperties);

    /** True for a failure that tells of the daemon, not of one of its objects: the next call would fail as well, and
     * slowly. */
    static bool IsDaemonLost(zqError anError);

    /** True for a failure that may not come again: of a lost daemon, or for want of memory. */
    static bool IsPassing(zqError anError);

    /** After such a failure all is loaded once more, when the daemon answers. @returns the failure. */
    zqError MakeUpLater(zqError anError);

    /**
     *  Bring the lists in line with a daemon that has come back: objects that it
     *  does not list are removed, then those whose properties differ are
     *  refreshed. A daemon that crashed has sent no removals, and what is listed
     *  already is not loaded anew.
     */
    template <typename T>
    zqError Reconcile();
    template <typename T>
    void RefreshObject(T &anObject, CFDictionaryRef aProperties);

    // Requests

    /** False, with an assertion, for what is no property's name. */
    static bool IsName(const CFUSharedRef<CFStringRef> &aKey);

    /** A property of the daemon's manager on its way to it. */
    class PropertySet;

    zqError TakeProperties(CFDictionaryRef aProperties);
    void    PropertyNotSet(const CFUSharedRef<CFStringRef> &aKey, unsigned int aNumber);

    // Callbacks

    bool IsOwn(const zqConnMan *aConnMan) const;
    bool IsOwn(const zqConnMan *aConnMan, CFStringRef aPath) const;
    bool IsOwnForOnline(const zqConnMan *aConnMan, CFStringRef aPath) const;

    /** Whether it is an assertion that the lists have the object of a report, or only worth a line. */
    enum Absence
    {
        kLogged,
        kAsserted
    };

    template <typename T>
    zqSharedPtr<T> FindReported(CFStringRef aPath, const char *aReason, Absence anAbsence);

    /** Refresh an object and tell of it. @param[in]  aCheck  Asserts what either fails with, and returns it. */
    template <typename T>
    void Changed(zqConnMan *aConnMan, CFStringRef aPath, CFDictionaryRef aProperties, zqError (*aCheck)(zqError));

    /** Raise the event of a report, if the lists have its object. */
    template <typename T, typename Raise, typename... Payload>
    void Tell(CFStringRef aPath, const char *aReason, Absence anAbsence, Raise aRaise, const Payload &...aPayload);

    zqError SignalConnectNotFound(CFStringRef aPath);

    zqError ServicePermitJoin(const CFUSharedRef<const void *> &aValue);

    bool    NextSleepPreventer(zqString &aName);
    zqError QueryOkToSleep(const zqString &anInterface) noexcept;
    void    ForgetSleep();

    CFUSharedRef<CFMutableDictionaryRef> mSeen;           // what list and file agreed on when they were last compared
    std::atomic<zqError>                 mReadError{ 0 }; // of the file, the last time
    std::atomic<zqError>                 mWriteError{ 0 };

    zqConnMan                  mConnMan;
    std::unique_ptr<zqWPANCtl> mWPANCtl;
    std::mutex                 mSleepLock; // of the names and the counts; nothing is called with it held
    std::set<zqString>         mSleepPreventers;
    std::int32_t               mOkToSleepRetries  = 0; // begins anew with the failures; nothing reads it
    std::int32_t               mOkToSleepFailures = 0;
    std::shared_ptr<void>      mAnswers;              // while an answer to a query may touch this manager
    std::atomic<bool>          mInitialized{ false }; // cleared under the properties lock
    bool                       mMayBeStale = false;   // the lists hold what was told before the next Available

    // Held while a property is sent and set here, and while a refusal is seen
    // to: neither comes between the two halves of the other.
    std::mutex                           mPropertySetLock;
    CFUSharedRef<CFMutableDictionaryRef> mTold;       // the manager's properties as the daemon told them last
    std::map<zqString, unsigned int>     mLatestSets; // how often each property was set
};

} // namespace zq::NetworkManager::ConnMan

#endif // ZQNETWORKMANAGER_CONNMAN_H
