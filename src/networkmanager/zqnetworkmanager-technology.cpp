#include <zqnetworkmanager-technology.h>

#include "zqnetworkmanager-kind.h"
#include "zqnetworkmanager-values.h"

#define ZQ_LOG_COMPONENT ""
#define ZQ_LOG_FILE "zqnetworkmanager-technology"
#define ZQ_KIND Technology

// clang-format off
#define ZQ_CACHED(ROW)                                                                                                 \
    ROW(GetName,     CFStringRef,  kTechnologyPropertyName,      CFStringGetTypeID,  "theName != __null")               \
    ROW(IsConnected, CFBooleanRef, kTechnologyPropertyConnected, CFBooleanGetTypeID, "isConnected != __null")           \
    ROW(IsPowered,   CFBooleanRef, kTechnologyPropertyPowered,   CFBooleanGetTypeID, "isPowered != __null")             \
    ROW(IsTethering, CFBooleanRef, kTechnologyPropertyTethering, CFBooleanGetTypeID, "isTethering != __null")           \
    ROW(GetType,     CFStringRef,  kTechnologyPropertyType,      CFStringGetTypeID,  "theType != __null")
// clang-format on

namespace zq::NetworkManager
{

namespace
{

ZQ_DEFINE_CACHED

} // namespace

ZQ_DEFINE_KIND(ZQ_LOG_FILE)

zqError Technology::InitLocked()
{
    CFTypeRef     lValues[kNumCached];
    const zqError lReturn = Private::Kind::CollectLocked(*this, kTable, 0, kNumCached, lValues, ZQ_LOG_FILE);

    if (lReturn == zqError_None)
        Private::Kind::ReplaceLocked(mCached, lValues);

    return lReturn;
}

CFUSharedRef<CFBooleanRef> Technology::IsType(const CFUSharedRef<CFStringRef> &aType) const
{
    return Private::SharedBoolean(Private::IsEqual(GetType().Get(), aType.Get()));
}

} // namespace zq::NetworkManager
