#include <zqnetworkmanager-manager.h>

#include "zqnetworkmanager-values.h"

#include <zqlog.h>

#include <new>

#define ZQ_LOG_COMPONENT ""
#define ZQ_LOG_FILE "zqnetworkmanager-manager"

namespace zq
{

namespace NetworkManager
{

zqError Manager::ProvisionCreate(const CFUSharedRef<CFDictionaryRef> &aProperties, zqSharedPtr<Provision> &aProvision,
                                 bool aWrite)
{
    aProvision = nullptr;
    ZQ_REQUIRE(aProperties != NULL, zqError_InvalidArgument);

    const auto lIdentifier = CFURetain(Private::GetString(aProperties.Get(), kServicePropertyProvisionIdentifier));
    const auto lListed     = mProvisions.Find(lIdentifier);
    const auto lProperties = CFUAdopt(CFDictionaryCreateMutableCopy(kCFAllocatorDefault, 0, aProperties.Get()));
    ZQ_REQUIRE(lProperties != NULL, zqError_NoResources);

    // The identifier is the provision's path and nothing else.
    CFDictionaryRemoveValue(lProperties.Get(), kServicePropertyProvisionIdentifier);

    if (lListed != nullptr)
    {
        aProvision.Set(lListed.Get());

        const zqError lReturn = aProvision->Refresh(lProperties);
        if (!ZQ_CHECK_TEXT(lReturn == 0, "lReturn == Success"))
            return zqError_Failed;
    }
    else
    {
        const zqSharedPtr<Provision> lProvision(new (std::nothrow) Provision);
        ZQ_REQUIRE(lProvision != NULL, zqError_OutOfMemory);

        if (lProvision->Init(lIdentifier, lProperties) != 0)
            return zqError_Failed;

        const zqError lReturn = mProvisions.Add(lProvision);
        ZQ_REQUIRE(lReturn == 0, lReturn);

        aProvision = lProvision;
    }

    (void)UpdateConnManProvisions(aWrite);

    return zqError_None;
}

zqError Manager::ProvisionCreate(const CFUSharedRef<CFDictionaryRef> &aProperties, zqSharedPtr<Provision> &aProvision)
{
    return ProvisionCreate(aProperties, aProvision, true);
}

zqError Manager::ProvisionGetProperty(const Provision &aProvision, const CFUSharedRef<CFStringRef> &aKey,
                                      CFUSharedRef<const void *> &aValue)
{
    aProvision.GetPropertyValue(aKey, aValue);

    return zqError_None;
}

// The provision of the list, which the caller's may be a copy of.
zqError Manager::LookupListedProvision(const Provision &aProvision, zqSharedPtr<Provision> &aListed)
{
    const auto    lIdentifier = aProvision.GetPath();
    const zqError lReturn     = ManagerLookupProvisionIdentifier(lIdentifier, aListed);

    if (!ZQ_CHECK_TEXT(aListed != NULL, "lProvision != __null"))
        ZQ_LOG(zqLogLevel_Error, ": failed to find provision %s for properties change",
               zqString(lIdentifier).GetAsUTFArray());

    return lReturn;
}

zqError Manager::ProvisionSetProperty(const Provision &aProvision, const CFUSharedRef<CFStringRef> &aKey,
                                      const CFUSharedRef<const void *> &aValue)
{
    ZQ_REQUIRE(aKey != NULL, zqError_InvalidArgument);
    ZQ_REQUIRE(aValue != NULL, zqError_InvalidArgument);

    const auto lProperties = CFUAdopt(CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks,
                                                                &kCFTypeDictionaryValueCallBacks));
    ZQ_REQUIRE(lProperties != NULL, zqError_NoResources);

    CFDictionarySetValue(lProperties.Get(), aKey.Get(), aValue.Get());

    zqSharedPtr<Provision> lProvision;
    zqError                lReturn = LookupListedProvision(aProvision, lProvision);

    if (lProvision == nullptr)
        return lReturn;

    lReturn = lProvision->Refresh(lProperties);
    ZQ_REQUIRE(lReturn == 0, lReturn);

    (void)UpdateConnManProvisions(true);

    return lReturn;
}

// The key leaves the record before it is known whether it is one that can be
// cleared: clearing any but the passphrase fails and has removed it in memory.
zqError Manager::ProvisionClearProperty(const Provision &aProvision, const CFUSharedRef<CFStringRef> &aKey)
{
    zqSharedPtr<Provision> lProvision;
    zqError                lReturn = LookupListedProvision(aProvision, lProvision);

    if (lProvision == nullptr)
        return lReturn;

    lReturn = lProvision->ClearProperty(aKey);
    ZQ_REQUIRE(lReturn == 0, lReturn);

    lReturn = lProvision->ClearProvisionProperty(aKey);
    if (!ZQ_CHECK_TEXT(lReturn == 0, "lReturn == Success"))
    {
        ZQ_LOG(zqLogLevel_Error, ": failed to clear provision %s for properties change",
               zqString(lProvision->GetPath()).GetAsUTFArray());
        return lReturn;
    }

    (void)UpdateConnManProvisions(true);

    return lReturn;
}

zqError Manager::ProvisionRemove(const Provision &aProvision)
{
    zqSharedPtr<Provision> lProvision;
    zqError                lReturn = LookupListedProvision(aProvision, lProvision);

    if (lProvision == nullptr)
        return lReturn;

    lReturn = mProvisions.Remove(lProvision);
    ZQ_REQUIRE(lReturn == 0, lReturn);

    (void)UpdateConnManProvisions(true);

    return lReturn;
}

zqError Manager::ProvisionRemoveAll()
{
    (void)mProvisions.Clear();
    (void)UpdateConnManProvisions(true);

    return zqError_None;
}

} // namespace NetworkManager

} // namespace zq
