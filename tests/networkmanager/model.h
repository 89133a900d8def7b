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

String                   Str(const char *aText);
std::string              Text(CFTypeRef aString); // "(null)" for null, "(no string)" for another kind
Value                    Number(int aValue);
Value                    Bool(bool aValue);
CFUSharedRef<CFArrayRef> Strings(const std::vector<std::string> &aTexts);
Dictionary               Dict(const std::vector<std::pair<CFStringRef, Value>> &anEntries = {});

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

/** The path, or the paths joined by blanks. */
std::string Show(const Object *anObject);
std::string Show(const zqRefCountArray &anObjects);

// An operation of an observer with one or with two arguments after the manager.
#define ZQ_RECORDS(OPERATION, TYPE)                                                                                    \
    void OPERATION(Manager *aManager, TYPE anArgument) override                                                        \
    {                                                                                                                  \
        Record(aManager, #OPERATION, anArgument);                                                                      \
    }
#define ZQ_RECORDS_BOTH(OPERATION, FIRST, SECOND)                                                                      \
    void OPERATION(Manager *aManager, FIRST aFirst, SECOND aSecond) override                                           \
    {                                                                                                                  \
        Record(aManager, #OPERATION, aFirst, aSecond);                                                                 \
    }

/** Remembers each callback as a line: its name, the object's path, the payload (of a dictionary, its size). */
class RecordingObserver : public Observer::Base
{
public:
    std::vector<std::string>               mCalls;
    std::function<void(Manager *aManager)> mInside; // called from within each callback

    ZQ_RECORDS(StateChanged, CFStringRef);
    ZQ_RECORDS(PropertiesChanged, CFDictionaryRef);
    ZQ_RECORDS(ServicesAdded, const zqRefObjectArray<Service> &);
    ZQ_RECORDS(ServicesRemoved, const zqRefObjectArray<Service> &);
    ZQ_RECORDS_BOTH(ServiceChanged, Service *, CFDictionaryRef);
    ZQ_RECORDS_BOTH(ServiceError, Service *, CFStringRef);
    ZQ_RECORDS(ServiceDidConnect, Service *);
    ZQ_RECORDS_BOTH(ServiceDidNotConnect, Service *, zqError);
    ZQ_RECORDS(ServiceIsOnline, Service *);
    ZQ_RECORDS_BOTH(ServiceIsNotOnline, Service *, zqError);
    ZQ_RECORDS_BOTH(ServiceIsWaking, Service *, unsigned char);
    ZQ_RECORDS_BOTH(ServiceDidWake, Service *, unsigned char);
    ZQ_RECORDS_BOTH(ServiceDidNotWake, Service *, zqError);
    ZQ_RECORDS(TechnologiesAdded, const zqRefObjectArray<Technology> &);
    ZQ_RECORDS(TechnologiesRemoved, const zqRefObjectArray<Technology> &);
    ZQ_RECORDS_BOTH(TechnologyChanged, Technology *, CFDictionaryRef);
    ZQ_RECORDS(TechnologyDidScan, Technology *);
    ZQ_RECORDS_BOTH(TechnologyDidNotScan, Technology *, zqError);
    ZQ_RECORDS(DidNotPrepareForSleep, zqError);

    void    DidPrepareForSleep(Manager *aManager) override { Record(aManager, "DidPrepareForSleep"); }
    zqError ServiceInput(Manager *aManager, Service *aService, CFDictionaryRef aFields) override
    {
        Record(aManager, "ServiceInput", aService, aFields);
        return -99;
    }

private:
    static std::string Describe(const Object *anObject) { return Show(anObject); }
    static std::string Describe(const zqRefCountArray &anObjects) { return Show(anObjects); }
    static std::string Describe(CFStringRef aString) { return Text(aString); }
    static std::string Describe(CFDictionaryRef aPayload) { return std::to_string(CFDictionaryGetCount(aPayload)); }
    static std::string Describe(int aNumber) { return std::to_string(aNumber); }

    template <typename... Arguments>
    void Record(Manager *aManager, const char *aName, const Arguments &...anArguments)
    {
        mCalls.push_back((std::string(aName) + ... + (" " + Describe(anArguments))));
        if (mInside)
            mInside(aManager);
    }
};

/** A queue with a handler, and the events that have come to it. */
class Subscriber : public zqIEventHandler
{
public:
    Subscriber();

    void HandleEvent(zqEvent *) override {}

    /** Every event that waits, in order. */
    std::vector<zqSharedPtr<zqEvent>> Take();

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

    std::map<std::string, Dictionary> mReported; // what the connection manager tells of an object, by path

    std::atomic<bool>        mAvailable{ true };
    std::vector<std::string> mRequests; // "operation path …"
    int                      mNumFetches = 0;
    zqError                  mResult     = 0; // of every request

    /** Make services (idle Wi-Fi ones unless they are there already) and report them as added. */
    zqError AddServices(const std::vector<std::string> &aPaths);
    zqError AddTechnology(const char *aPath, const char *aType);

    std::string GetServicePaths() const { return GetPaths(&Manager::GetServices); }
    std::string GetProvisionPaths() const { return GetPaths(&Manager::GetProvisions); }

    // The loop
    bool             mYieldsNothing   = false; // GetPollDescriptors yields null
    bool             mLeavesUnhandled = false;
    std::atomic<int> mNumHandled{ 0 };
    int              mNumPasses = 0;

    /** Have HandleEvents run a function on the loop's thread. */
    void Post(std::function<void()> aFunction);

    // What subclasses have
    using Manager::Destroy, Manager::Init, Manager::Lock, Manager::LockProperties, Manager::SignalDidNotPrepareForSleep,
        Manager::SignalDidPrepareForSleep, Manager::SignalPropertiesChanged, Manager::SignalServiceChanged,
        Manager::SignalServiceDidConnect, Manager::SignalServiceDidNotConnect, Manager::SignalServiceDidNotWake,
        Manager::SignalServiceDidWake, Manager::SignalServiceError, Manager::SignalServiceInput,
        Manager::SignalServiceIsNotOnline, Manager::SignalServiceIsOnline, Manager::SignalServiceIsWaking,
        Manager::SignalServicesAdded, Manager::SignalServicesRemoved, Manager::SignalStateChanged,
        Manager::SignalTechnologiesAdded, Manager::SignalTechnologiesRemoved, Manager::SignalTechnologyChanged,
        Manager::SignalTechnologyDidNotScan, Manager::SignalTechnologyDidScan, Manager::Unlock,
        Manager::UnlockProperties, Manager::UpdateProperties, Manager::UpdateProvisions, Manager::UpdateServices,
        Manager::UpdateTechnologies;

    zqError ServiceSetProperty(const Service &, const String &, const Value &) override { return mResult; }
    zqError ServiceClearProperty(const Service &, const String &) override { return mResult; }
    zqError ServiceConnect(const Service &) override { return mResult; }
    zqError ServiceCompleteInput(const Service &, const CFUSharedRef<CFDictionaryRef> &) override { return mResult; }
    zqError ServiceDisconnect(const Service &) override { return mResult; }
    zqError ServiceRemove(const Service &) override { return mResult; }
    zqError TechnologyScan(const Technology &aTechnology) override { return Request("TechnologyScan", aTechnology); }
    zqError ServiceOnlineCheck(const Service &aService) override { return Request("ServiceOnlineCheck", aService); }
    zqError TechnologySetProperty(const Technology &aTechnology, const String &aKey, const Value &aValue) override;
    zqError IsTechnologyProvisioned(const String &, bool &) override { return mResult; }
    zqError UpdateConnManProvisions(bool aWrite) override
    {
        mRequests.push_back(aWrite ? "write" : "keep");
        return -99; // not looked at
    }
    bool    IsAvailable() override { return mAvailable; }
    zqError CopyServiceProperties(CFStringRef aPath, CFDictionaryRef &aCopy) override { return Copy(aPath, aCopy); }
    zqError CopyTechnologyProperties(CFStringRef aPath, CFDictionaryRef &aCopy) override { return Copy(aPath, aCopy); }

    PRPollDesc *GetPollDescriptors(unsigned int &aCount, bool *aChanged) override;
    int         HandleEvents(PRPollDesc *aDescriptors) override;

private:
    template <typename T>
    std::string GetPaths(zqError (Manager::*aGet)(zqRefObjectArray<T> &) const) const
    {
        zqRefObjectArray<T> lArray;
        return (this->*aGet)(lArray) == 0 ? Show(lArray) : "(failed)";
    }

    zqError Request(const std::string &anOperation, const Object &anObject);
    zqError Copy(CFStringRef aPath, CFDictionaryRef &aProperties);

    PRPollDesc                        mDescriptor{};
    bool                              mYielded = false;
    std::mutex                        mMutex; // of the posted functions
    std::deque<std::function<void()>> mPosted;
};

} // namespace zq::Test

#endif // ZQ_TEST_MODEL_H
