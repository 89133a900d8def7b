#include "model.h"

namespace zq::Test
{

Dictionary ServiceProperties(const char *aName, const char *aState, const char *aType)
{
    return Dict({ { kServicePropertyIPv4, Dict() },
                  { kServicePropertyIPv6, Dict() },
                  { kServicePropertyIPv4Configuration, Dict({ { kIPPropertyMethod, "dhcp" } }) },
                  { kServicePropertyIPv6Configuration, Dict({ { kIPPropertyMethod, "auto" } }) },
                  { kServicePropertyName, aName },
                  { kServicePropertyAutoConnect, Bool(false) },
                  { kServicePropertyDomains, Strings({}) },
                  { kServicePropertyEthernet, Dict({ { kEthernetPropertyInterface, "wlan0" } }) },
                  { kServicePropertyFavorite, Bool(true) },
                  { kServicePropertyImmutable, Bool(false) },
                  { kServicePropertyNameservers, Strings({}) },
                  { kServicePropertySecurity, Strings({ "psk" }) },
                  { kServicePropertyState, aState },
                  { kServicePropertyStrength, Number(70) },
                  { kServicePropertyType, aType } });
}

Dictionary TechnologyProperties(const char *aType)
{
    return Dict({ { kTechnologyPropertyName, aType },
                  { kTechnologyPropertyConnected, Bool(false) },
                  { kTechnologyPropertyPowered, Bool(true) },
                  { kTechnologyPropertyTethering, Bool(false) },
                  { kTechnologyPropertyType, aType } });
}

Dictionary ProvisionProperties(const char *anIdentifier, const char *aPassphrase)
{
    auto lProperties = Dict({ { kServicePropertyType, "wifi" }, { kServicePropertyName, "home" } });

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

Subscriber::Subscriber()
{
    (void)mQueue.Init();
}

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
        mReported.emplace(lPath, ServiceProperties());

    return UpdateServices(Strings(aPaths).Get(), UpdateOperationAdd);
}

zqError TestManager::AddTechnology(const char *aPath, const char *aType)
{
    mReported.emplace(aPath, TechnologyProperties(aType));

    return UpdateTechnologies(Strings({ aPath }).Get(), true);
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

zqError TestManager::TechnologySetProperty(const Technology &aTechnology, const String &aKey, const Value &aValue)
{
    const bool lValue = CFEqual(aValue.Get(), kCFBooleanTrue) != 0;

    return Request("TechnologySetProperty " + Text(aKey.Get()) + (lValue ? " true" : " false"), aTechnology);
}

zqError TestManager::Copy(CFStringRef aPath, CFDictionaryRef &aProperties)
{
    const auto lFound = mReported.find(Text(aPath));

    mNumFetches++;
    aProperties = lFound != mReported.end() ? CFDictionaryCreateCopy(nullptr, lFound->second.Get()) : nullptr;
    return lFound != mReported.end() ? 0 : zqError_UnknownObject;
}

} // namespace zq::Test
