/**
 *  @file
 *    The concrete manager's book of who keeps the host awake, and network wakes.
 */

#include "zqnetworkmanager-connman.h"

#include <zqlog.h>

#include <new>

#define ZQ_LOG_COMPONENT "network manager"
#define ZQ_LOG_FILE "zqnetworkmanager-connman"

namespace zq
{
namespace NetworkManager
{
namespace ConnMan
{

namespace
{

// A radio that does not answer may keep the host awake only for so long.
constexpr std::int32_t kMaximumOkToSleepFailures = 5;

bool IsTrue(const CFUSharedRef<const void *> &aValue)
{
    return CFUIsTypeID(aValue.Get(), CFBooleanGetTypeID()) &&
           CFBooleanGetValue(static_cast<CFBooleanRef>(aValue.Get()));
}

} // namespace

void Manager::HandleWPANCtlPreventSleep(const zqString &anInterface)
{
    const std::lock_guard<std::mutex> lLock(mSleepLock);
    mSleepPreventers.insert(anInterface);
}

void Manager::HandleWPANCtlAllowSleep(const zqString &anInterface)
{
    const std::lock_guard<std::mutex> lLock(mSleepLock);
    mSleepPreventers.erase(anInterface);
}

void Manager::ForgetSleep()
{
    const std::lock_guard<std::mutex> lLock(mSleepLock);
    mSleepPreventers.clear();
    mOkToSleepRetries  = 0;
    mOkToSleepFailures = 0;
}

zqError Manager::GetSleepPreventers(zqStringArray &aNames)
{
    zqError lReturn = zqError_None;

    aNames.Clear();
    {
        const std::lock_guard<std::mutex> lLock(mSleepLock);

        for (const zqString &lName : mSleepPreventers)
            if (lReturn == zqError_None)
                lReturn = aNames.Append(lName);
    }
    if (lReturn != zqError_None)
        aNames.Clear();
    return lReturn;
}

// What is asked before the host sleeps

zqError Manager::QuerySleepPreventers()
{
    zqStringArray lNames;
    zqError       lReturn = mWPANCtl != nullptr ? GetSleepPreventers(lNames) : zqError_WrongState;

    for (int lIndex = 0; lIndex < lNames.GetNumElements(); ++lIndex)
    {
        const zqError lError = QueryOkToSleep(lNames.GetElement(lIndex));

        if (lReturn == zqError_None)
            lReturn = lError;
    }
    return lReturn;
}

zqError Manager::QueryOkToSleep(const zqString &anInterface) noexcept
try
{
    zqWPANCtl::Interface *const lInterface = mWPANCtl->GetInterface(anInterface);
    const std::weak_ptr<void>   lAnswers   = mAnswers;

    if (lInterface == nullptr)
        return zqError_NoResources;

    return lInterface->GetProperty_Async(
        [this, lAnswers, anInterface](zqError anError, const zqString &aKey, const CFUSharedRef<const void *> &aValue)
        {
            // Answers come on the thread that destroys the manager: it is here, or it has gone.
            if (!lAnswers.expired())
                HandleWPANDidGetOkToSleepProperty(anInterface, anError, aKey, aValue);
        },
        zqWPANCtl::kPropertyKeyIsOKToSleep);
}
catch (const std::bad_alloc &)
{
    return zqError_OutOfMemory;
}

void Manager::HandleWPANDidGetOkToSleepProperty(const zqString &anInterface, zqError anError, const zqString &,
                                                const CFUSharedRef<const void *> &aValue)
{
    if (anError != zqError_None)
    {
        ++mOkToSleepFailures;
        ZQ_LOG(zqLogLevel_Information,
               "network manager: wpan interface \"%s\" failed to reply to GetProperty(\"IsOkToSleep\") in %d attempts",
               anInterface.GetAsUTFArray(), mOkToSleepFailures);
        if (mOkToSleepFailures < kMaximumOkToSleepFailures)
            return;

        HandleWPANCtlAllowSleep(anInterface);
        ZQ_LOG(zqLogLevel_Information,
               "network manager: wpan interface \"%s\" multiple failures to respond  to \"IsOkToSleep\", allowing "
               "sleep now",
               anInterface.GetAsUTFArray());
        return;
    }

    const bool lIsOk = IsTrue(aValue);
    if (lIsOk)
        HandleWPANCtlAllowSleep(anInterface);
    mOkToSleepFailures = 0;
    mOkToSleepRetries  = 0;
    ZQ_LOG(zqLogLevel_Information, "network manager: wpan interface \"%s\" is %sok to sleep",
           anInterface.GetAsUTFArray(), lIsOk ? "" : "not ");
}

void Manager::HandleWPANCtlNetWake(const zqString &anInterface, int aData, int aRemaining)
{
    zqSharedPtr<Service> lService;

    (void)ManagerLookupServiceByInterfaceName(CFURetain(anInterface.GetAsCFString()), lService);
    if (lService == nullptr)
    {
        ZQ_LOG(zqLogLevel_Error, "network manager: Got a wake, but found no online service for interface %s",
               anInterface.GetAsUTFArray());
        return;
    }

    const zqError lStatus =
        aRemaining < 1 ? SignalServiceDidWake(lService.Get(), aData) : SignalServiceIsWaking(lService.Get(), aData);
    (void)ZQ_CHECK(lStatus == 0);
}

} // namespace ConnMan
} // namespace NetworkManager
} // namespace zq
