/**
 *  @file
 *    How a manager comes and goes: what Init makes and Destroy undoes, its locks, and the
 *    names that a network reset removes.
 */

#include <zqnetworkmanager-manager.h>

#include "zqnetworkmanager-lock.h"
#include "zqnetworkmanager-values.h"

#include <zqlog.h>
#include <zqnetworkmanager-private.h>

#include <memory>
#include <new>

#define ZQ_LOG_COMPONENT ""
#define ZQ_LOG_FILE "zqnetworkmanager-manager"

namespace zq::NetworkManager
{

using Private::ScopedLock;

namespace
{

// The longest time in seconds between two beats of the run loop.
const int kHeartBeatPeriod = 20;

struct LockDestroyer
{
    void operator()(PRLock *aLock) const { PR_DestroyLock(aLock); }
};

using UniqueLock = std::unique_ptr<PRLock, LockDestroyer>;

} // namespace

// What Init makes. Until it is handed over to the manager it goes in the
// reverse order of its making, as fields do.
struct Manager::Resources
{
    UniqueLock                           mLock;
    std::unique_ptr<zqEventQueue>        mEventQueue;
    std::unique_ptr<zqHeartBeatClient>   mHBClient;
    UniqueLock                           mPropertyLock;
    CFUSharedRef<CFMutableDictionaryRef> mProperties;
};

Manager::Manager()
    : lOpaqueLock{ nullptr }, mEventQueue(nullptr), lHBClient(nullptr), lOpaquePropertyLock{ nullptr },
      mProperties(nullptr)
{
}

Manager::~Manager()
{
    Destroy();
}

zqError Manager::Init(zqEventQueue *aQueue, CFMutableDictionaryRef aProperties)
{
    zqError lReturn = zqEventPublisher::Init("");
    ZQ_REQUIRE(lReturn == 0, lReturn);

    lReturn = InitModel(aQueue, aProperties);

    if (lReturn != zqError_None)
        zqEventPublisher::Destroy();

    return lReturn;
}

zqError Manager::InitModel(zqEventQueue *aQueue, CFMutableDictionaryRef aProperties)
{
    Resources lResources;
    zqError   lReturn = InitResources(lResources, aQueue, aProperties);

    if (lReturn == zqError_None)
        lReturn = InitLists();

    if (lReturn != zqError_None)
        return lReturn;

    lOpaqueLock.uOpaque         = lResources.mLock.release();
    mEventQueue                 = lResources.mEventQueue.release();
    lHBClient                   = lResources.mHBClient.release();
    lOpaquePropertyLock.uOpaque = lResources.mPropertyLock.release();
    mProperties                 = lResources.mProperties.Leak();

    return zqError_None;
}

zqError Manager::InitResources(Resources &aResources, zqEventQueue *aQueue, CFMutableDictionaryRef aProperties)
{
    aResources.mLock.reset(PR_NewLock());
    if (!ZQ_CHECK_TEXT(aResources.mLock != NULL, "lOpaqueLock.uOpaque != __null"))
        return zqError_NoResources;

    std::unique_ptr<zqEventQueue> lEventQueue(new (std::nothrow) zqEventQueue);
    ZQ_REQUIRE(lEventQueue != NULL, zqError_NoResources);

    const zqError lReturn = lEventQueue->Init();
    ZQ_REQUIRE(lReturn == 0, lReturn);

    aResources.mEventQueue = std::move(lEventQueue);

    if (aQueue != nullptr)
    {
        std::unique_ptr<zqHeartBeatClient> lHBClient(
            new (std::nothrow) zqHeartBeatClient(aResources.mEventQueue.get(), aQueue, "", kHeartBeatPeriod));
        ZQ_REQUIRE(lHBClient != NULL, zqError_NoResources);

        aResources.mHBClient = std::move(lHBClient);
    }

    aResources.mPropertyLock.reset(PR_NewLock());
    if (!ZQ_CHECK_TEXT(aResources.mPropertyLock != NULL, "lOpaquePropertyLock.uOpaque != __null"))
        return zqError_NoResources;

    const auto lProperties = aProperties != nullptr ? CFURetain(aProperties) : Shared::MakeDictionary();
    ZQ_REQUIRE(lProperties != NULL, zqError_NoResources);

    aResources.mProperties = lProperties;

    return zqError_None;
}

zqError Manager::InitLists()
{
    ObjectList *const lLists[] = { &mProvisions, &mServices, &mTechnologies };
    zqError           lReturn  = zqError_None;
    int               lDone    = 0;

    for (ObjectList *lList : lLists)
    {
        lList->Destroy(); // the manager's own leaves it, empty
        lReturn = lList->Init();
        if (!ZQ_CHECK(lReturn == 0))
            break;
        lDone++;
    }

    if (lReturn == zqError_None)
    {
        const std::lock_guard<std::mutex> lGuard(mNetworkResetLock);

        mTechnologiesNetworkResetWillRemove.Clear();
        if (!ZQ_CHECK(mTechnologiesNetworkResetWillRemove.IsEmpty()))
            lReturn = zqError_Failed;
    }

    while (lReturn != zqError_None && lDone > 0)
        lLists[--lDone]->Destroy();

    return lReturn;
}

void Manager::Destroy()
{
    if (lOpaqueLock.uOpaque != nullptr)
    {
        std::unique_ptr<zqHeartBeatClient> lClient;
        std::unique_ptr<zqEventQueue>      lQueue; // goes before the client

        {
            ScopedLock lLock(lOpaqueLock.uOpaque);

            {
                const std::lock_guard<std::mutex> lGuard(mNetworkResetLock);
                mTechnologiesNetworkResetWillRemove.Clear();
            }

            (void)mTechnologies.Clear();
            (void)mServices.Clear();
            (void)mProvisions.Clear();

            ScopedLock lPropertyLock(lOpaquePropertyLock.uOpaque);

            CFURelease(std::exchange(mProperties, nullptr));
            lQueue.reset(std::exchange(mEventQueue, nullptr));
            lClient.reset(std::exchange(lHBClient, nullptr));
            mObservers.clear();
        }

        PR_DestroyLock(std::exchange(lOpaquePropertyLock.uOpaque, nullptr));
        PR_DestroyLock(std::exchange(lOpaqueLock.uOpaque, nullptr));
    }

    // Whoever added itself before Init did so without a lock.
    mObservers.clear();

    zqEventPublisher::Destroy();
}

void Manager::Lock() const
{
    Private::Take(lOpaqueLock.uOpaque);
}

void Manager::Unlock() const
{
    Private::Give(lOpaqueLock.uOpaque);
}

void Manager::LockProperties() const
{
    Private::Take(lOpaquePropertyLock.uOpaque);
}

void Manager::UnlockProperties() const
{
    Private::Give(lOpaquePropertyLock.uOpaque);
}

bool Manager::WillNetworkResetRemoveTechnology(const zqString &aTechnology)
{
    const std::lock_guard<std::mutex> lGuard(mNetworkResetLock);

    return mTechnologiesNetworkResetWillRemove.Find(aTechnology) >= 0;
}

zqError Manager::SetNetworkResetWillRemoveTechnology(const zqString &aTechnology, bool aWillRemove)
{
    const std::lock_guard<std::mutex> lGuard(mNetworkResetLock);
    const int                         lIndex = mTechnologiesNetworkResetWillRemove.Find(aTechnology);

    if (aWillRemove)
    {
        ZQ_REQUIRE(lIndex < 0, zqError_Failed);
        return mTechnologiesNetworkResetWillRemove.Append(aTechnology);
    }

    ZQ_REQUIRE(lIndex >= 0, zqError_Failed);
    mTechnologiesNetworkResetWillRemove.RemoveAt(lIndex);

    return zqError_None;
}

} // namespace zq::NetworkManager
