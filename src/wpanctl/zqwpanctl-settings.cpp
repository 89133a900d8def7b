/**
 *  @file
 *    The settings that the daemon forgets in a restart.
 */

#include "zqwpanctl-private.h"

#include <zqlog.h>

#include <algorithm>
#include <array>

#include <prlock.h>

#define ZQ_LOG_COMPONENT "wpanctl"
#define ZQ_LOG_FILE "zqwpanctl"

namespace zq
{
namespace WPAN
{

namespace
{

/** In the order in which they are written back. */
const std::array<CFStringRef, 13> &SavedSettings() noexcept
{
    static const std::array<CFStringRef, 13> sKeys = {
        __CFStringMakeConstantString(kPropertyJamEnable),
        __CFStringMakeConstantString(kPropertyJamRssiThreshold),
        __CFStringMakeConstantString(kPropertyJamWindow),
        __CFStringMakeConstantString(kPropertyJamBusyPeriod),
        zqWPANCtl::kPropertyKeyDeviceMode,
        zqWPANCtl::kPropertyKeyOpenThreadLogLevel,
        zqWPANCtl::kPropertyKeyChannelManagerNewChannel,
        zqWPANCtl::kPropertyKeyChannelManagerDelay,
        zqWPANCtl::kPropertyKeyChannelManagerAutoSelectEnabled,
        zqWPANCtl::kPropertyKeyChannelManagerAutoSelectInterval,
        zqWPANCtl::kPropertyKeyChannelManagerSupportedChannelMask,
        zqWPANCtl::kPropertyKeyChannelManagerFavoredChannelMask,
        zqWPANCtl::kPropertyQuilPawDestAddress,
    };
    return sKeys;
}

/** The value of a setting that is not to be restored. */
CFStringRef Empty() noexcept
{
    static const CFStringRef sEmpty = CFSTR("Empty");
    return sEmpty;
}

class ScopedLock
{
public:
    explicit ScopedLock(PRLock *aLock) noexcept : mLock(aLock) { PR_Lock(mLock); }
    ~ScopedLock() { (void)PR_Unlock(mLock); }
    ScopedLock(const ScopedLock &)            = delete;
    ScopedLock &operator=(const ScopedLock &) = delete;

private:
    PRLock *const mLock;
};

} // namespace

bool IsSavedSetting(const zqString &aKey) noexcept
{
    const auto &lKeys = SavedSettings();

    return std::any_of(lKeys.begin(), lKeys.end(),
                       [&](CFStringRef aSaved) { return CFEqual(aSaved, aKey.GetAsCFString()) != 0; });
}

} // namespace WPAN
} // namespace zq

using namespace zq::WPAN;

zqError zqWPANCtl::Interface::UpdateSettings(const zqString &aKey, CFUSharedRef<const void *> aValue) noexcept
{
    if (!aValue)
        return zqError_InvalidArgument;
    if (mSettingsLock == nullptr)
        return zqError_WrongState;

    const ScopedLock lLock(mSettingsLock);
    if (!mSettings)
        return zqError_WrongState;

    CFDictionarySetValue(mSettings.Get(), aKey.GetAsCFString(), aValue.Get());
    return CFDictionaryGetValue(mSettings.Get(), aKey.GetAsCFString()) == aValue.Get() ? zqError_None
                                                                                       : zqError_NoResources;
}

CFUSharedRef<const void *> zqWPANCtl::Interface::GetSetting(const zqString &aKey) const noexcept
{
    if (mSettingsLock == nullptr)
        return nullptr;

    const ScopedLock lLock(mSettingsLock);

    return CFURetain(CFDictionaryGetValue(mSettings.Get(), aKey.GetAsCFString()));
}

void zqWPANCtl::Interface::RestoreSettings() noexcept
{
    for (const CFStringRef lSaved : SavedSettings())
    {
        const zqString                lKey(lSaved);
        const CFUSharedRef<CFTypeRef> lValue = GetSetting(lKey);

        if (!lValue || CFEqual(lValue.Get(), Empty()))
            continue;

        ZQ_LOG(zqLogLevel_Information, "wpanctl: Restoring wpan property \"%s\"", lKey.GetAsUTFArray());
        (void)SetProperty(lKey, lValue);
    }
    ZQ_LOG(zqLogLevel_Information, "wpanctl: Restored all saved settings on meshd");
}
