/**
 *  @file
 *    How the concrete manager carries the application's requests to the daemons.
 */

#include "zqnetworkmanager-connman.h"

#include <zqlog.h>

#include <cstring>

#define ZQ_LOG_COMPONENT "network manager"
#define ZQ_LOG_FILE "zqnetworkmanager-connman"

namespace zq::NetworkManager::ConnMan
{

namespace
{

// The one technology that takes so long to power up that nobody can wait for it.
const char kAsynchronousTechnology[] = "Cellular";

zqError GetInteger(CFTypeRef aValue, int &anInteger)
{
    if (CFUIsTypeID(aValue, CFStringGetTypeID()))
    {
        anInteger = zqString(static_cast<CFStringRef>(aValue)).GetInteger();
        return zqError_None;
    }
    if (CFUIsTypeID(aValue, CFNumberGetTypeID()) &&
        CFNumberGetValue(static_cast<CFNumberRef>(aValue), kCFNumberSInt32Type, &anInteger))
        return zqError_None;
    return zqError_InvalidArgument;
}

/** @param[in,out]  anInteger  Left alone when the dictionary lacks the key. */
zqError GetInteger(CFDictionaryRef aDictionary, CFStringRef aKey, int &anInteger)
{
    const void *const lValue = CFDictionaryGetValue(aDictionary, aKey);

    return lValue != nullptr ? GetInteger(lValue, anInteger) : zqError_None;
}

zqError GetCommissioning(CFTypeRef aValue, int &aDuration, int &aPort)
{
    if (!CFUIsTypeID(aValue, CFDictionaryGetTypeID()))
        return GetInteger(aValue, aDuration);

    const auto   *lDictionary = static_cast<CFDictionaryRef>(aValue);
    const zqError lReturn     = GetInteger(lDictionary, kServiceCommissioningDuration, aDuration);

    return lReturn == zqError_None ? GetInteger(lDictionary, kServiceCommissioningPort, aPort) : lReturn;
}

} // namespace

// A zqString is empty for a string that C would end early.
bool Manager::IsName(const CFUSharedRef<CFStringRef> &aKey)
{
    ZQ_REQUIRE(aKey != NULL, false);

    const zqString lKey(aKey);

    ZQ_REQUIRE(!lKey.IsEmpty(), false);
    return true;
}

// Services

zqError Manager::ServiceConnect(const Service &aService)
{
    return mConnMan.ServiceConnect(zqString(aService.GetPath()).GetAsUTFArray());
}

zqError Manager::ServiceOnlineCheck(const Service &aService)
{
    return mConnMan.ServiceOnlineCheck(zqString(aService.GetPath()).GetAsUTFArray());
}

zqError Manager::ServiceCompleteInput(const Service &aService, const CFUSharedRef<CFDictionaryRef> &anInput)
{
    return mConnMan.ServiceCompleteInput(zqString(aService.GetPath()).GetAsUTFArray(), anInput.Get());
}

zqError Manager::ServiceCancelInput(const Service &aService)
{
    return mConnMan.ServiceCancelInput(zqString(aService.GetPath()).GetAsUTFArray());
}

zqError Manager::ServiceDisconnect(const Service &aService)
{
    return mConnMan.ServiceDisconnect(zqString(aService.GetPath()).GetAsUTFArray());
}

zqError Manager::ServiceRemove(const Service &aService)
{
    return mConnMan.ServiceRemove(zqString(aService.GetPath()).GetAsUTFArray());
}

zqError Manager::ServiceSetProperty(const Service &aService, const CFUSharedRef<CFStringRef> &aKey,
                                    const CFUSharedRef<const void *> &aValue)
{
    if (!IsName(aKey))
        return zqError_InvalidArgument;
    ZQ_REQUIRE(aValue != NULL, zqError_InvalidArgument);

    if (CFUIsTrue(aService.IsType(kServiceTypeLoWPAN)) && CFEqual(aKey.Get(), kServicePropertyCommissioning))
        return ServicePermitJoin(aValue);

    return mConnMan.ServiceSetProperty(zqString(aService.GetPath()).GetAsUTFArray(), zqString(aKey).GetAsUTFArray(),
                                       aValue.Get());
}

zqError Manager::ServicePermitJoin(const CFUSharedRef<const void *> &aValue)
{
    int lDuration = 0;
    int lPort     = 0;

    const zqError lReturn = GetCommissioning(aValue.Get(), lDuration, lPort);
    if (lReturn != zqError_None)
        return lReturn;

    // The largest port is refused on purpose.
    if (!ZQ_CHECK_MESSAGE(lPort >= 0, "Bad port value") || !ZQ_CHECK_MESSAGE(lPort < 65535, "Bad port value"))
        return zqError_InvalidArgument;

    zqWPANCtl::Interface *const lInterface = mWPANCtl != nullptr ? mWPANCtl->GetInterface() : nullptr;
    if (lInterface == nullptr)
        return mWPANCtl != nullptr ? zqError_NoResources : zqError_WrongState;

    return lInterface->PermitJoin(lDuration, static_cast<unsigned short>(lPort));
}

zqError Manager::ServiceClearProperty(const Service &aService, const CFUSharedRef<CFStringRef> &aKey)
{
    if (!IsName(aKey))
        return zqError_InvalidArgument;

    const zqString lKey(aKey);
    const zqString lPath(aService.GetPath());
    const zqError  lReturn = mConnMan.ServiceClearProperty(lPath.GetAsUTFArray(), lKey.GetAsUTFArray());

    if (lReturn != zqError_None)
        ZQ_LOG(zqLogLevel_Error, "network manager: Connman could not clear service property for key %s and service %s",
               lKey.GetAsUTFArray(), lPath.GetAsUTFArray());
    return lReturn;
}

// Technologies

zqError Manager::TechnologyScan(const Technology &aTechnology)
{
    return mConnMan.TechnologyScan(zqString(aTechnology.GetPath()).GetAsUTFArray());
}

zqError Manager::IsTechnologyProvisioned(const CFUSharedRef<CFStringRef> &aTechnologyType, bool &aProvisioned)
{
    return mConnMan.IsTechnologyProvisioned(aTechnologyType.Get(), aProvisioned);
}

zqError Manager::TechnologySetProperty(const Technology &aTechnology, const CFUSharedRef<CFStringRef> &aKey,
                                       const CFUSharedRef<const void *> &aValue)
{
    if (!IsName(aKey))
        return zqError_InvalidArgument;
    ZQ_REQUIRE(aValue != NULL, zqError_InvalidArgument);

    const zqString lName(aTechnology.GetName());
    const bool     lAsync = std::strcmp(lName.GetAsUTFArray(), kAsynchronousTechnology) == 0;

    ZQ_LOG(zqLogLevel_Information, "network manager: Enable Technology for %s %ssynchronously", lName.GetAsUTFArray(),
           lAsync ? "a" : "");
    return mConnMan.TechnologySetProperty(zqString(aTechnology.GetPath()).GetAsUTFArray(),
                                          zqString(aKey).GetAsUTFArray(), aValue.Get(),
                                          lAsync ? kConnmanMethodAsync : kConnmanMethodSync);
}

} // namespace zq::NetworkManager::ConnMan
