/**
 *  @file
 *    A model without a bus: values, a manager that the test plays the
 *    connection manager for, and receivers that remember what they are told.
 */

#ifndef ZQ_TEST_MODEL_H
#define ZQ_TEST_MODEL_H

#include <logcapture.h>
#include <recorder.h>
#include <zqnetworkmanager-private.h>

#include <atomic>
#include <deque>
#include <map>

namespace zq::Test
{

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
        return (this->*aGet)(lArray) == 0 ? Join(Names(lArray)) : "(failed)";
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
