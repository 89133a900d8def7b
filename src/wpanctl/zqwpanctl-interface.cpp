/**
 *  @file
 *    One radio interface of the WPAN daemon.
 */

#include "zqwpanctl-private.h"

#include <zqlog.h>
#include <zqshared-containers.h>

#define ZQ_LOG_COMPONENT "wpanctl"
#define ZQ_LOG_FILE "zqwpanctl"

zqWPANCtl::Interface::Interface()
    : mSignals(std::make_shared<Signals>()), mNetWake(mSignals->mNetWake), mAllowSleep(mSignals->mAllowSleep),
      mPreventSleep(mSignals->mPreventSleep), mAssociationState(mSignals->mAssociationState),
      mJammingState(mSignals->mJammingState), mPropertyChanged(mSignals->mPropertyChanged)
{
}

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

    auto lSettings = zq::Shared::MakeDictionary();
    if (!ZQ_CHECK_TEXT(lSettings != nullptr, "settings_dict != __null"))
        return zqError_NoResources;

    const zq::WPAN::ScopedLock lLock(mSettingsLock);
    mSettings = std::move(lSettings);
    return zqError_None;
}
