/**
 *  @file
 *    The controller's life, and its powered and connected states.
 */

#include <zqnetwork-connectivity.h>

#include <zqlog.h>
#include <zqnetworkmanager-utilities.h>
#include <zqshared-lock.h>

#include <new>

#define ZQ_LOG_COMPONENT "network-connectivity"
#define ZQ_LOG_FILE "zqnetwork-connectivity"

using namespace zq::NetworkManager;

namespace
{

/** How many failures in a row are told apart in the log. */
const uint32_t kMostFailures = 3;

const char *GetNegation(bool aValue)
{
    return aValue ? "" : "not ";
}

zqError Send(zqIEventHandler *aHandler, zqEventQueue *aQueue, void *anEvent)
{
    return aQueue->Enqueue(static_cast<zqEvent *>(anEvent), aHandler);
}

} // namespace

zqNetworkConnectivity::zqNetworkConnectivity() noexcept
    : mLock(nullptr), mManager(nullptr), mEventQueue(nullptr), mCurrentPowered(false), mFailureCounter(0)
{
}

zqNetworkConnectivity::~zqNetworkConnectivity()
{
    Destroy();
}

zqError zqNetworkConnectivity::Init(Manager *aManager, zqEventQueue *aQueue, const zqStringArray &aTechnologies)
{
    ZQ_REQUIRE(mLock == NULL, zqError_WrongState);
    ZQ_REQUIRE(aManager != NULL, zqError_InvalidArgument);
    ZQ_REQUIRE(aQueue != NULL, zqError_InvalidArgument);

    mLock = PR_NewLock();
    ZQ_REQUIRE(mLock != NULL, zqError_NoResources);

    mManager    = aManager;
    mEventQueue = aQueue;

    zqError retval = mTechnologies.Copy(aTechnologies);

    if (retval == zqError_None)
    {
        (void)ZQ_CHECK(!mTechnologies.IsEmpty());
        retval = zqEventPublisher::Init("network-connectivity");
    }

    if (retval == zqError_None)
        retval = Refresh();

    if (retval == zqError_None)
        retval = Start();

    if (!ZQ_CHECK(retval == 0))
        Destroy();

    return retval;
}

zqError zqNetworkConnectivity::Start()
{
    zqError lReturn = zqError_None;

    ZQ_REQUIRE(mLock != NULL, zqError_WrongState);

    for (int i = 0, lCount = mTechnologies.GetNumElements(); i < lCount; i++)
    {
        const zqString          lType = mTechnologies.GetElement(i);
        zqSharedPtr<Technology> lTechnology;

        if (mManager->ManagerLookupTechnology(CFURetain(lType.GetAsCFString()), lTechnology) != zqError_None)
            continue;

        const zqError lError = CheckTechnologyConnectedServices(*lTechnology);

        if (lReturn == zqError_None)
            lReturn = lError;
    }

    return lReturn;
}

zqError zqNetworkConnectivity::Subscribe(zqEventQueue *aQueue, zqIEventHandler *aHandler, const char *aName)
{
    return zqEventPublisher::Subscribe(aQueue, aHandler, aName);
}

void zqNetworkConnectivity::Destroy()
{
    if (mLock == nullptr)
        return;

    // In this order: what was published before the first step is dropped by the second.
    (void)mManager->Unsubscribe(mEventQueue, this);
    mEventQueue->Remove(this);
    zqEventPublisher::Destroy();

    PR_DestroyLock(mLock);
    mLock             = nullptr;
    mManager          = nullptr;
    mEventQueue       = nullptr;
    mCurrentConnected = zqTribool();
    mDesiredPowered   = zqTribool();
    mCurrentPowered   = false;
    mFailureCounter   = 0;
    mTechnologies.Clear();
}

bool zqNetworkConnectivity::IsConnected() const
{
    ZQ_REQUIRE(mLock != NULL, false);

    const zq::Shared::ScopedLock lLock(mLock);

    return mCurrentConnected.IsTrue();
}

bool zqNetworkConnectivity::IsPowered() const
{
    ZQ_REQUIRE(mLock != NULL, false);

    const zq::Shared::ScopedLock lLock(mLock);

    return mCurrentPowered;
}

void zqNetworkConnectivity::SetCurrentPoweredState(bool aPowered)
{
    ZQ_LOG(zqLogLevel_Detail, "network-connectivity: Updating powered to %spowered", GetNegation(aPowered));

    mCurrentPowered = aPowered;
}

void zqNetworkConnectivity::SetCurrentConnectedState(bool aConnected)
{
    ZQ_LOG(zqLogLevel_Detail, "network-connectivity: Updating connected to %s",
           aConnected ? "connected" : "disconnected");

    mCurrentConnected = aConnected;
}

zqError zqNetworkConnectivity::SetPowered(bool aPowered)
{
    zqError retval = zqError_None;

    ZQ_REQUIRE(mLock != NULL, zqError_WrongState);

    {
        const zq::Shared::ScopedLock lLock(mLock);

        ZQ_LOG(zqLogLevel_Information, "network-connectivity: Setting desired powered state to %spowered",
               GetNegation(aPowered));
        mDesiredPowered = aPowered;
        retval          = CheckAndApplyPoweredLocked();
    }

    ZQ_REQUIRE(retval == 0, retval);

    retval = Refresh();
    (void)ZQ_CHECK(retval == 0);

    return retval;
}

zqError zqNetworkConnectivity::CheckAndApplyPoweredLocked()
{
    if (mDesiredPowered.IsIndeterminate() || mDesiredPowered == mCurrentPowered)
        return zqError_None;

    const bool lPowered = mDesiredPowered.IsTrue();

    ZQ_LOG(zqLogLevel_Detail, "network-connectivity: Applying desired powered state of %spowered",
           GetNegation(lPowered));

    if (!ZQ_CHECK(!mTechnologies.IsEmpty()))
    {
        ZQ_LOG(zqLogLevel_Error, "network-connectivity: No connectivity technologies");
        return zqError_NotConfigured;
    }

    for (int i = 0, lCount = mTechnologies.GetNumElements(); i < lCount; i++)
    {
        const zqError retval = ApplyPoweredLocked(mTechnologies.GetElement(i), lPowered);
        ZQ_REQUIRE(retval == 0, retval);
    }

    return zqError_None;
}

zqError zqNetworkConnectivity::ApplyPoweredLocked(const zqString &aType, bool aPowered)
{
    if (mManager->WillNetworkResetRemoveTechnology(aType))
        return zqError_None;

    const zqError lError = Utilities::SetTechnologyEnabled(mManager, CFURetain(aType.GetAsCFString()), aPowered);

    if (lError == zqError_Already)
    {
        ZQ_LOG(zqLogLevel_Information, "network-connectivity: Technology already in desired state");
        SetCurrentPoweredState(aPowered);
    }

    if (lError == zqError_None || lError == zqError_Already)
    {
        mFailureCounter = 0;
        return zqError_None;
    }

    mFailureCounter++;
    ZQ_LOG(zqLogLevel_Notice, "network-connectivity: Failed to apply powered back to back %u times, with error %d",
           mFailureCounter, lError);
    SetCurrentConnectedState(false);
    SetCurrentPoweredState(false);

    if (mFailureCounter >= kMostFailures)
        mFailureCounter = 0;

    return lError;
}

zqError zqNetworkConnectivity::Refresh()
{
    const zqError lReturn = RecalculatePowered(false);

    return lReturn == zqError_None ? RecalculateConnected() : lReturn;
}

zqError zqNetworkConnectivity::RecalculatePowered(bool anApply)
{
    bool    lPowered = false;
    zqError retval   = zqError_None;

    ZQ_REQUIRE(mLock != NULL, zqError_WrongState);

    const zq::Shared::ScopedLock lLock(mLock);

    for (int i = 0, lCount = mTechnologies.GetNumElements(); i < lCount && !lPowered; i++)
        lPowered = Utilities::GetTechnologyEnabled(mManager, CFURetain(mTechnologies.GetElement(i).GetAsCFString()));

    SetCurrentPoweredState(lPowered);

    if (anApply)
        retval = CheckAndApplyPoweredLocked();
    (void)ZQ_CHECK(retval == 0);

    return retval;
}

zqError zqNetworkConnectivity::RecalculateConnected()
{
    const zqSharedPtr<zqNetworkEvent::Connected> lEvent(new (std::nothrow) zqNetworkEvent::Connected);
    zqStringArray                                lTechnologies;

    ZQ_REQUIRE(mLock != NULL, zqError_WrongState);
    ZQ_REQUIRE(lEvent != NULL, zqError_OutOfMemory);

    {
        const zq::Shared::ScopedLock lLock(mLock);

        for (int i = 0, lCount = mTechnologies.GetNumElements(); i < lCount; i++)
        {
            const zqString lType = mTechnologies.GetElement(i);

            if (!Utilities::GetTechnologyConnected(mManager, CFURetain(lType.GetAsCFString())))
                continue;

            const zqError retval = lTechnologies.Append(lType);
            ZQ_REQUIRE(retval == 0, retval);
        }

        // First the event: a state that nobody could be told of is a change still, the next time.
        const bool    lConnected = !lTechnologies.IsEmpty();
        const zqError retval     = lEvent->Init(lConnected, mCurrentConnected != lConnected, lTechnologies);
        ZQ_REQUIRE(retval == 0, retval);

        SetCurrentConnectedState(lConnected);
    }

    Post(*lEvent);
    return zqError_None;
}

/** A receiver that cannot be served does not undo what was found out. */
void zqNetworkConnectivity::Post(zqEvent &anEvent)
{
    zqError retval = mEventQueue->Enqueue(&anEvent, nullptr);
    (void)ZQ_CHECK(retval == 0);

    retval = Publish(Send, &anEvent);
    (void)ZQ_CHECK(retval == 0);
}
