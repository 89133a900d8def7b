#include <zqnetworkmanager-provision.h>

#include "zqnetworkmanager-kind.h"
#include "zqnetworkmanager-values.h"

#include <cstdio>

#define ZQ_LOG_COMPONENT ""
#define ZQ_LOG_FILE "zqnetworkmanager-provision"
#define ZQ_KIND Provision

// clang-format off
#define ZQ_CACHED(ROW)                                                                                                 \
    ROW(GetType,                     CFStringRef, kServicePropertyType,                     CFStringGetTypeID, "theType != __null")\
    ROW(GetName,                     CFStringRef, kServicePropertyName,                     CFStringGetTypeID, nullptr)\
    ROW(GetSSID,                     CFStringRef, kServicePropertySSID,                     CFStringGetTypeID, nullptr)\
    ROW(GetEAP,                      CFStringRef, kServicePropertyEAP,                      CFStringGetTypeID, nullptr)\
    ROW(GetCACertFile,               CFStringRef, kServicePropertyCACertFile,               CFStringGetTypeID, nullptr)\
    ROW(GetClientCertFile,           CFStringRef, kServicePropertyClientCertFile,           CFStringGetTypeID, nullptr)\
    ROW(GetPrivateKeyFile,           CFStringRef, kServicePropertyPrivateKeyFile,           CFStringGetTypeID, nullptr)\
    ROW(GetPrivateKeyPassphrase,     CFStringRef, kServicePropertyPrivateKeyPassphrase,     CFStringGetTypeID, nullptr)\
    ROW(GetPrivateKeyPassphraseType, CFStringRef, kServicePropertyPrivateKeyPassphraseType, CFStringGetTypeID, nullptr)\
    ROW(GetIdentity,                 CFStringRef, kServicePropertyIdentity,                 CFStringGetTypeID, nullptr)\
    ROW(GetPhase2,                   CFStringRef, kServicePropertyPhase2,                   CFStringGetTypeID, nullptr)\
    ROW(GetPassphrase,               CFStringRef, kServicePropertyPassphrase,               CFStringGetTypeID, nullptr)\
    ROW(GetSecurity,                 CFStringRef, kServicePropertySecurity,                 CFStringGetTypeID, nullptr)\
    ROW(GetHidden,                   CFStringRef, kServicePropertyHidden,                   CFStringGetTypeID, nullptr)\
    ROW(GetExtendedPANID,            CFStringRef, kServicePropertyExtendedPANID,            CFStringGetTypeID, nullptr)
// clang-format on

namespace zq::NetworkManager
{

namespace
{

ZQ_DEFINE_CACHED

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

ZQ_DEFINE_KIND(ZQ_LOG_FILE)

zqError Provision::InitLocked()
{
    CFTypeRef     lValues[kNumCached];
    const zqError lReturn = Private::Kind::CollectLocked(*this, kTable, 0, kNumCached, lValues, ZQ_LOG_FILE);

    if (lReturn != zqError_None)
        return lReturn;

    // The one property that the file has as a number.
    CFUSharedRef<CFStringRef> lNumber;
    const CFTypeRef           lExtendedPANID = GetPropertyLockedUntyped(kServicePropertyExtendedPANID);

    if (CFUIsTypeID(lExtendedPANID, CFNumberGetTypeID()))
    {
        lNumber = CopyDecimalText(static_cast<CFNumberRef>(lExtendedPANID));
        ZQ_REQUIRE(lNumber != NULL, zqError_NoResources);
        lValues[kGetExtendedPANID] = lNumber.Get();
    }
    Private::Kind::ReplaceLocked(mCached, lValues);

    return lReturn;
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

    const Private::LockOf<Object> lLock(*this);

    mCached[kGetPassphrase].Reset();

    return zqError_None;
}

} // namespace zq::NetworkManager
