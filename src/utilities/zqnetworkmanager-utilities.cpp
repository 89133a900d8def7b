/**
 *  @file
 *    Questions about technologies and stored networks, and the channels of 2.4 GHz.
 */

#include <zqnetworkmanager-utilities.h>

#include <zqlog.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#define ZQ_LOG_COMPONENT ""
#define ZQ_LOG_FILE "zqnetworkmanager-utilities"

namespace zq::NetworkManager::Utilities
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

    return CFUIsTrue(enabled);
}

/** The same of the first technology of a type. */
bool GetFlag(Manager *aManager, const CFUSharedRef<CFStringRef> &aTechnology,
             CFUSharedRef<CFBooleanRef> (Technology::*aGetter)() const)
{
    zqSharedPtr<Technology> lTechnology;

    ZQ_REQUIRE(aManager != NULL, false);
    ZQ_REQUIRE(aTechnology != NULL, false);

    return aManager->ManagerLookupTechnology(aTechnology, lTechnology) == zqError_None &&
           GetFlag(aManager, *lTechnology, aGetter);
}

bool IsWiFi(const zqSharedPtr<Service> &aService)
{
    return aService != nullptr && CFUIsTrue(aService->IsType(kTechnologyTypeWiFi));
}

/** {"ProvisionIdentifier": "service_" and the name's bytes}; null when memory is exhausted. */
CFUSharedRef<CFDictionaryRef> CreateMatching(const zqString &aName)
{
    static const char kPrefix[] = "service_";

    const char *const             lName   = aName.GetAsUTFArray();
    const std::size_t             lLength = strlen(lName);
    const std::unique_ptr<char[]> lText(new (std::nothrow) char[sizeof kPrefix + 2 * lLength]);

    if (lText == nullptr)
        return nullptr;

    (void)memcpy(lText.get(), kPrefix, sizeof kPrefix);
    for (std::size_t i = 0; i < lLength; i++)
        (void)snprintf(&lText[sizeof kPrefix - 1 + 2 * i], sizeof "FF", "%02X", static_cast<unsigned char>(lName[i]));

    const auto lIdentifier =
        CFUAdopt(CFStringCreateWithCString(kCFAllocatorDefault, lText.get(), kCFStringEncodingUTF8));
    const void *lKey   = kServicePropertyProvisionIdentifier;
    const void *lValue = lIdentifier.Get();

    ZQ_LOG(zqLogLevel_Detail, "Trying to find provision matching service %s (with identifier %s).", lName, lText.get());

    return lIdentifier != nullptr
               ? CFUAdopt(CFDictionaryCreate(kCFAllocatorDefault, &lKey, &lValue, 1, &kCFTypeDictionaryKeyCallBacks,
                                             &kCFTypeDictionaryValueCallBacks))
               : nullptr;
}

/** Find the provision of a Wi-Fi service. @retval 0, -2, or -17 when there is none. */
zqError FindProvision(Manager &aManager, const Service &aService)
{
    const zqString         lName(aService.GetName());
    const auto             lMatching = CreateMatching(lName);
    zqSharedPtr<Provision> lProvision;

    if (lMatching == nullptr)
        return zqError_OutOfMemory;

    const zqError lReturn = aManager.ManagerLookupProvision(lMatching, lProvision);

    if (lReturn == zqError_None)
        ZQ_LOG(zqLogLevel_Detail, "Provision corresponding to service %s found.", lName.GetAsUTFArray());
    return lReturn;
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

    return lReturn == zqError_None ? aManager->TechnologyScan(*lTechnology) : lReturn;
}

bool IsServiceProvisionedWiFi(Manager *aManager, zqSharedPtr<Service> aService)
{
    ZQ_REQUIRE(aManager != NULL, false);

    return IsWiFi(aService) && FindProvision(*aManager, *aService) == zqError_None;
}

zqError GetNonIdleServiceProvisionedWiFi(Manager *aManager, zqSharedPtr<Service> &aService)
{
    zqRefObjectArray<Service> lServices;

    ZQ_REQUIRE(aManager != NULL, zqError_InvalidArgument);

    const zqError retval = aManager->GetServices(lServices);
    ZQ_REQUIRE(retval == 0, retval);

    for (int i = 0, lCount = lServices.GetNumElements(); i < lCount; i++)
    {
        const auto    lService = lServices.GetElement(i);
        const zqError lError   = IsWiFi(lService) ? FindProvision(*aManager, *lService) : zqError(zqError_NotFound);

        if (lError == zqError_OutOfMemory)
            return lError;
        if (lError != zqError_None)
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

} // namespace zq::NetworkManager::Utilities
