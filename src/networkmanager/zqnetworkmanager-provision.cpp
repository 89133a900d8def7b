#include <zqnetworkmanager-provision.h>

#include "zqnetworkmanager-lock.h"
#include "zqnetworkmanager-values.h"

#include <zqlog.h>

#include <cstdio>

#define ZQ_LOG_COMPONENT ""
#define ZQ_LOG_FILE "zqnetworkmanager-provision"

namespace zq::NetworkManager
{

namespace
{

using Private::CachedProperty;
using Private::LockOf;

// In the order of Provision::Cached.
const CachedProperty *GetTable()
{
    static const CachedProperty kTable[] = {
        { kServicePropertyType, CFStringGetTypeID(), "theType != __null" },
        { kServicePropertyName, CFStringGetTypeID(), nullptr },
        { kServicePropertySSID, CFStringGetTypeID(), nullptr },
        { kServicePropertyEAP, CFStringGetTypeID(), nullptr },
        { kServicePropertyCACertFile, CFStringGetTypeID(), nullptr },
        { kServicePropertyClientCertFile, CFStringGetTypeID(), nullptr },
        { kServicePropertyPrivateKeyFile, CFStringGetTypeID(), nullptr },
        { kServicePropertyPrivateKeyPassphrase, CFStringGetTypeID(), nullptr },
        { kServicePropertyPrivateKeyPassphraseType, CFStringGetTypeID(), nullptr },
        { kServicePropertyIdentity, CFStringGetTypeID(), nullptr },
        { kServicePropertyPhase2, CFStringGetTypeID(), nullptr },
        { kServicePropertyPassphrase, CFStringGetTypeID(), nullptr },
        { kServicePropertySecurity, CFStringGetTypeID(), nullptr },
        { kServicePropertyHidden, CFStringGetTypeID(), nullptr },
        { kServicePropertyExtendedPANID, CFStringGetTypeID(), nullptr },
    };

    return kTable;
}

/** An unsigned number of 64 bits, whose bits a signed CFNumber has. */
CFUSharedRef<CFStringRef> CopyDecimalText(CFNumberRef aNumber)
{
    unsigned long long lNumber = 0;
    char               lText[24];

    (void)CFNumberGetValue(aNumber, kCFNumberSInt64Type, &lNumber);
    (void)std::snprintf(lText, sizeof lText, "%llu", lNumber);

    return CFUAdopt(CFStringCreateWithCString(kCFAllocatorDefault, lText, kCFStringEncodingUTF8));
}

} // namespace

Provision::Provision() noexcept : mInitialized(false) {}

Provision::~Provision() = default;

void Provision::Destroy()
{
    delete this;
}

zqError Provision::Init(const CFUSharedRef<CFStringRef> &aPath, const CFUSharedRef<CFDictionaryRef> &aProperties)
{
    ZQ_REQUIRE(!mInitialized, zqError_WrongState);

    zqError retval = Object::Init(aPath, aProperties);
    ZQ_REQUIRE(retval == 0, retval);

    LockOf<Object> lLock(*this);

    retval       = InitLocked();
    mInitialized = ZQ_CHECK(retval == 0);

    if (!mInitialized)
        UndoInitLocked();

    return retval;
}

zqError Provision::Init(const Provision &aProvision)
{
    return Object::Init(aProvision);
}

zqError Provision::Refresh(const CFUSharedRef<CFDictionaryRef> &aProperties)
{
    return Private::Refresh(*this, mInitialized, aProperties, ZQ_LOG_FILE, [this] { return InitLocked(); });
}

zqError Provision::InitLocked()
{
    CFTypeRef     lValues[kNumCached];
    const zqError retval = Private::CollectLocked(*this, GetTable(), 0, kNumCached, lValues, ZQ_LOG_FILE);

    if (retval != 0)
        return retval;

    // The one property that the file has as a number.
    CFUSharedRef<CFStringRef> lNumber;
    const CFTypeRef           lExtendedPANID = GetPropertyLockedUntyped(kServicePropertyExtendedPANID);

    if (CFUIsTypeID(lExtendedPANID, CFNumberGetTypeID()))
    {
        lNumber = CopyDecimalText(static_cast<CFNumberRef>(lExtendedPANID));
        ZQ_REQUIRE(lNumber != NULL, zqError_NoResources);
        lValues[kCachedExtendedPANID] = lNumber.Get();
    }
    Private::ReplaceLocked(mCached, lValues, kNumCached);

    return retval;
}

CFUSharedRef<CFStringRef> Provision::GetCached(Cached aCached) const
{
    LockOf<Object> lLock(*this);

    return CFURetain(static_cast<CFStringRef>(mCached[aCached].Get()));
}

CFUSharedRef<CFStringRef> Provision::GetType() const
{
    return GetCached(kCachedType);
}

CFUSharedRef<CFStringRef> Provision::GetName() const
{
    return GetCached(kCachedName);
}

CFUSharedRef<CFStringRef> Provision::GetSSID() const
{
    return GetCached(kCachedSSID);
}

CFUSharedRef<CFStringRef> Provision::GetEAP() const
{
    return GetCached(kCachedEAP);
}

CFUSharedRef<CFStringRef> Provision::GetCACertFile() const
{
    return GetCached(kCachedCACertFile);
}

CFUSharedRef<CFStringRef> Provision::GetClientCertFile() const
{
    return GetCached(kCachedClientCertFile);
}

CFUSharedRef<CFStringRef> Provision::GetPrivateKeyFile() const
{
    return GetCached(kCachedPrivateKeyFile);
}

CFUSharedRef<CFStringRef> Provision::GetPrivateKeyPassphrase() const
{
    return GetCached(kCachedPrivateKeyPassphrase);
}

CFUSharedRef<CFStringRef> Provision::GetPrivateKeyPassphraseType() const
{
    return GetCached(kCachedPrivateKeyPassphraseType);
}

CFUSharedRef<CFStringRef> Provision::GetIdentity() const
{
    return GetCached(kCachedIdentity);
}

CFUSharedRef<CFStringRef> Provision::GetPhase2() const
{
    return GetCached(kCachedPhase2);
}

CFUSharedRef<CFStringRef> Provision::GetPassphrase() const
{
    return GetCached(kCachedPassphrase);
}

CFUSharedRef<CFStringRef> Provision::GetSecurity() const
{
    return GetCached(kCachedSecurity);
}

CFUSharedRef<CFStringRef> Provision::GetHidden() const
{
    return GetCached(kCachedHidden);
}

CFUSharedRef<CFStringRef> Provision::GetExtendedPANID() const
{
    return GetCached(kCachedExtendedPANID);
}

void Provision::GetPropertyNames(CFUSharedRef<CFArrayRef> &aNames) const
{
    const auto theProperties = CopyProperties();

    aNames.Reset();
    ZQ_REQUIRE(theProperties != NULL, );

    const auto lKeys = CFUAdopt(CFUDictionaryCopyKeys(theProperties.Get()));
    auto lNames = CFUAdopt(lKeys != nullptr ? CFArrayCreateMutableCopy(kCFAllocatorDefault, 0, lKeys.Get()) : nullptr);

    if (lNames != nullptr)
        CFArrayAppendValue(lNames.Get(), kServicePropertyProvisionIdentifier);

    aNames = lNames;
}

void Provision::GetPropertyValue(const CFUSharedRef<CFStringRef> &aName, CFUSharedRef<CFTypeRef> &aValue) const
{
    if (Private::IsEqual(aName.Get(), kServicePropertyProvisionIdentifier))
        aValue = GetPath();
    else
        aValue = GetProperty(aName);
}

zqError Provision::ClearProvisionProperty(const CFUSharedRef<CFStringRef> &aName)
{
    if (!Private::IsEqual(aName.Get(), kServicePropertyPassphrase))
        return zqError_NotFound;

    LockOf<Object> lLock(*this);

    mCached[kCachedPassphrase].Reset();

    return zqError_None;
}

bool operator==(const Provision &aFirst, const Provision &aSecond)
{
    return static_cast<const Object &>(aFirst) == static_cast<const Object &>(aSecond);
}

} // namespace zq::NetworkManager
