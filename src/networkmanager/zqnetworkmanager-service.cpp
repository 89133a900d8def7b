#include <zqnetworkmanager-service.h>

#include "zqnetworkmanager-lock.h"
#include "zqnetworkmanager-values.h"

#include <zqlog.h>

#define ZQ_LOG_COMPONENT ""
#define ZQ_LOG_FILE "zqnetworkmanager-service"

namespace zq::NetworkManager
{

namespace
{

using Private::CachedProperty;
using Private::LockOf;

const SInt32 kRawStrengthOffset = 120;

// In the order of Service::Cached, which is the order of checking.
const CachedProperty *GetTable()
{
    static const CachedProperty kTable[] = {
        { kServicePropertyName, CFStringGetTypeID(), nullptr },
        { kServicePropertyAutoConnect, CFBooleanGetTypeID(), "isAutoConnect != __null" },
        { kServicePropertyDomains, CFArrayGetTypeID(), "theDomains != __null" },
        { kServicePropertyError, CFStringGetTypeID(), nullptr },
        { kServicePropertyEthernet, CFDictionaryGetTypeID(), "theEthernet != __null" },
        { kServicePropertyFavorite, CFBooleanGetTypeID(), "isFavorite != __null" },
        { kServicePropertyImmutable, CFBooleanGetTypeID(), "isImmutable != __null" },
        { kServicePropertyNameservers, CFArrayGetTypeID(), "theNameservers != __null" },
        { kServicePropertyPassphrase, CFStringGetTypeID(), nullptr },
        { kServicePropertyRoaming, CFBooleanGetTypeID(), nullptr },
        { kServicePropertySecurity, CFArrayGetTypeID(), "theSecurity != __null" },
        { kServicePropertyState, CFStringGetTypeID(), "theState != __null" },
        { kServicePropertyStrength, CFNumberGetTypeID(), nullptr },
        { kServicePropertyAge, CFBooleanGetTypeID(), nullptr },
        { kServicePropertyType, CFStringGetTypeID(), "theType != __null" },
    };

    return kTable;
}

} // namespace

Service::Service() noexcept : mInitialized(false) {}

Service::~Service() = default;

void Service::Destroy()
{
    delete this;
}

zqError Service::Init(const CFUSharedRef<CFStringRef> &aPath, const CFUSharedRef<CFDictionaryRef> &aProperties)
{
    zqError retval = Object::Init(aPath, aProperties);

    if (retval == 0)
    {
        LockOf<Object> lLock(*this);

        retval       = InitLocked();
        mInitialized = (retval == 0);

        if (!mInitialized)
        {
            mConfigurations.Reset();
            mAddresses.Reset();
            UndoInitLocked();
        }
    }

    return retval;
}

zqError Service::Init(const Service &aService)
{
    return Object::Init(aService);
}

zqError Service::Refresh(const CFUSharedRef<CFDictionaryRef> &aProperties)
{
    return Private::Refresh(*this, mInitialized, aProperties, ZQ_LOG_FILE, [this] { return InitLocked(); });
}

zqError Service::InitLocked()
{
    CFTypeRef               lValues[kNumCached];
    CFUSharedRef<CFTypeRef> theRawStrength = CFURetain<CFTypeRef>(kCFBooleanFalse);
    zqError                 retval         = InitFamiliesLocked();

    if (retval == 0)
        retval = Private::CollectLocked(*this, GetTable(), 0, kCachedAge, lValues, ZQ_LOG_FILE);

    if (retval != 0)
        return retval;

    if (lValues[kCachedStrength] != nullptr)
    {
        SInt16 theStrength = 0;

        (void)CFNumberGetValue(static_cast<CFNumberRef>(lValues[kCachedStrength]), kCFNumberSInt16Type, &theStrength);

        const SInt32 lRawStrength = theStrength - kRawStrengthOffset;

        theRawStrength = CFUAdopt(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt32Type, &lRawStrength));
        ZQ_REQUIRE(theRawStrength != NULL, zqError_OutOfMemory);
    }
    else
    {
        lValues[kCachedStrength] = kCFBooleanFalse;
    }

    retval = Private::CollectLocked(*this, GetTable(), kCachedAge, kNumCached, lValues, ZQ_LOG_FILE);

    if (retval == 0)
    {
        Private::ReplaceLocked(mCached, lValues, kNumCached);
        mRawStrength = theRawStrength;
    }

    return retval;
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

template <typename T>
CFUSharedRef<T> Service::GetCached(Cached aCached) const
{
    LockOf<Object> lLock(*this);

    return CFURetain(static_cast<T>(mCached[aCached].Get()));
}

CFUSharedRef<CFStringRef> Service::GetName() const
{
    return GetCached<CFStringRef>(kCachedName);
}

CFUSharedRef<CFBooleanRef> Service::IsAutoConnect() const
{
    return GetCached<CFBooleanRef>(kCachedAutoConnect);
}

CFUSharedRef<CFArrayRef> Service::GetDomains() const
{
    return GetCached<CFArrayRef>(kCachedDomains);
}

CFUSharedRef<CFStringRef> Service::GetError() const
{
    return GetCached<CFStringRef>(kCachedError);
}

CFUSharedRef<CFDictionaryRef> Service::GetEthernet() const
{
    return GetCached<CFDictionaryRef>(kCachedEthernet);
}

CFUSharedRef<CFBooleanRef> Service::IsFavorite() const
{
    return GetCached<CFBooleanRef>(kCachedFavorite);
}

CFUSharedRef<CFBooleanRef> Service::IsImmutable() const
{
    return GetCached<CFBooleanRef>(kCachedImmutable);
}

CFUSharedRef<CFBooleanRef> Service::IsRoaming() const
{
    return GetCached<CFBooleanRef>(kCachedRoaming);
}

CFUSharedRef<CFArrayRef> Service::GetNameservers() const
{
    return GetCached<CFArrayRef>(kCachedNameservers);
}

CFUSharedRef<CFStringRef> Service::GetPassphrase() const
{
    return GetCached<CFStringRef>(kCachedPassphrase);
}

CFUSharedRef<CFArrayRef> Service::GetSecurity() const
{
    return GetCached<CFArrayRef>(kCachedSecurity);
}

CFUSharedRef<CFStringRef> Service::GetState() const
{
    return GetCached<CFStringRef>(kCachedState);
}

CFUSharedRef<CFStringRef> Service::GetType() const
{
    return GetCached<CFStringRef>(kCachedType);
}

CFUSharedRef<CFBooleanRef> Service::IsAged() const
{
    return GetCached<CFBooleanRef>(kCachedAge);
}

CFUSharedRef<CFTypeRef> Service::GetStrength() const
{
    return GetCached<CFTypeRef>(kCachedStrength);
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

    const auto lSecurity = static_cast<CFArrayRef>(mCached[kCachedSecurity].Get());

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

bool operator==(const Service &aFirst, const Service &aSecond)
{
    return static_cast<const Object &>(aFirst) == static_cast<const Object &>(aSecond);
}

} // namespace zq::NetworkManager
