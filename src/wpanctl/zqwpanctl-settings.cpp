/**
 *  @file
 *    The settings that the daemon forgets in a restart.
 */

#include "zqwpanctl-private.h"

#include <zqlog.h>

#include <algorithm>

#define ZQ_LOG_COMPONENT "wpanctl"
#define ZQ_LOG_FILE "zqwpanctl"

using namespace zq::WPAN;

namespace
{

/** Those that are written back to a daemon that has restarted, in the order in which they are. */
const auto &SavedSettings() noexcept
{
    static const CFStringRef sKeys[] = {
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

/** The index among them; their number for a property that is none of them. */
std::size_t FindSavedSetting(const zqString &aKey) noexcept
{
    const auto &lKeys = SavedSettings();

    return static_cast<std::size_t>(std::find_if(std::begin(lKeys), std::end(lKeys),
                                                 [&](CFStringRef aSaved)
                                                 { return CFEqual(aSaved, aKey.GetAsCFString()) != 0; }) -
                                    std::begin(lKeys));
}

} // namespace

std::uint64_t zqWPANCtl::Interface::TakeTurn() noexcept
{
    if (mSettingsLock == nullptr)
        return 0;

    const ScopedLock lLock(mSettingsLock);
    return ++mLastTurn;
}

zqError zqWPANCtl::Interface::StoreLocked(const zqString &aKey, CFTypeRef aValue, std::uint64_t aTurn) noexcept
{
    const std::size_t lSetting = FindSavedSetting(aKey);

    if (!mSettings)
        return zqError_WrongState;

    CFDictionarySetValue(mSettings.Get(), aKey.GetAsCFString(), aValue);
    if (CFDictionaryGetValue(mSettings.Get(), aKey.GetAsCFString()) != aValue)
        return zqError_NoResources;

    if (lSetting < kNumSavedSettings)
        mTurns[lSetting].mSet = aTurn;
    return zqError_None;
}

zqError zqWPANCtl::Interface::UpdateSettings(const zqString &aKey, CFUSharedRef<const void *> aValue) noexcept
{
    if (!aValue)
        return zqError_InvalidArgument;
    if (mSettingsLock == nullptr)
        return zqError_WrongState;

    const ScopedLock lLock(mSettingsLock);
    return StoreLocked(aKey, aValue.Get(), ++mLastTurn);
}

// A set that the daemon has accepted, and the restoration of the same setting,
// come by different connections: when they were under way at once, nobody knows
// which of them the daemon has taken last. The one that ends last writes the
// saved value again.

void zqWPANCtl::Interface::Accept(const zqString &aKey, CFTypeRef aValue, std::uint64_t aTurn) noexcept
{
    const std::size_t lSetting       = FindSavedSetting(aKey);
    bool              lIsOverwritten = false;

    if (lSetting == kNumSavedSettings || mSettingsLock == nullptr)
        return;

    {
        const ScopedLock lLock(mSettingsLock);

        if (aTurn > mTurns[lSetting].mSet)
            (void)StoreLocked(aKey, aValue, aTurn);
        lIsOverwritten = aTurn < mTurns[lSetting].mRestored;
    }
    if (lIsOverwritten)
        Restore(lSetting);
}

void zqWPANCtl::Interface::Restore(std::size_t aSetting) noexcept
{
    const zqString lKey(SavedSettings()[aSetting]);

    for (bool lIsNewest = false; !lIsNewest;)
    {
        CFUSharedRef<CFTypeRef> lValue;
        std::uint64_t           lTurn = 0;
        {
            const ScopedLock lLock(mSettingsLock);

            lValue = CFURetain(mSettings ? CFDictionaryGetValue(mSettings.Get(), lKey.GetAsCFString()) : nullptr);
            lTurn  = mTurns[aSetting].mSet;
        }
        if (lValue && !CFEqual(lValue.Get(), Empty()))
        {
            ZQ_LOG(zqLogLevel_Information, "wpanctl: Restoring wpan property \"%s\"", lKey.GetAsUTFArray());
            (void)SetProperty_Private(nullptr, lKey, lValue.Get());
        }

        const ScopedLock lLock(mSettingsLock);

        lIsNewest = mTurns[aSetting].mSet == lTurn;
        if (lIsNewest)
            mTurns[aSetting].mRestored = ++mLastTurn;
    }
}

void zqWPANCtl::Interface::RestoreSettings() noexcept
{
    static_assert(sizeof SavedSettings() / sizeof SavedSettings()[0] == kNumSavedSettings, "a turn for each");

    for (std::size_t lSetting = 0; mSettingsLock != nullptr && lSetting < kNumSavedSettings; ++lSetting)
        Restore(lSetting);
    ZQ_LOG(zqLogLevel_Information, "wpanctl: Restored all saved settings on meshd");
}
