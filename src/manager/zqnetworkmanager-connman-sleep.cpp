/**
 *  @file
 *    The concrete manager's book of who keeps the host awake, and network wakes.
 */

#include "zqnetworkmanager-connman.h"

#include <zqlog.h>
#include <zqwpanctl-signals.h>

#include <new>

#define ZQ_LOG_COMPONENT "network manager"
#define ZQ_LOG_FILE "zqnetworkmanager-connman"

namespace zq::NetworkManager::ConnMan
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
    zqError  lReturn = zqError_None;
    zqString lName;

    if (mWPANCtl == nullptr)
        return zqError_WrongState;

    // One name after the other needs no memory, without which nobody would be asked.
    while (NextSleepPreventer(lName))
    {
        const zqError lError = QueryOkToSleep(lName);

        // One that cannot be asked has not answered, or it would keep the host awake for ever.
        if (lError != zqError_None)
            HandleWPANDidGetOkToSleepProperty(lName, lError, zqWPANCtl::kPropertyKeyIsOKToSleep, nullptr);
        if (lReturn == zqError_None)
            lReturn = lError;
    }
    return lReturn;
}

/** Put the next name of the order in the place of this one; false after the last. */
bool Manager::NextSleepPreventer(zqString &aName)
{
    const std::lock_guard<std::mutex> lLock(mSleepLock);
    const auto                        lNext = mSleepPreventers.upper_bound(aName);

    if (lNext == mSleepPreventers.end())
        return false;

    aName = *lNext;
    return true;
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
        std::int32_t lFailures = 0;
        {
            const std::lock_guard<std::mutex> lLock(mSleepLock);
            lFailures = ++mOkToSleepFailures;
        }
        ZQ_LOG(zqLogLevel_Information,
               "network manager: wpan interface \"%s\" failed to reply to GetProperty(\"IsOkToSleep\") in %d attempts",
               anInterface.GetAsUTFArray(), lFailures);
        if (lFailures < kMaximumOkToSleepFailures)
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
    {
        const std::lock_guard<std::mutex> lLock(mSleepLock);
        mOkToSleepFailures = 0;
        mOkToSleepRetries  = 0;
    }
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

} // namespace zq::NetworkManager::ConnMan
