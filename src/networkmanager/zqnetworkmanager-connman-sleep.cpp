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
    mSleepPreventers.insert(anInterface);
}

void Manager::HandleWPANCtlAllowSleep(const zqString &anInterface)
{
    mSleepPreventers.erase(anInterface);
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

        mSleepPreventers.erase(anInterface);
        ZQ_LOG(zqLogLevel_Information,
               "network manager: wpan interface \"%s\" multiple failures to respond  to \"IsOkToSleep\", allowing "
               "sleep now",
               anInterface.GetAsUTFArray());
        return;
    }

    const bool lIsOk = IsTrue(aValue);
    if (lIsOk)
        mSleepPreventers.erase(anInterface);
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
