/**
 *  @file
 *    The concrete manager: the factory, its lifecycle and the hooks of the run loop.
 */

#include "zqnetworkmanager-connman.h"

#include <zqdbus.h>
#include <zqlog.h>
#include <zqnetworkmanager-factory.h>
#include <zqwpanctl-signals.h>

#include <new>

#define ZQ_LOG_COMPONENT "network manager"
#define ZQ_LOG_FILE "zqnetworkmanager-connman"

namespace zq::NetworkManager
{

namespace
{

constexpr int kConnManTimeout = 35000; // milliseconds

// The controller's signals have no other way to say that memory is exhausted.
zqWPANCtl *NewWPANCtl() noexcept
try
{
    return new zqWPANCtl;
}
catch (const std::bad_alloc &)
{
    return nullptr;
}

} // namespace

Manager *CreateManager(zqError &aError, zqEventQueue *aQueue)
{
    auto *const lManager = new (std::nothrow) ConnMan::Manager;

    aError = lManager != nullptr ? lManager->Init(aQueue) : zqError_OutOfMemory;
    if (!ZQ_CHECK(aError == 0))
    {
        delete lManager;
        return nullptr;
    }
    return lManager;
}

namespace ConnMan
{

Manager::Manager() noexcept = default;

Manager::~Manager()
{
    Destroy();
}

zqError Manager::Init(zqEventQueue *aQueue)
{
    zqError lReturn = zq::NetworkManager::Manager::Init(aQueue, nullptr);
    ZQ_REQUIRE(lReturn == 0, lReturn);

    lReturn = mConnMan.Init(kConnManTimeout);
    if (!ZQ_CHECK(lReturn == 0))
    {
        zq::NetworkManager::Manager::Destroy();
        return lReturn;
    }

    lReturn = InitClients();
    if (lReturn == zqError_None)
        mInitialized = true;
    else
        LetGo();
    return lReturn;
}

void Manager::LetGo()
{
    mAnswers.reset();
    mWPANCtl.reset();
    mConnMan.SetDelegate(nullptr);
    zq::NetworkManager::Manager::Destroy();
}

zqError Manager::InitClients()
{
    mSeen.Reset(); // an earlier life's
    mWriteError = zqError_None;

    zqError lReturn = InitProvisions();
    if (!ZQ_CHECK_MESSAGE(lReturn == 0, "Failed to init provisions"))
        return lReturn;

    // From here on everything that is polled and handled is this thread's bus.
    zqDBus::SetGlobalDefaultInstance(zqDBus::GetThreadDefaultInstance());

    std::unique_ptr<zqWPANCtl> lWPANCtl(NewWPANCtl());
    ZQ_REQUIRE(lWPANCtl != NULL, zqError_OutOfMemory);

    lReturn = lWPANCtl->Init();
    if (!ZQ_CHECK_MESSAGE(lReturn == 0, "failed to construct new WPANCtl object"))
        return lReturn;

    mConnMan.SetDelegate(this);

    mWPANCtl = std::move(lWPANCtl);
    ForgetSleep();

    return ConnectWPANCtl();
}

zqError Manager::ConnectWPANCtl()
try
{
    mAnswers = std::make_shared<char>();
    mWPANCtl->mNetWake.connect([this](const zqString &anInterface, int aData, int aRemaining)
                               { HandleWPANCtlNetWake(anInterface, aData, aRemaining); });
    mWPANCtl->mAllowSleep.connect([this](const zqString &anInterface) { HandleWPANCtlAllowSleep(anInterface); });
    mWPANCtl->mPreventSleep.connect([this](const zqString &anInterface) { HandleWPANCtlPreventSleep(anInterface); });
    return zqError_None;
}
catch (const std::bad_alloc &)
{
    return zqError_OutOfMemory;
}

void Manager::Destroy()
{
    if (!mInitialized)
        return;

    // Who reads the properties under their lock sees the manager go in one step.
    LockProperties();
    mInitialized = false;
    UnlockProperties();

    ForgetSleep();
    LetGo();
}

bool Manager::IsAvailable()
{
    return mInitialized;
}

PRPollDesc *Manager::GetPollDescriptors(unsigned int &aCount, bool *aChanged)
{
    zqDBus *const lDBus = zqDBus::GetGlobalDefaultInstance();

    return lDBus != nullptr ? lDBus->GetPollDescriptors(aCount, aChanged) : nullptr;
}

int Manager::HandleEvents(PRPollDesc *aDescriptors)
{
    zqDBus *const lDBus = zqDBus::GetGlobalDefaultInstance();

    return lDBus != nullptr ? lDBus->HandleEvents(aDescriptors) : 0;
}

} // namespace ConnMan
} // namespace zq::NetworkManager
