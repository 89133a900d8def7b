/**
 *  @file
 *    One radio interface of the WPAN daemon.
 */

#include <zqwpanctl.h>

#include <zqlog.h>

#include <prlock.h>

#define ZQ_LOG_COMPONENT "wpanctl"
#define ZQ_LOG_FILE "zqwpanctl"

zqWPANCtl::Interface::Interface() = default;

zqWPANCtl::Interface::~Interface()
{
    if (mSettingsLock != nullptr)
        PR_DestroyLock(mSettingsLock);
}

zqError zqWPANCtl::Interface::Init(const zqString &aPath, zqWPANCtl *aController) noexcept
{
    mPath       = aPath;
    mController = aController;

    if (mSettingsLock == nullptr)
        mSettingsLock = PR_NewLock();
    if (!ZQ_CHECK(mSettingsLock != NULL))
    {
        ZQ_LOG(zqLogLevel_Error, "wpanctl: Interface::Init() - Could not create settings lock");
        return zqError_NoResources;
    }

    auto lSettings = CFUAdopt(CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks,
                                                        &kCFTypeDictionaryValueCallBacks));
    if (!ZQ_CHECK_TEXT(lSettings != nullptr, "settings_dict != __null"))
        return zqError_NoResources;

    PR_Lock(mSettingsLock);
    mSettings = std::move(lSettings);
    PR_Unlock(mSettingsLock);
    return zqError_None;
}
