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

    if (lReturn != 0)
        zqEventPublisher::Destroy();

    return lReturn;
}

zqError Manager::InitModel(zqEventQueue *aQueue, CFMutableDictionaryRef aProperties)
{
    Resources lResources;
    zqError   lReturn = InitResources(lResources, aQueue, aProperties);

    if (lReturn == 0)
        lReturn = InitLists();

    if (lReturn != 0)
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

    aResources.mEventQueue.reset(new (std::nothrow) zqEventQueue);
    if (!ZQ_CHECK_TEXT(aResources.mEventQueue != NULL, "lEventQueue != __null"))
        return zqError_NoResources;

    const zqError lReturn = aResources.mEventQueue->Init();
    ZQ_REQUIRE(lReturn == 0, lReturn);

    if (aQueue != nullptr)
    {
        aResources.mHBClient.reset(new (std::nothrow)
                                       zqHeartBeatClient(aResources.mEventQueue.get(), aQueue, "", kHeartBeatPeriod));
        if (!ZQ_CHECK_TEXT(aResources.mHBClient != NULL, "lHBClient != __null"))
            return zqError_NoResources;
    }

    aResources.mPropertyLock.reset(PR_NewLock());
    if (!ZQ_CHECK_TEXT(aResources.mPropertyLock != NULL, "lOpaquePropertyLock.uOpaque != __null"))
        return zqError_NoResources;

    if (aProperties != nullptr)
        aResources.mProperties = CFURetain(aProperties);
    else
        aResources.mProperties = CFUAdopt(CFDictionaryCreateMutable(
            kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));

    return ZQ_CHECK_TEXT(aResources.mProperties != NULL, "lProperties != __null") ? zqError_None : zqError_NoResources;
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

    if (lReturn == 0)
    {
        const std::lock_guard<std::mutex> lGuard(mNetworkResetLock);

        mTechnologiesNetworkResetWillRemove.Clear();
        if (!ZQ_CHECK(mTechnologiesNetworkResetWillRemove.IsEmpty()))
            lReturn = zqError_Failed;
    }

    while (lReturn != 0 && lDone > 0)
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
    if (lOpaqueLock.uOpaque != nullptr)
        PR_Lock(lOpaqueLock.uOpaque);
}

void Manager::Unlock() const
{
    if (lOpaqueLock.uOpaque != nullptr)
        (void)PR_Unlock(lOpaqueLock.uOpaque);
}

void Manager::LockProperties() const
{
    if (lOpaquePropertyLock.uOpaque != nullptr)
        PR_Lock(lOpaquePropertyLock.uOpaque);
}

void Manager::UnlockProperties() const
{
    if (lOpaquePropertyLock.uOpaque != nullptr)
        (void)PR_Unlock(lOpaquePropertyLock.uOpaque);
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
