/**
 *  @file
 *    What an application asks of the manager: its properties, technologies, and what the
 *    concrete manager may leave out.
 */

#include <zqnetworkmanager-manager.h>

#include "zqnetworkmanager-lock.h"
#include "zqnetworkmanager-values.h"

#include <zqlog.h>

#define ZQ_LOG_COMPONENT ""
#define ZQ_LOG_FILE "zqnetworkmanager-manager"

namespace zq::NetworkManager
{

using Private::ScopedLock;

zqError Manager::ManagerSetProperty(const CFUSharedRef<CFStringRef> &aKey, const CFUSharedRef<const void *> &aValue)
{
    ZQ_REQUIRE(aKey != NULL, zqError_InvalidArgument);
    ZQ_REQUIRE(aValue != NULL, zqError_InvalidArgument);

    ScopedLock lLock(lOpaquePropertyLock.uOpaque);
    ZQ_REQUIRE(mProperties != NULL, zqError_WrongState);

    CFDictionarySetValue(mProperties, aKey.Get(), aValue.Get());

    return zqError_None;
}

CFUSharedRef<const void *> Manager::ManagerGetProperty(CFStringRef aKey) const
{
    ZQ_REQUIRE(aKey != NULL, nullptr);

    ScopedLock lLock(lOpaquePropertyLock.uOpaque);
    ZQ_REQUIRE(mProperties != NULL, nullptr);

    return CFURetain(CFDictionaryGetValue(mProperties, aKey));
}

CFUSharedRef<CFDictionaryRef> Manager::ManagerGetProperties() const
{
    return CFURetain<CFDictionaryRef>(mProperties);
}

CFUSharedRef<CFStringRef> Manager::ManagerGetState() const
{
    return CFURetain(Private::AsString(ManagerGetProperty(kManagerPropertyState).Get()));
}

CFUSharedRef<CFBooleanRef> Manager::IsManagerState(const CFUSharedRef<CFStringRef> &aState) const
{
    return Private::SharedBoolean(Private::IsEqual(ManagerGetState().Get(), aState.Get()));
}

zqError Manager::ServiceCancelInput(const Service &)
{
    return zqError_NotSupported;
}

zqError Manager::GetSleepPreventers(zqStringArray &aNames)
{
    aNames.Clear();

    return zqError_None;
}

zqError Manager::QuerySleepPreventers()
{
    return zqError_NotSupported;
}

zqError Manager::TechnologySetEnabled(const Technology &aTechnology, bool anEnabled)
{
    return TechnologySetProperty(aTechnology, CFURetain(kTechnologyPropertyPowered), Private::SharedBoolean(anEnabled));
}

zqError Manager::TechnologySetEnabled(const CFUSharedRef<CFStringRef> &aType, bool anEnabled)
{
    zqSharedPtr<Technology> lTechnology;
    const zqError           lReturn = ManagerLookupTechnology(aType, lTechnology);

    return lReturn == zqError_None ? TechnologySetEnabled(*lTechnology, anEnabled) : lReturn;
}

zqError Manager::TechnologyOnlineCheck(const CFUSharedRef<CFStringRef> &aType)
{
    zqRefObjectArray<Service> lServices;
    const zqError             lReturn = GetServices(lServices);

    if (lReturn != zqError_None)
    {
        ZQ_LOG(zqLogLevel_Error, ": GetServices() failed with %d", lReturn);
        return lReturn;
    }

    for (int i = 0, lCount = lServices.GetNumElements(); i < lCount; i++)
    {
        const Service &lService = *lServices.GetElementPtr(i);

        if (Private::IsEqual(lService.GetType().Get(), aType.Get()) && lService.IsConnected())
            return ServiceOnlineCheck(lService);
    }

    ZQ_LOG(zqLogLevel_Error, ": Can't find connected service for tech %s", zqString(aType).GetAsUTFArray());

    return zqError_NotConnected;
}

} // namespace zq::NetworkManager
