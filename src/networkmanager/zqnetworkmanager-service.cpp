#include <zqnetworkmanager-service.h>

#include "zqnetworkmanager-kind.h"
#include "zqnetworkmanager-values.h"

#include <algorithm>

#define ZQ_LOG_COMPONENT ""
#define ZQ_LOG_FILE "zqnetworkmanager-service"
#define ZQ_KIND Service

// clang-format off
#define ZQ_CACHED(ROW)                                                                                                 \
    ROW(GetName,        CFStringRef,     kServicePropertyName,        CFStringGetTypeID,     nullptr)                  \
    ROW(IsAutoConnect,  CFBooleanRef,    kServicePropertyAutoConnect, CFBooleanGetTypeID,    "isAutoConnect != __null")\
    ROW(GetDomains,     CFArrayRef,      kServicePropertyDomains,     CFArrayGetTypeID,      "theDomains != __null")   \
    ROW(GetError,       CFStringRef,     kServicePropertyError,       CFStringGetTypeID,     nullptr)                  \
    ROW(GetEthernet,    CFDictionaryRef, kServicePropertyEthernet,    CFDictionaryGetTypeID, "theEthernet != __null")  \
    ROW(IsFavorite,     CFBooleanRef,    kServicePropertyFavorite,    CFBooleanGetTypeID,    "isFavorite != __null")   \
    ROW(IsImmutable,    CFBooleanRef,    kServicePropertyImmutable,   CFBooleanGetTypeID,    "isImmutable != __null")  \
    ROW(GetNameservers, CFArrayRef,      kServicePropertyNameservers, CFArrayGetTypeID,      "theNameservers != __null")\
    ROW(GetPassphrase,  CFStringRef,     kServicePropertyPassphrase,  CFStringGetTypeID,     nullptr)                  \
    ROW(IsRoaming,      CFBooleanRef,    kServicePropertyRoaming,     CFBooleanGetTypeID,    nullptr)                  \
    ROW(GetSecurity,    CFArrayRef,      kServicePropertySecurity,    CFArrayGetTypeID,      "theSecurity != __null")  \
    ROW(GetState,       CFStringRef,     kServicePropertyState,       CFStringGetTypeID,     "theState != __null")     \
    ROW(GetStrength,    CFTypeRef,       kServicePropertyStrength,    CFNumberGetTypeID,     nullptr)                  \
    ROW(IsAged,         CFBooleanRef,    kServicePropertyAge,         CFBooleanGetTypeID,    nullptr)                  \
    ROW(GetType,        CFStringRef,     kServicePropertyType,        CFStringGetTypeID,     "theType != __null")
// clang-format on

namespace zq::NetworkManager
{

namespace
{

using Private::Kind;
using Private::LockOf;

const SInt32 kRawStrengthOffset = 120;

ZQ_DEFINE_CACHED

/** A property whose dictionary is kept by its name. */
struct Family
{
    const CFStringRef *mKey;
    bool               mIsConfiguration;
};

constexpr Family kFamilies[] = {
    { &kServicePropertyIPv4, false },
    { &kServicePropertyIPv6, false },
    { &kServicePropertyIPv4Configuration, true },
    { &kServicePropertyIPv6Configuration, true },
};

constexpr unsigned int kAllPlaces = (1U << kNumCached) - 1;

/** The raw strength of a strength; false takes the place of both when there is none. */
zqError MakeRawStrength(CFTypeRef &aStrength, CFUSharedRef<CFTypeRef> &aRawStrength)
{
    SInt16 lStrength = 0;

    if (aStrength == nullptr)
    {
        aStrength    = kCFBooleanFalse;
        aRawStrength = CFURetain<CFTypeRef>(kCFBooleanFalse);
        return zqError_None;
    }

    (void)CFNumberGetValue(static_cast<CFNumberRef>(aStrength), kCFNumberSInt16Type, &lStrength);

    const SInt32                  lRawStrength = lStrength - kRawStrengthOffset;
    const CFUSharedRef<CFTypeRef> theRawStrength =
        CFUAdopt<CFTypeRef>(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt32Type, &lRawStrength));
    ZQ_REQUIRE(theRawStrength != NULL, zqError_OutOfMemory);

    aRawStrength = theRawStrength;
    return zqError_None;
}

} // namespace

ZQ_DEFINE_KIND(nullptr)

void Service::UndoInitLocked()
{
    mConfigurations.Reset();
    mAddresses.Reset();
    Object::UndoInitLocked();
}

zqError Service::InitLocked()
{
    const zqError lReturn = InitFamiliesLocked();

    return lReturn == zqError_None ? CacheLocked(kAllPlaces) : lReturn;
}

zqError Service::RecacheLocked(CFDictionaryRef aChanges)
{
    constexpr CFIndex kFew = 2;

    const CFIndex lCount      = CFDictionaryGetCount(aChanges);
    const void   *lKeys[kFew] = {};
    unsigned int  lPlaces     = 0;

    if (lCount > kFew)
        return InitLocked();

    CFDictionaryGetKeysAndValues(aChanges, lKeys, nullptr);

    const auto lIsNamed = [&](CFStringRef aKey)
    { return std::any_of(lKeys, lKeys + lCount, [=](const void *aNamed) { return CFEqual(aNamed, aKey); }); };

    for (const Family &lFamily : kFamilies)
        if (lIsNamed(*lFamily.mKey))
            return InitLocked();

    for (int lPlace = 0; lPlace < kNumCached; lPlace++)
        if (lIsNamed(*kTable[lPlace].mKey))
            lPlaces |= 1U << lPlace;

    return CacheLocked(lPlaces);
}

zqError Service::CacheLocked(unsigned int aPlaces)
{
    CFTypeRef               lValues[kNumCached];
    CFUSharedRef<CFTypeRef> lRawStrength = mRawStrength;

    for (int lPlace = 0; lPlace < kNumCached; lPlace++)
    {
        zqError lReturn = zqError_None;

        lValues[lPlace] = mCached[lPlace].Get();

        if ((aPlaces & 1U << lPlace) == 0)
            continue;

        lReturn = Kind::CollectLocked(*this, kTable, lPlace, lPlace + 1, lValues, ZQ_LOG_FILE);
        if (lReturn == zqError_None && lPlace == kGetStrength)
            lReturn = MakeRawStrength(lValues[lPlace], lRawStrength);
        if (lReturn != zqError_None)
            return lReturn;
    }

    Kind::ReplaceLocked(mCached, lValues);
    mRawStrength = lRawStrength;

    return zqError_None;
}

zqError Service::InitFamiliesLocked()
{
    for (const Family &lRow : kFamilies)
    {
        const CFTypeRef theConfiguration = GetPropertyLockedUntyped(*lRow.mKey);

        if (!ZQ_CHECK_TEXT(CFUIsTypeID(theConfiguration, CFDictionaryGetTypeID()), "theConfiguration"))
            return zqError_Missing;

        const auto    lKey        = CFURetain(*lRow.mKey);
        const auto    lDictionary = CFURetain(static_cast<CFDictionaryRef>(theConfiguration));
        const zqError retval =
            lRow.mIsConfiguration ? InitConfigurations(lKey, lDictionary) : InitAddresses(lKey, lDictionary);
        ZQ_REQUIRE(retval == 0, retval);
    }

    return zqError_None;
}

zqError Service::InitAddresses(const CFUSharedRef<CFStringRef>     &aFamily,
                               const CFUSharedRef<CFDictionaryRef> &aConfiguration)
{
    return StoreFamily(mAddresses, aFamily, aConfiguration);
}

zqError Service::InitConfigurations(const CFUSharedRef<CFStringRef>     &aFamily,
                                    const CFUSharedRef<CFDictionaryRef> &aConfiguration)
{
    return StoreFamily(mConfigurations, aFamily, aConfiguration);
}

zqError Service::StoreFamily(CFUSharedRef<CFMutableDictionaryRef> &aFamilies, const CFUSharedRef<CFStringRef> &aFamily,
                             const CFUSharedRef<CFDictionaryRef> &aConfiguration)
{
    ZQ_REQUIRE(aFamily != NULL, zqError_InvalidArgument);
    ZQ_REQUIRE(aConfiguration != NULL, zqError_InvalidArgument);

    if (aFamilies == nullptr)
        aFamilies = Shared::MakeDictionary();

    ZQ_REQUIRE(aFamilies != NULL, zqError_NoResources);

    CFDictionarySetValue(aFamilies.Get(), aFamily.Get(), aConfiguration.Get());

    return zqError_None;
}

CFUSharedRef<CFDictionaryRef> Service::FindFamily(const CFUSharedRef<CFMutableDictionaryRef> &aFamilies,
                                                  CFStringRef                                 aFamily) const
{
    LockOf<Object> lLock(*this);

    return CFURetain(
        static_cast<CFDictionaryRef>(Private::GetTyped(aFamilies.Get(), aFamily, CFDictionaryGetTypeID())));
}

CFUSharedRef<CFDictionaryRef> Service::GetAddresses(const CFUSharedRef<CFStringRef> &aFamily) const
{
    ZQ_REQUIRE(aFamily != NULL, nullptr);

    return FindFamily(mAddresses, aFamily.Get());
}

CFUSharedRef<CFDictionaryRef> Service::GetConfiguration(const CFUSharedRef<CFStringRef> &aFamily) const
{
    ZQ_REQUIRE(aFamily != NULL, nullptr);

    CFStringRef lKey = aFamily.Get();

    if (Private::IsEqual(lKey, kServicePropertyIPv4))
        lKey = kServicePropertyIPv4Configuration;
    else if (Private::IsEqual(lKey, kServicePropertyIPv6))
        lKey = kServicePropertyIPv6Configuration;

    return FindFamily(mConfigurations, lKey);
}

CFUSharedRef<CFTypeRef> Service::GetRawStrength() const
{
    LockOf<Object> lLock(*this);

    return mRawStrength;
}

CFUSharedRef<CFBooleanRef> Service::IsState(const CFUSharedRef<CFStringRef> &aState) const
{
    return Private::SharedBoolean(Private::IsEqual(GetState().Get(), aState.Get()));
}

CFUSharedRef<CFBooleanRef> Service::IsType(const CFUSharedRef<CFStringRef> &aType) const
{
    return Private::SharedBoolean(Private::IsEqual(GetType().Get(), aType.Get()));
}

bool Service::IsConnected() const
{
    const auto lState = GetState();

    return Private::IsEqual(lState.Get(), kServiceStateReady) || Private::IsEqual(lState.Get(), kServiceStateOnline);
}

bool Service::IsOnline() const
{
    return Private::IsEqual(GetState().Get(), kServiceStateOnline);
}

bool Service::HasSecurityLocked(const CFUSharedRef<CFStringRef> &aSecurity) const
{
    ZQ_REQUIRE(aSecurity != NULL, false);

    const auto lSecurity = static_cast<CFArrayRef>(mCached[kGetSecurity].Get());

    return lSecurity != nullptr &&
           CFArrayContainsValue(lSecurity, CFRangeMake(0, CFArrayGetCount(lSecurity)), aSecurity.Get()) != 0;
}

bool Service::HasSecurity(const CFUSharedRef<CFStringRef> &aSecurity) const
{
    LockOf<Object> lLock(*this);

    return HasSecurityLocked(aSecurity);
}

bool Service::IsSecured() const
{
    return !HasSecurity(CFURetain(kServiceSecurityNone));
}

} // namespace zq::NetworkManager
