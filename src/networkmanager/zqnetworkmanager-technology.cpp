#include <zqnetworkmanager-technology.h>

#include "zqnetworkmanager-lock.h"
#include "zqnetworkmanager-values.h"

#include <zqlog.h>

#define ZQ_LOG_COMPONENT ""
#define ZQ_LOG_FILE "zqnetworkmanager-technology"

namespace zq::NetworkManager
{

namespace
{

using Private::CachedProperty;
using Private::LockOf;

// In the order of Technology::Cached, which is the order of checking.
const CachedProperty *GetTable()
{
    static const CachedProperty kTable[] = {
        { kTechnologyPropertyName, CFStringGetTypeID(), "theName != __null" },
        { kTechnologyPropertyConnected, CFBooleanGetTypeID(), "isConnected != __null" },
        { kTechnologyPropertyPowered, CFBooleanGetTypeID(), "isPowered != __null" },
        { kTechnologyPropertyTethering, CFBooleanGetTypeID(), "isTethering != __null" },
        { kTechnologyPropertyType, CFStringGetTypeID(), "theType != __null" },
    };

    return kTable;
}

} // namespace

Technology::Technology() noexcept : mInitialized(false) {}

Technology::~Technology() = default;

void Technology::Destroy()
{
    delete this;
}

zqError Technology::Init(const CFUSharedRef<CFStringRef> &aPath, const CFUSharedRef<CFDictionaryRef> &aProperties)
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

zqError Technology::Init(const Technology &aTechnology)
{
    return Object::Init(aTechnology);
}

zqError Technology::Refresh(const CFUSharedRef<CFDictionaryRef> &aProperties)
{
    return Private::Refresh(*this, mInitialized, aProperties, ZQ_LOG_FILE, [this] { return InitLocked(); });
}

zqError Technology::InitLocked()
{
    CFTypeRef     lValues[kNumCached];
    const zqError retval = Private::CollectLocked(*this, GetTable(), 0, kNumCached, lValues, ZQ_LOG_FILE);

    if (retval == 0)
        Private::ReplaceLocked(mCached, lValues, kNumCached);

    return retval;
}

template <typename T>
CFUSharedRef<T> Technology::GetCached(Cached aCached) const
{
    LockOf<Object> lLock(*this);

    return CFURetain(static_cast<T>(mCached[aCached].Get()));
}

CFUSharedRef<CFStringRef> Technology::GetName() const
{
    return GetCached<CFStringRef>(kCachedName);
}

CFUSharedRef<CFBooleanRef> Technology::IsConnected() const
{
    return GetCached<CFBooleanRef>(kCachedConnected);
}

CFUSharedRef<CFBooleanRef> Technology::IsPowered() const
{
    return GetCached<CFBooleanRef>(kCachedPowered);
}

CFUSharedRef<CFBooleanRef> Technology::IsTethering() const
{
    return GetCached<CFBooleanRef>(kCachedTethering);
}

CFUSharedRef<CFStringRef> Technology::GetType() const
{
    return GetCached<CFStringRef>(kCachedType);
}

CFUSharedRef<CFBooleanRef> Technology::IsType(const CFUSharedRef<CFStringRef> &aType) const
{
    return Private::SharedBoolean(Private::IsEqual(GetType().Get(), aType.Get()));
}

bool operator==(const Technology &aFirst, const Technology &aSecond)
{
    return static_cast<const Object &>(aFirst) == static_cast<const Object &>(aSecond);
}

} // namespace zq::NetworkManager
