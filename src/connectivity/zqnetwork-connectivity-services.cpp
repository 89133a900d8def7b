/**
 *  @file
 *    The IP configuration that the controller gives to connected services.
 */

#include <zqnetwork-connectivity.h>

#include <zqlog.h>

#define ZQ_LOG_COMPONENT "network-connectivity"
#define ZQ_LOG_FILE "zqnetwork-connectivity"

using namespace zq::NetworkManager;

namespace
{

/** {"Method": METHOD}; null when memory is exhausted. */
CFUSharedRef<CFDictionaryRef> CreateIPConfiguration(CFStringRef aMethod)
{
    const void *lKey   = kIPPropertyMethod;
    const void *lValue = aMethod;

    return CFUAdopt(CFDictionaryCreate(kCFAllocatorDefault, &lKey, &lValue, 1, &kCFTypeDictionaryKeyCallBacks,
                                       &kCFTypeDictionaryValueCallBacks));
}

/** The method that a service is configured to have for a family; null when it has none. */
CFUSharedRef<CFStringRef> GetIPConfigurationMethod(const Service &aService, CFStringRef aFamily)
{
    const auto        lConfiguration = aService.GetConfiguration(CFURetain(aFamily));
    const void *const lMethod =
        lConfiguration != nullptr ? CFDictionaryGetValue(lConfiguration.Get(), kIPPropertyMethod) : nullptr;

    if (!CFUIsTypeID(lMethod, CFStringGetTypeID()))
        return nullptr;

    auto lReturn = CFURetain(static_cast<CFStringRef>(lMethod));

    ZQ_LOG(zqLogLevel_Detail, "network-connectivity: %s: Current method on %s is %s\n", __func__,
           zqString(aFamily).GetAsUTFArray(), zqString(lReturn).GetAsUTFArray());
    return lReturn;
}

/** True when a service has a method for a family, and another one than this. */
bool HasOtherMethod(const Service &aService, CFStringRef aFamily, CFStringRef aMethod)
{
    const auto lMethod = GetIPConfigurationMethod(aService, aFamily);

    return lMethod != nullptr && CFStringCompare(lMethod.Get(), aMethod, 0) != kCFCompareEqualTo;
}

} // namespace

zqError zqNetworkConnectivity::SetIPConfiguration(const Service &aService)
{
    ZQ_REQUIRE(mLock != NULL, zqError_WrongState);

    ZQ_LOG(zqLogLevel_Detail, "network-connectivity: %s: Setting on %s\n", __func__,
           zqString(aService.GetName()).GetAsUTFArray());

    const auto lAutomatic = CreateIPConfiguration(kIPMethodAuto);
    zqError    retval     = lAutomatic != nullptr ? zqError_None : zqError_OutOfMemory;
    ZQ_REQUIRE(retval == 0, retval);

    if (HasOtherMethod(aService, kServicePropertyIPv6, kIPMethodAuto))
    {
        const zqError lError =
            mManager->ServiceSetProperty(aService, CFURetain(kServicePropertyIPv6Configuration), lAutomatic);

        if (lError != zqError_None)
            ZQ_LOG(zqLogLevel_Notice, "network-connectivity: %s: Setting IPv6 returned %d", __func__, lError);
    }

    // IPv4 is only checked: a fixed address that somebody configured must survive.
    const auto lDHCP = CreateIPConfiguration(kIPMethodDHCP);
    retval           = lDHCP != nullptr ? zqError_None : zqError_OutOfMemory;
    ZQ_REQUIRE(retval == 0, retval);

    if (HasOtherMethod(aService, kServicePropertyIPv4, kIPMethodDHCP))
        ZQ_LOG(zqLogLevel_Notice, "network-connectivity: %s: IPv4 method doesn't match!", __func__);

    return retval;
}

zqError zqNetworkConnectivity::CheckTechnologyConnectedServices(const Technology &aTechnology)
{
    zqRefObjectArray<Service> lServices;
    const auto                lType = aTechnology.GetType();

    ZQ_REQUIRE(mLock != NULL, zqError_WrongState);

    ZQ_LOG(zqLogLevel_Detail, "network-connectivity: %s: Checking for %s\n", __func__,
           zqString(aTechnology.GetName()).GetAsUTFArray());

    const zqError retval = mManager->GetServices(lServices);
    ZQ_REQUIRE(retval == 0, retval);

    for (int i = 0, lCount = lServices.GetNumElements(); i < lCount; i++)
    {
        const Service &lService = *lServices.GetElementPtr(i);

        if (CFUIsTrue(lService.IsType(lType)) && lService.IsConnected())
            (void)SetIPConfiguration(lService);
    }

    return retval;
}
