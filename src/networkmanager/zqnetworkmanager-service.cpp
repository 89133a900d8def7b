#include <zqnetworkmanager-service.h>

#include "zqnetworkmanager-kind.h"
#include "zqnetworkmanager-values.h"

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
    CFTypeRef               lValues[kNumCached];
    CFUSharedRef<CFTypeRef> theRawStrength = CFURetain<CFTypeRef>(kCFBooleanFalse);
    zqError                 lReturn        = InitFamiliesLocked();

    if (lReturn == zqError_None)
        lReturn = Kind::CollectLocked(*this, kTable, 0, kIsAged, lValues, ZQ_LOG_FILE);

    if (lReturn != zqError_None)
        return lReturn;

    if (lValues[kGetStrength] != nullptr)
    {
        SInt16 theStrength = 0;

        (void)CFNumberGetValue(static_cast<CFNumberRef>(lValues[kGetStrength]), kCFNumberSInt16Type, &theStrength);

        const SInt32 lRawStrength = theStrength - kRawStrengthOffset;

        theRawStrength = CFUAdopt(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt32Type, &lRawStrength));
        ZQ_REQUIRE(theRawStrength != NULL, zqError_OutOfMemory);
    }
    else
    {
        lValues[kGetStrength] = kCFBooleanFalse;
    }

    lReturn = Kind::CollectLocked(*this, kTable, kIsAged, kNumCached, lValues, ZQ_LOG_FILE);

    if (lReturn == zqError_None)
    {
        Kind::ReplaceLocked(mCached, lValues);
        mRawStrength = theRawStrength;
    }

    return lReturn;
}

zqError Service::InitFamiliesLocked()
{
    static const struct
    {
        CFStringRef mFamily;
        zqError (Service::*mStore)(const CFUSharedRef<CFStringRef> &, const CFUSharedRef<CFDictionaryRef> &);
    } kFamilies[] = {
        { kServicePropertyIPv4, &Service::InitAddresses },
        { kServicePropertyIPv6, &Service::InitAddresses },
        { kServicePropertyIPv4Configuration, &Service::InitConfigurations },
        { kServicePropertyIPv6Configuration, &Service::InitConfigurations },
    };

    for (const auto &lRow : kFamilies)
    {
        const CFTypeRef theConfiguration = GetPropertyLockedUntyped(lRow.mFamily);

        if (!ZQ_CHECK_TEXT(CFUIsTypeID(theConfiguration, CFDictionaryGetTypeID()), "theConfiguration"))
            return zqError_Missing;

        const zqError retval =
            (this->*lRow.mStore)(CFURetain(lRow.mFamily), CFURetain(static_cast<CFDictionaryRef>(theConfiguration)));
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
        aFamilies = CFUAdopt(CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks,
                                                       &kCFTypeDictionaryValueCallBacks));

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
