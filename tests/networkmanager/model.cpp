#include "model.h"

namespace zq::Test
{

String Str(const char *aText)
{
    return CFUAdopt(CFStringCreateWithCString(nullptr, aText, kCFStringEncodingUTF8));
}

std::string Text(CFTypeRef aString)
{
    if (aString == nullptr)
        return "(null)";

    return CFUIsTypeID(aString, CFStringGetTypeID()) ? zqString(static_cast<CFStringRef>(aString)).GetAsUTFArray()
                                                     : "(no string)";
}

Value Number(int aValue)
{
    return CFUAdopt<CFTypeRef>(CFNumberCreate(nullptr, kCFNumberIntType, &aValue));
}

Value Bool(bool aValue)
{
    return CFUAdopt<CFTypeRef>(CFUBooleanCreate(aValue));
}

Value Strings(const std::vector<std::string> &aTexts)
{
    return Paths(aTexts);
}

Dictionary Dict(const std::vector<std::pair<CFStringRef, Value>> &anEntries)
{
    auto lDictionary = CFUAdopt(
        CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));

    for (const auto &[lKey, lValue] : anEntries)
        CFDictionarySetValue(lDictionary.Get(), lKey, lValue.Get());

    return lDictionary;
}

CFUSharedRef<CFArrayRef> Paths(const std::vector<std::string> &aPaths)
{
    auto lArray = CFUAdopt(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));

    for (const auto &lPath : aPaths)
        CFArrayAppendValue(lArray.Get(), Str(lPath.c_str()).Get());

    return lArray;
}

Dictionary ServiceProperties(const char *aName, const char *aState, const char *aType)
{
    return Dict({ { kServicePropertyIPv4, Dict() },
                  { kServicePropertyIPv6, Dict() },
                  { kServicePropertyIPv4Configuration, Dict({ { kIPPropertyMethod, Str("dhcp") } }) },
                  { kServicePropertyIPv6Configuration, Dict({ { kIPPropertyMethod, Str("auto") } }) },
                  { kServicePropertyName, Str(aName) },
                  { kServicePropertyAutoConnect, Bool(false) },
                  { kServicePropertyDomains, Strings({}) },
                  { kServicePropertyEthernet, Dict({ { kEthernetPropertyInterface, Str("wlan0") } }) },
                  { kServicePropertyFavorite, Bool(true) },
                  { kServicePropertyImmutable, Bool(false) },
                  { kServicePropertyNameservers, Strings({}) },
                  { kServicePropertySecurity, Strings({ "psk" }) },
                  { kServicePropertyState, Str(aState) },
                  { kServicePropertyStrength, Number(70) },
                  { kServicePropertyType, Str(aType) } });
}

Dictionary TechnologyProperties(const char *aType)
{
    return Dict({ { kTechnologyPropertyName, Str(aType) },
                  { kTechnologyPropertyConnected, Bool(false) },
                  { kTechnologyPropertyPowered, Bool(true) },
                  { kTechnologyPropertyTethering, Bool(false) },
                  { kTechnologyPropertyType, Str(aType) } });
}

Dictionary ProvisionProperties(const char *anIdentifier, const char *aPassphrase)
{
    auto lProperties = Dict({ { kServicePropertyType, Str("wifi") }, { kServicePropertyName, Str("home") } });

    if (anIdentifier != nullptr)
        CFDictionarySetValue(lProperties.Get(), kServicePropertyProvisionIdentifier, Str(anIdentifier).Get());
    if (aPassphrase != nullptr)
        CFDictionarySetValue(lProperties.Get(), kServicePropertyPassphrase, Str(aPassphrase).Get());

    return lProperties;
}

bool Asserted(const LogCapture &aLog, const std::string &aCondition, const std::string &aFile,
              const std::string &aComponent)
{
    return aLog.Contains("ASSERT: " + aComponent + ": " + aCondition + ", file: " + aFile + ", line: ", 4);
}

std::string PathsOf(const zqRefCountArray &anObjects)
{
    std::string lPaths;

    for (int i = 0; i < anObjects.GetNumElements(); i++)
        lPaths += (i == 0 ? "" : " ") + Text(static_cast<Object *>(anObjects.GetElementPtr(i))->GetPath().Get());

    return lPaths;
}

namespace
{

std::string PathOf(const Object *anObject)
{
    return anObject != nullptr ? Text(anObject->GetPath().Get()) : "(null)";
}

std::string CountOf(CFDictionaryRef aDictionary)
{
    return std::to_string(CFDictionaryGetCount(aDictionary));
}

} // namespace

void RecordingObserver::Record(Manager *aManager, const std::string &aLine)
{
    mCalls.push_back(aLine);

    if (mInside)
        mInside(aManager);
}

void RecordingObserver::StateChanged(Manager *aManager, CFStringRef aState)
{
    Record(aManager, "StateChanged " + Text(aState));
}

void RecordingObserver::PropertiesChanged(Manager *aManager, CFDictionaryRef aProperties)
{
    Record(aManager, "PropertiesChanged " + CountOf(aProperties));
}

void RecordingObserver::ServicesAdded(Manager *aManager, const zqRefObjectArray<Service> &aServices)
{
    Record(aManager, "ServicesAdded " + PathsOf(aServices));
}

void RecordingObserver::ServicesRemoved(Manager *aManager, const zqRefObjectArray<Service> &aServices)
{
    mService = aServices.GetElement(0);
    Record(aManager, "ServicesRemoved " + PathsOf(aServices));
}

void RecordingObserver::ServiceChanged(Manager *aManager, Service *aService, CFDictionaryRef aChanged)
{
    mService = aService;
    Record(aManager, "ServiceChanged " + PathOf(aService) + " " + CountOf(aChanged));
}

zqError RecordingObserver::ServiceInput(Manager *aManager, Service *aService, CFDictionaryRef aFields)
{
    Record(aManager, "ServiceInput " + PathOf(aService) + " " + CountOf(aFields));
    return -99;
}

void RecordingObserver::ServiceError(Manager *aManager, Service *aService, CFStringRef anError)
{
    Record(aManager, "ServiceError " + PathOf(aService) + " " + Text(anError));
}

void RecordingObserver::ServiceDidConnect(Manager *aManager, Service *aService)
{
    Record(aManager, "ServiceDidConnect " + PathOf(aService));
}

void RecordingObserver::ServiceDidNotConnect(Manager *aManager, Service *aService, zqError anError)
{
    Record(aManager, "ServiceDidNotConnect " + PathOf(aService) + " " + std::to_string(anError));
}

void RecordingObserver::ServiceIsOnline(Manager *aManager, Service *aService)
{
    Record(aManager, "ServiceIsOnline " + PathOf(aService));
}

void RecordingObserver::ServiceIsNotOnline(Manager *aManager, Service *aService, zqError anError)
{
    Record(aManager, "ServiceIsNotOnline " + PathOf(aService) + " " + std::to_string(anError));
}

void RecordingObserver::ServiceIsWaking(Manager *aManager, Service *aService, unsigned char aReason)
{
    Record(aManager, "ServiceIsWaking " + PathOf(aService) + " " + std::to_string(aReason));
}

void RecordingObserver::ServiceDidWake(Manager *aManager, Service *aService, unsigned char aReason)
{
    Record(aManager, "ServiceDidWake " + PathOf(aService) + " " + std::to_string(aReason));
}

void RecordingObserver::ServiceDidNotWake(Manager *aManager, Service *aService, zqError anError)
{
    Record(aManager, "ServiceDidNotWake " + PathOf(aService) + " " + std::to_string(anError));
}

void RecordingObserver::TechnologiesAdded(Manager *aManager, const zqRefObjectArray<Technology> &aTechnologies)
{
    Record(aManager, "TechnologiesAdded " + PathsOf(aTechnologies));
}

void RecordingObserver::TechnologiesRemoved(Manager *aManager, const zqRefObjectArray<Technology> &aTechnologies)
{
    Record(aManager, "TechnologiesRemoved " + PathsOf(aTechnologies));
}

void RecordingObserver::TechnologyChanged(Manager *aManager, Technology *aTechnology, CFDictionaryRef aChanged)
{
    Record(aManager, "TechnologyChanged " + PathOf(aTechnology) + " " + CountOf(aChanged));
}

void RecordingObserver::TechnologyDidScan(Manager *aManager, Technology *aTechnology)
{
    Record(aManager, "TechnologyDidScan " + PathOf(aTechnology));
}

void RecordingObserver::TechnologyDidNotScan(Manager *aManager, Technology *aTechnology, zqError anError)
{
    Record(aManager, "TechnologyDidNotScan " + PathOf(aTechnology) + " " + std::to_string(anError));
}

void RecordingObserver::DidPrepareForSleep(Manager *aManager)
{
    Record(aManager, "DidPrepareForSleep");
}

void RecordingObserver::DidNotPrepareForSleep(Manager *aManager, zqError anError)
{
    Record(aManager, "DidNotPrepareForSleep " + std::to_string(anError));
}

Subscriber::Subscriber()
{
    (void)mQueue.Init();
}

void Subscriber::HandleEvent(zqEvent *) {}

std::vector<zqSharedPtr<zqEvent>> Subscriber::Take()
{
    std::vector<zqSharedPtr<zqEvent>> lEvents;
    zqEvent                          *lEvent   = nullptr;
    zqIEventHandler                  *lHandler = nullptr;

    while (mQueue.Dequeue(lEvent, lHandler))
    {
        if (lHandler == this)
            lEvents.emplace_back(lEvent);
        lEvent->Release();
    }

    return lEvents;
}

std::vector<unsigned int> Subscriber::TakeTypes()
{
    std::vector<unsigned int> lTypes;

    for (const auto &lEvent : Take())
        lTypes.push_back(lEvent->GetType());

    return lTypes;
}

TestManager::TestManager(zqEventQueue *aQueue, CFMutableDictionaryRef aProperties, bool anInit)
{
    mDescriptor.fd       = PR_NewPollableEvent();
    mDescriptor.in_flags = PR_POLL_READ;

    if (anInit)
        (void)Init(aQueue, aProperties);
}

TestManager::~TestManager()
{
    (void)PR_DestroyPollableEvent(mDescriptor.fd);
}

zqError TestManager::AddServices(const std::vector<std::string> &aPaths)
{
    for (const auto &lPath : aPaths)
        mServiceProperties.emplace(lPath, ServiceProperties());

    return UpdateServices(Paths(aPaths).Get(), UpdateOperationAdd);
}

zqError TestManager::AddTechnology(const char *aPath, const char *aType)
{
    mTechnologyProperties.emplace(aPath, TechnologyProperties(aType));

    return UpdateTechnologies(Paths({ aPath }).Get(), true);
}

void TestManager::Post(std::function<void()> aFunction)
{
    {
        const std::lock_guard<std::mutex> lGuard(mMutex);
        mPosted.push_back(std::move(aFunction));
    }

    (void)PR_SetPollableEvent(mDescriptor.fd);
}

PRPollDesc *TestManager::GetPollDescriptors(unsigned int &aCount, bool *aChanged)
{
    mNumPasses++;

    if (mYieldsNothing)
    {
        *aChanged = true;
        return nullptr;
    }

    // As the bus does: only what is new is told.
    if (!mYielded)
        *aChanged = mYielded = true;

    aCount = 1;
    return &mDescriptor;
}

int TestManager::HandleEvents(PRPollDesc *aDescriptors)
{
    if (aDescriptors == nullptr || (aDescriptors->out_flags & PR_POLL_READ) == 0)
        return 0;

    (void)PR_WaitForPollableEvent(mDescriptor.fd);

    std::deque<std::function<void()>> lPosted;
    {
        const std::lock_guard<std::mutex> lGuard(mMutex);
        lPosted.swap(mPosted);
    }

    for (const auto &lFunction : lPosted)
        lFunction();

    mNumHandled++;

    return mLeavesUnhandled ? 0 : 1;
}

zqError TestManager::Request(const std::string &anOperation, const Object &anObject)
{
    mRequests.push_back(anOperation + " " + Text(anObject.GetPath().Get()));
    return mResult;
}

zqError TestManager::ServiceSetProperty(const Service &aService, const String &, const Value &)
{
    return Request("ServiceSetProperty", aService);
}

zqError TestManager::ServiceClearProperty(const Service &aService, const String &)
{
    return Request("ServiceClearProperty", aService);
}

zqError TestManager::ServiceConnect(const Service &aService)
{
    return Request("ServiceConnect", aService);
}

zqError TestManager::ServiceOnlineCheck(const Service &aService)
{
    return Request("ServiceOnlineCheck", aService);
}

zqError TestManager::ServiceCompleteInput(const Service &aService, const CFUSharedRef<CFDictionaryRef> &)
{
    return Request("ServiceCompleteInput", aService);
}

zqError TestManager::ServiceDisconnect(const Service &aService)
{
    return Request("ServiceDisconnect", aService);
}

zqError TestManager::ServiceRemove(const Service &aService)
{
    return Request("ServiceRemove", aService);
}

zqError TestManager::TechnologyScan(const Technology &aTechnology)
{
    return Request("TechnologyScan", aTechnology);
}

zqError TestManager::IsTechnologyProvisioned(const String &, bool &aProvisioned)
{
    aProvisioned = false;
    return mResult;
}

zqError TestManager::UpdateConnManProvisions(bool aWrite)
{
    mRequests.push_back(aWrite ? "UpdateConnManProvisions write" : "UpdateConnManProvisions");
    return -99; // not looked at
}

zqError TestManager::TechnologySetProperty(const Technology &aTechnology, const String &aKey, const Value &aValue)
{
    const bool lValue = CFEqual(aValue.Get(), kCFBooleanTrue) != 0;

    return Request("TechnologySetProperty " + Text(aKey.Get()) + (lValue ? " true" : " false"), aTechnology);
}

zqError TestManager::Copy(const std::map<std::string, Dictionary> &aFrom, CFStringRef aPath,
                          CFDictionaryRef &aProperties)
{
    const auto lFound = aFrom.find(Text(aPath));

    mNumFetches++;
    aProperties = lFound != aFrom.end() ? CFDictionaryCreateCopy(nullptr, lFound->second.Get()) : nullptr;

    return lFound != aFrom.end() ? 0 : zqError_UnknownObject;
}

zqError TestManager::CopyServiceProperties(CFStringRef aPath, CFDictionaryRef &aProperties)
{
    return Copy(mServiceProperties, aPath, aProperties);
}

zqError TestManager::CopyTechnologyProperties(CFStringRef aPath, CFDictionaryRef &aProperties)
{
    return Copy(mTechnologyProperties, aPath, aProperties);
}

} // namespace zq::Test
