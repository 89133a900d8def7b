/**
 *  @file
 *    How provisions are made, changed and removed, and the file follows.
 */

#include <zqnetworkmanager-manager.h>

#include "zqnetworkmanager-values.h"

#include <zqlog.h>

#include <new>

#define ZQ_LOG_COMPONENT ""
#define ZQ_LOG_FILE "zqnetworkmanager-manager"

namespace zq::NetworkManager
{

namespace
{

/** A dictionary of one entry; null when memory is exhausted. */
CFUSharedRef<CFDictionaryRef> MakeEntry(const CFUSharedRef<CFStringRef> &aKey, const CFUSharedRef<CFTypeRef> &aValue)
{
    const void *lKey   = aKey.Get();
    const void *lValue = aValue.Get();

    return CFUAdopt(CFDictionaryCreate(kCFAllocatorDefault, &lKey, &lValue, 1, &kCFTypeDictionaryKeyCallBacks,
                                       &kCFTypeDictionaryValueCallBacks));
}

} // namespace

zqError Manager::GetProvisionsError() const
{
    return zqError_None;
}

zqError Manager::CheckProvision(const CFUSharedRef<CFStringRef> &, const CFUSharedRef<CFDictionaryRef> &)
{
    return zqError_None;
}

void Manager::NoteProvisionChange(const CFUSharedRef<CFStringRef> &, const CFUSharedRef<CFDictionaryRef> &) {}

zqError Manager::EraseConnManProvisions()
{
    return UpdateConnManProvisions(true);
}

zqError Manager::ProvisionCreate(const CFUSharedRef<CFDictionaryRef> &aProperties, zqSharedPtr<Provision> &aProvision,
                                 bool aWrite)
{
    aProvision = nullptr;
    ZQ_REQUIRE(aProperties != NULL, zqError_InvalidArgument);

    const ProvisionsHold lHold(*this);

    if (!lHold.IsHeld())
        return zqError_TimedOut;

    const auto lIdentifier = CFURetain(Private::GetString(aProperties.Get(), kServicePropertyProvisionIdentifier));
    zqError    lReturn     = lIdentifier != nullptr ? CheckProvision(lIdentifier, aProperties) : zqError_None;

    if (lReturn == zqError_None)
        lReturn = AddProvision(aProperties, aProvision);
    if (lReturn != zqError_None)
        return lReturn;

    NoteProvisionChange(lIdentifier, aProperties);
    (void)UpdateConnManProvisions(aWrite);

    return zqError_None;
}

// The caller holds the provisions. What the file has comes here as it is: no application has handed it over.
zqError Manager::AddProvision(const CFUSharedRef<CFDictionaryRef> &aProperties, zqSharedPtr<Provision> &aProvision)
{
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

        if (lProvision->Init(lIdentifier, lProperties) != zqError_None)
            return zqError_Failed;

        const zqError lReturn = mProvisions.Add(lProvision);
        ZQ_REQUIRE(lReturn == 0, lReturn);

        aProvision = lProvision;
    }

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

// What is changed is the provision of the list, which the caller's may be a copy of.
template <typename Change>
zqError Manager::ChangeListed(const Provision &aProvision, Change aChange)
{
    const ProvisionsHold   lHold(*this);
    zqSharedPtr<Provision> lProvision;

    if (!lHold.IsHeld())
        return zqError_TimedOut;

    const auto lIdentifier = aProvision.GetPath();
    zqError    lReturn     = ManagerLookupProvisionIdentifier(lIdentifier, lProvision);

    if (!ZQ_CHECK(lProvision != NULL))
    {
        ZQ_LOG(zqLogLevel_Error, ": failed to find provision %s for properties change",
               zqString(lIdentifier).GetAsUTFArray());
        return lReturn;
    }

    lReturn = aChange(*lProvision);
    if (lReturn == zqError_None)
        (void)UpdateConnManProvisions(true);

    return lReturn;
}

zqError Manager::ProvisionSetProperty(const Provision &aProvision, const CFUSharedRef<CFStringRef> &aKey,
                                      const CFUSharedRef<const void *> &aValue)
{
    ZQ_REQUIRE(aKey != NULL, zqError_InvalidArgument);
    ZQ_REQUIRE(aValue != NULL, zqError_InvalidArgument);
    ZQ_REQUIRE(!Private::IsEqual(aKey.Get(), kServicePropertyProvisionIdentifier), zqError_InvalidArgument);

    const auto lProperties = MakeEntry(aKey, aValue);
    ZQ_REQUIRE(lProperties != NULL, zqError_NoResources);

    return ChangeListed(aProvision,
                        [&](Provision &aListed) -> zqError
                        {
                            zqError lReturn = CheckProvision(aListed.GetPath(), lProperties);

                            if (lReturn != zqError_None)
                                return lReturn;

                            lReturn = aListed.Refresh(lProperties);
                            ZQ_REQUIRE(lReturn == 0, lReturn);

                            NoteProvisionChange(aListed.GetPath(), lProperties);
                            return zqError_None;
                        });
}

// The key leaves the record before it is known whether it is one that can be
// cleared: clearing any but the passphrase fails and has removed it in memory.
zqError Manager::ProvisionClearProperty(const Provision &aProvision, const CFUSharedRef<CFStringRef> &aKey)
{
    return ChangeListed(aProvision,
                        [&](Provision &aListed) -> zqError
                        {
                            zqError lReturn = aListed.ClearProperty(aKey);
                            ZQ_REQUIRE(lReturn == 0, lReturn);

                            lReturn = aListed.ClearProvisionProperty(aKey);
                            if (!ZQ_CHECK_TEXT(lReturn == 0, "lReturn == Success"))
                                ZQ_LOG(zqLogLevel_Error, ": failed to clear provision %s for properties change",
                                       zqString(aListed.GetPath()).GetAsUTFArray());
                            else
                                NoteProvisionChange(aListed.GetPath(), MakeEntry(aKey, aKey));

                            return lReturn;
                        });
}

zqError Manager::ProvisionRemove(const Provision &aProvision)
{
    return ChangeListed(aProvision,
                        [&](Provision &aListed) -> zqError
                        {
                            const zqError lReturn = mProvisions.Remove(zqSharedPtr<Object>(&aListed));
                            ZQ_REQUIRE(lReturn == 0, lReturn);

                            return zqError_None;
                        });
}

zqError Manager::ProvisionRemoveAll()
{
    const ProvisionsHold lHold(*this);

    if (!lHold.IsHeld())
        return zqError_TimedOut;

    (void)mProvisions.Clear();
    (void)EraseConnManProvisions();

    return zqError_None;
}

zqError Manager::ReplaceProvision(const CFUSharedRef<CFStringRef> &anIdentifier, CFDictionaryRef aProperties)
{
    const ProvisionsHold   lHold(*this);
    zqSharedPtr<Provision> lProvision;

    if (!lHold.IsHeld())
        return zqError_TimedOut;

    (void)ManagerLookupProvisionIdentifier(anIdentifier, lProvision);
    if (aProperties == nullptr)
        return lProvision != nullptr ? mProvisions.Remove(lProvision) : zqError_None;

    const auto lRecord = CFUAdopt(CFDictionaryCreateMutableCopy(kCFAllocatorDefault, 0, aProperties));
    ZQ_REQUIRE(lRecord != NULL, zqError_NoResources);

    CFDictionarySetValue(lRecord.Get(), kServicePropertyProvisionIdentifier, anIdentifier.Get());
    if (lProvision != nullptr)
        lProvision->ClearOthers(aProperties);

    return AddProvision(lRecord, lProvision);
}

} // namespace zq::NetworkManager
