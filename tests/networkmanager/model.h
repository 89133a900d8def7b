/**
 *  @file
 *    A model without a bus: values, a manager that the test plays the
 *    connection manager for, and receivers that remember what they are told.
 */

#ifndef ZQ_TEST_MODEL_H
#define ZQ_TEST_MODEL_H

#include <logcapture.h>
#include <zqnetworkmanager-private.h>
#include <zqnetworkmanager.h>

#include <atomic>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace zq::Test
{

using namespace zq::NetworkManager;

// Values

using String     = CFUSharedRef<CFStringRef>;
using Value      = CFUSharedRef<CFTypeRef>;
using Dictionary = CFUSharedRef<CFMutableDictionaryRef>;

String      Str(const char *aText);
std::string Text(CFTypeRef aString); // "(null)" for null, "(no string)" for another kind
Value       Number(int aValue);
Value       Bool(bool aValue);
Value       Strings(const std::vector<std::string> &aTexts);
Dictionary  Dict(const std::vector<std::pair<CFStringRef, Value>> &anEntries = {});

/** An array of object paths. */
CFUSharedRef<CFArrayRef> Paths(const std::vector<std::string> &aPaths);

/** Properties with which a service (technology, provision) initialises. */
Dictionary ServiceProperties(const char *aName = "home", const char *aState = "idle", const char *aType = "wifi");
Dictionary TechnologyProperties(const char *aType = "wifi");
Dictionary ProvisionProperties(const char *anIdentifier, const char *aPassphrase = nullptr);

template <typename T>
zqSharedPtr<T> Make(const char *aPath, const Dictionary &aProperties)
{
    zqSharedPtr<T> lObject(new T);

    return lObject->Init(Str(aPath), aProperties) == 0 ? lObject : nullptr;
}

/** Whether an assertion was logged, in the platform's format. */
bool Asserted(const LogCapture &aLog, const std::string &aCondition, const std::string &aFile,
              const std::string &aComponent = "");

/** The paths of an array, joined by blanks. */
std::string PathsOf(const zqRefCountArray &anObjects);

/** Remembers each callback as a line: its name, the object's path, the payload. */
class RecordingObserver : public Observer::Base
{
public:
    std::vector<std::string>               mCalls;
    std::function<void(Manager *aManager)> mInside;  // called from within each callback
    zqSharedPtr<Service>                   mService; // the last one that was told of

    void    StateChanged(Manager *aManager, CFStringRef aState) override;
    void    PropertiesChanged(Manager *aManager, CFDictionaryRef aProperties) override;
    void    ServicesAdded(Manager *aManager, const zqRefObjectArray<Service> &aServices) override;
    void    ServicesRemoved(Manager *aManager, const zqRefObjectArray<Service> &aServices) override;
    void    ServiceChanged(Manager *aManager, Service *aService, CFDictionaryRef aChanged) override;
    zqError ServiceInput(Manager *aManager, Service *aService, CFDictionaryRef aFields) override;
    void    ServiceError(Manager *aManager, Service *aService, CFStringRef anError) override;
    void    ServiceDidConnect(Manager *aManager, Service *aService) override;
    void    ServiceDidNotConnect(Manager *aManager, Service *aService, zqError anError) override;
    void    ServiceIsOnline(Manager *aManager, Service *aService) override;
    void    ServiceIsNotOnline(Manager *aManager, Service *aService, zqError anError) override;
    void    ServiceIsWaking(Manager *aManager, Service *aService, unsigned char aReason) override;
    void    ServiceDidWake(Manager *aManager, Service *aService, unsigned char aReason) override;
    void    ServiceDidNotWake(Manager *aManager, Service *aService, zqError anError) override;
    void    TechnologiesAdded(Manager *aManager, const zqRefObjectArray<Technology> &aTechnologies) override;
    void    TechnologiesRemoved(Manager *aManager, const zqRefObjectArray<Technology> &aTechnologies) override;
    void    TechnologyChanged(Manager *aManager, Technology *aTechnology, CFDictionaryRef aChanged) override;
    void    TechnologyDidScan(Manager *aManager, Technology *aTechnology) override;
    void    TechnologyDidNotScan(Manager *aManager, Technology *aTechnology, zqError anError) override;
    void    DidPrepareForSleep(Manager *aManager) override;
    void    DidNotPrepareForSleep(Manager *aManager, zqError anError) override;

private:
    void Record(Manager *aManager, const std::string &aLine);
};

/** A queue with a handler, and the events that have come to it. */
class Subscriber : public zqIEventHandler
{
public:
    Subscriber();

    void HandleEvent(zqEvent *anEvent) override;

    /** Every event that waits, in order. */
    std::vector<zqSharedPtr<zqEvent>> Take();
    std::vector<unsigned int>         TakeTypes();

    /** The one event that waits, as its class; null when there is another number of events or it is of another class.
     */
    template <typename T>
    zqSharedPtr<T> TakeOne()
    {
        const auto lEvents = Take();

        return zqSharedPtr<T>(lEvents.size() == 1 ? dynamic_cast<T *>(lEvents[0].Get()) : nullptr);
    }

    zqEventQueue mQueue;
};

/** A manager whose connection manager is the test. */
class TestManager : public Manager
{
public:
    /** Initialises itself. */
    explicit TestManager(zqEventQueue *aQueue = nullptr, CFMutableDictionaryRef aProperties = nullptr,
                         bool anInit = true);
    ~TestManager() override;

    // What the connection manager would report, by path
    std::map<std::string, Dictionary> mServiceProperties;
    std::map<std::string, Dictionary> mTechnologyProperties;

    std::atomic<bool>        mAvailable{ true };
    std::vector<std::string> mRequests; // "operation path …"
    int                      mNumFetches = 0;
    zqError                  mResult     = 0; // of every request

    /** Make services (idle Wi-Fi ones unless they are there already) and report them as added. */
    zqError AddServices(const std::vector<std::string> &aPaths);
    zqError AddTechnology(const char *aPath, const char *aType);

    // The loop
    bool             mYieldsNothing   = false; // GetPollDescriptors yields null
    bool             mLeavesUnhandled = false;
    std::atomic<int> mNumHandled{ 0 };
    int              mNumPasses = 0;

    /** Have HandleEvents run a function on the loop's thread. */
    void Post(std::function<void()> aFunction);

    // What subclasses have
    using Manager::Destroy;
    using Manager::Init;
    using Manager::Lock;
    using Manager::LockProperties;
    using Manager::SignalDidNotPrepareForSleep;
    using Manager::SignalDidPrepareForSleep;
    using Manager::SignalPropertiesChanged;
    using Manager::SignalServiceChanged;
    using Manager::SignalServiceDidConnect;
    using Manager::SignalServiceDidNotConnect;
    using Manager::SignalServiceDidNotWake;
    using Manager::SignalServiceDidWake;
    using Manager::SignalServiceError;
    using Manager::SignalServiceInput;
    using Manager::SignalServiceIsNotOnline;
    using Manager::SignalServiceIsOnline;
    using Manager::SignalServiceIsWaking;
    using Manager::SignalServicesAdded;
    using Manager::SignalServicesRemoved;
    using Manager::SignalStateChanged;
    using Manager::SignalTechnologiesAdded;
    using Manager::SignalTechnologiesRemoved;
    using Manager::SignalTechnologyChanged;
    using Manager::SignalTechnologyDidNotScan;
    using Manager::SignalTechnologyDidScan;
    using Manager::Unlock;
    using Manager::UnlockProperties;
    using Manager::UpdateProperties;
    using Manager::UpdateProvisions;
    using Manager::UpdateServices;
    using Manager::UpdateTechnologies;

    zqError     ServiceSetProperty(const Service &aService, const String &aKey, const Value &aValue) override;
    zqError     ServiceClearProperty(const Service &aService, const String &aKey) override;
    zqError     ServiceConnect(const Service &aService) override;
    zqError     ServiceOnlineCheck(const Service &aService) override;
    zqError     ServiceCompleteInput(const Service &aService, const CFUSharedRef<CFDictionaryRef> &anInput) override;
    zqError     ServiceDisconnect(const Service &aService) override;
    zqError     ServiceRemove(const Service &aService) override;
    zqError     TechnologyScan(const Technology &aTechnology) override;
    zqError     IsTechnologyProvisioned(const String &aTechnologyType, bool &aProvisioned) override;
    PRPollDesc *GetPollDescriptors(unsigned int &aCount, bool *aChanged) override;
    int         HandleEvents(PRPollDesc *aDescriptors) override;
    bool        IsAvailable() override { return mAvailable; }
    zqError     UpdateConnManProvisions(bool aWrite) override;
    zqError     TechnologySetProperty(const Technology &aTechnology, const String &aKey, const Value &aValue) override;
    zqError     CopyServiceProperties(CFStringRef aPath, CFDictionaryRef &aProperties) override;
    zqError     CopyTechnologyProperties(CFStringRef aPath, CFDictionaryRef &aProperties) override;

private:
    zqError Request(const std::string &anOperation, const Object &anObject);
    zqError Copy(const std::map<std::string, Dictionary> &aFrom, CFStringRef aPath, CFDictionaryRef &aProperties);

    PRPollDesc                        mDescriptor{};
    bool                              mYielded = false;
    std::mutex                        mMutex; // of the posted functions
    std::deque<std::function<void()>> mPosted;
};

} // namespace zq::Test

#endif // ZQ_TEST_MODEL_H
