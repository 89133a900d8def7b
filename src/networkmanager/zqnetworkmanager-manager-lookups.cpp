/**
 *  @file
 *    The manager's snapshots of its lists, and how one object of them is found.
 */

#include <zqnetworkmanager-manager.h>

#include "zqnetworkmanager-values.h"

#include <zqlog.h>

#define ZQ_LOG_COMPONENT ""
#define ZQ_LOG_FILE "zqnetworkmanager-manager"

namespace zq::NetworkManager
{

using Private::IsEqual;

namespace
{

/** The object that a list has found, as what it is. */
template <typename T>
zqSharedPtr<T> As(const zqSharedPtr<Object> &anObject)
{
    return zqSharedPtr<T>(static_cast<T *>(anObject.Get()));
}

/** The result of a look-up. */
template <typename T>
zqError Yield(const zqSharedPtr<Object> &aFound, zqSharedPtr<T> &aResult)
{
    aResult = As<T>(aFound);

    return aResult != nullptr ? zqError_None : zqError_NotFound;
}

/** The walk over a pattern: the service under test, and whether it has matched so far. */
struct PatternContext
{
    const Service *service;
    bool           matches;
};

bool MatchesEntry(const Service &aService, CFStringRef aKey, CFTypeRef aValue)
{
    if (IsEqual(aKey, kServicePropertyName))
        return IsEqual(aService.GetName().Get(), Private::AsString(aValue));

    if (IsEqual(aKey, kServicePropertySecurity))
        return aService.HasSecurity(CFURetain(Private::AsString(aValue)));

    const auto lValue = aService.GetProperty(CFURetain(aKey));

    return lValue != nullptr && CFEqual(lValue.Get(), aValue) != 0;
}

void ApplyPatternEntry(const void *theKey, const void *theValue, void *aContext) noexcept
{
    auto *lContext = static_cast<PatternContext *>(aContext);

    ZQ_REQUIRE(lContext != NULL, );
    ZQ_REQUIRE(lContext->service != NULL, );

    if (!ZQ_CHECK(theKey != NULL) || !ZQ_CHECK(theValue != NULL))
        lContext->matches = false;
    else if (lContext->matches)
        lContext->matches = MatchesEntry(*lContext->service, Private::AsString(theKey), theValue);
}

bool MatchesPattern(Object &anObject, CFDictionaryRef aPattern)
{
    PatternContext lContext = { static_cast<Service *>(&anObject), true };

    CFDictionaryApplyFunction(aPattern, ApplyPatternEntry, &lContext);

    return lContext.matches;
}

bool HasName(Object &anObject, CFStringRef aName)
{
    return IsEqual(static_cast<Service &>(anObject).GetName().Get(), aName);
}

bool IsConnectedOver(Object &anObject, CFStringRef anInterface)
{
    const auto &lService = static_cast<Service &>(anObject);

    return lService.IsConnected() &&
           IsEqual(Private::GetString(lService.GetEthernet().Get(), kEthernetPropertyInterface), anInterface);
}

bool HasType(Object &anObject, CFStringRef aType)
{
    const auto lType = static_cast<Technology &>(anObject).GetType();
    ZQ_REQUIRE(lType != NULL, false);

    return IsEqual(lType.Get(), aType);
}

} // namespace

zqError Manager::GetServices(zqRefObjectArray<Service> &aServices) const
{
    return mServices.CreateCopyAsArray(aServices);
}

zqError Manager::GetTechnologies(zqRefObjectArray<Technology> &aTechnologies) const
{
    return mTechnologies.CreateCopyAsArray(aTechnologies);
}

zqError Manager::GetProvisions(zqRefObjectArray<Provision> &aProvisions) const
{
    return mProvisions.CreateCopyAsArray(aProvisions);
}

zqSharedPtr<Service> Manager::FindService(CFStringRef aPath) const
{
    return As<Service>(mServices.Find(CFURetain(aPath)));
}

zqSharedPtr<Technology> Manager::FindTechnology(CFStringRef aPath) const
{
    return As<Technology>(mTechnologies.Find(CFURetain(aPath)));
}

zqError Manager::ManagerLookupService(const CFUSharedRef<CFStringRef> &aName, zqSharedPtr<Service> &aService)
{
    return Yield(mServices.Find(aName, HasName), aService);
}

zqError Manager::ManagerLookupService(const CFUSharedRef<CFDictionaryRef> &aPattern, zqSharedPtr<Service> &aService)
{
    return Yield(mServices.Find(aPattern, MatchesPattern), aService);
}

zqError Manager::ManagerLookupServiceByInterfaceName(const CFUSharedRef<CFStringRef> &anInterface,
                                                     zqSharedPtr<Service>            &aService)
{
    return Yield(mServices.Find(anInterface, IsConnectedOver), aService);
}

zqError Manager::ManagerLookupTechnology(const CFUSharedRef<CFStringRef> &aType, zqSharedPtr<Technology> &aTechnology)
{
    return Yield(mTechnologies.Find(aType, HasType), aTechnology);
}

zqError Manager::ManagerLookupProvisionIdentifier(const CFUSharedRef<CFStringRef> &anIdentifier,
                                                  zqSharedPtr<Provision>          &aProvision)
{
    return Yield(mProvisions.Find(anIdentifier), aProvision);
}

zqError Manager::ManagerLookupProvision(const CFUSharedRef<CFDictionaryRef> &aProperties,
                                        zqSharedPtr<Provision>              &aProvision)
{
    aProvision = nullptr;
    ZQ_REQUIRE(aProperties != NULL, zqError_InvalidArgument);

    return ManagerLookupProvisionIdentifier(
        CFURetain(Private::GetString(aProperties.Get(), kServicePropertyProvisionIdentifier)), aProvision);
}

} // namespace zq::NetworkManager
