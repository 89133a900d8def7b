#include <zqnetworkmanager-utilities.h>

#include <zqlog.h>

#include <cstdio>

#define ZQ_LOG_COMPONENT ""
#define ZQ_LOG_FILE "zqnetworkmanager-utilities"

namespace zq
{

namespace NetworkManager
{

namespace Utilities
{

namespace
{

/** A technology's truth value; false when it has none. */
bool GetFlag(Manager *aManager, const Technology &aTechnology,
             CFUSharedRef<CFBooleanRef> (Technology::*aGetter)() const)
{
    ZQ_REQUIRE(aManager != NULL, false);

    const CFUSharedRef<CFBooleanRef> enabled = (aTechnology.*aGetter)();
    ZQ_REQUIRE(enabled != NULL, false);

    return CFBooleanGetValue(enabled.Get()) != 0;
}

/** The same of the first technology of a type. */
bool GetFlag(Manager *aManager, const CFUSharedRef<CFStringRef> &aTechnology,
             CFUSharedRef<CFBooleanRef> (Technology::*aGetter)() const)
{
    zqSharedPtr<Technology> lTechnology;

    ZQ_REQUIRE(aManager != NULL, false);
    ZQ_REQUIRE(aTechnology != NULL, false);

    return aManager->ManagerLookupTechnology(aTechnology, lTechnology) == 0 && GetFlag(aManager, *lTechnology, aGetter);
}

zqString GetProvisionIdentifier(const zqString &aName)
{
    zqString lIdentifier("service_");
    char     lDigits[sizeof "FF"];

    for (const char *lByte = aName.GetAsUTFArray(); *lByte != '\0'; ++lByte)
    {
        (void)snprintf(lDigits, sizeof lDigits, "%02X", static_cast<unsigned char>(*lByte));
        lIdentifier += lDigits;
    }
    return lIdentifier;
}

bool HasProvision(Manager &aManager, const zqString &anIdentifier)
{
    zqSharedPtr<Provision> lProvision;
    const void            *lKey      = kServicePropertyProvisionIdentifier;
    const void            *lValue    = anIdentifier.GetAsCFString();
    const auto             lMatching = CFUAdopt(CFDictionaryCreate(
                    kCFAllocatorDefault, &lKey, &lValue, 1, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));

    return aManager.ManagerLookupProvision(lMatching, lProvision) == 0;
}

} // namespace

bool IsString(const CFUSharedRef<CFStringRef> &aFirst, const CFUSharedRef<CFStringRef> &aSecond)
{
    ZQ_REQUIRE(aFirst != NULL, false);
    ZQ_REQUIRE(aSecond != NULL, false);

    return CFStringCompare(aFirst.Get(), aSecond.Get(), 0) == kCFCompareEqualTo;
}

bool GetTechnologyEnabled(Manager *aManager, const Technology &aTechnology)
{
    return GetFlag(aManager, aTechnology, &Technology::IsPowered);
}

bool GetTechnologyEnabled(Manager *aManager, const CFUSharedRef<CFStringRef> &aTechnology)
{
    return GetFlag(aManager, aTechnology, &Technology::IsPowered);
}

bool GetTechnologyConnected(Manager *aManager, const Technology &aTechnology)
{
    return GetFlag(aManager, aTechnology, &Technology::IsConnected);
}

bool GetTechnologyConnected(Manager *aManager, const CFUSharedRef<CFStringRef> &aTechnology)
{
    return GetFlag(aManager, aTechnology, &Technology::IsConnected);
}

zqError SetTechnologyEnabled(Manager *aManager, const CFUSharedRef<CFStringRef> &aTechnology, bool anEnabled)
{
    ZQ_REQUIRE(aManager != NULL, zqError_InvalidArgument);

    return aManager->TechnologySetEnabled(aTechnology, anEnabled);
}

zqError TechnologyScan(Manager *aManager, const CFUSharedRef<CFStringRef> &aTechnology)
{
    zqSharedPtr<Technology> lTechnology;

    ZQ_REQUIRE(aManager != NULL, zqError_InvalidArgument);

    const zqError lReturn = aManager->ManagerLookupTechnology(aTechnology, lTechnology);

    return lReturn == 0 ? aManager->TechnologyScan(*lTechnology) : lReturn;
}

bool IsServiceProvisionedWiFi(Manager *aManager, zqSharedPtr<Service> aService)
{
    const bool lIsWiFi =
        aService != nullptr && aService->IsType(CFURetain(kTechnologyTypeWiFi)).Get() == kCFBooleanTrue;

    ZQ_REQUIRE(aManager != NULL, false);

    if (!lIsWiFi)
        return false;

    const zqString lName(aService->GetName());
    const zqString lIdentifier = GetProvisionIdentifier(lName);

    ZQ_LOG(zqLogLevel_Detail, "Trying to find provision matching service %s (with identifier %s).",
           lName.GetAsUTFArray(), lIdentifier.GetAsUTFArray());

    if (!HasProvision(*aManager, lIdentifier))
        return false;

    ZQ_LOG(zqLogLevel_Detail, "Provision corresponding to service %s found.", lName.GetAsUTFArray());
    return true;
}

zqError GetNonIdleServiceProvisionedWiFi(Manager *aManager, zqSharedPtr<Service> &aService)
{
    zqRefObjectArray<Service> lServices;

    ZQ_REQUIRE(aManager != NULL, zqError_InvalidArgument);

    const zqError retval = aManager->GetServices(lServices);
    ZQ_REQUIRE(retval == 0, retval);

    for (int i = 0, lCount = lServices.GetNumElements(); i < lCount; i++)
    {
        const auto lService = lServices.GetElement(i);

        if (!IsServiceProvisionedWiFi(aManager, lService))
            continue;

        const auto lState = lService->GetState();

        if (lState != nullptr && CFStringCompare(lState.Get(), kServiceStateIdle, 0) != kCFCompareEqualTo)
        {
            aService = lService;
            return zqError_None;
        }
    }
    return zqError_NotFound;
}

namespace SixLoWPAN
{

const uint8_t  kMinChannel  = 11;
const uint8_t  kMaxChannel  = 26;
const uint16_t kDefaultBand = 2400;

uint32_t MapFrequency(const uint16_t &aBand, const uint8_t &aChannel)
{
    const uint32_t kSpacing     = 5;
    const uint32_t kChannelZero = 2350;

    return aBand == kDefaultBand ? aChannel * kSpacing + kChannelZero : 0;
}

bool IsValidChannel(uint16_t aChannel)
{
    return aChannel >= kMinChannel && aChannel <= kMaxChannel;
}

} // namespace SixLoWPAN

} // namespace Utilities

} // namespace NetworkManager

} // namespace zq
