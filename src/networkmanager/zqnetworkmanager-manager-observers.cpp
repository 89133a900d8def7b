/**
 *  @file
 *    Observers and subscribers: how they come and go, and what they are told of the
 *    present state.
 */

#include <zqnetworkmanager-manager.h>

#include "zqnetworkmanager-lock.h"
#include "zqnetworkmanager-values.h"

#include <zqlog.h>
#include <zqnetworkmanager-private.h>

#include <new>

#define ZQ_LOG_COMPONENT ""
#define ZQ_LOG_FILE "zqnetworkmanager-manager"

namespace zq::NetworkManager
{

using Private::LockOf;
using Private::ScopedLock;

namespace
{

// Who is told of the present state gets a copy of the properties: the manager's
// own dictionary changes on the loop's thread, and the receiver reads on its own.
CFUSharedRef<CFDictionaryRef> CopySnapshotLocked(CFDictionaryRef aProperties, CFUSharedRef<CFStringRef> &aState)
{
    aState = CFURetain(Private::GetString(aProperties, kManagerPropertyState));

    return CFUAdopt(CFDictionaryCreateCopy(kCFAllocatorDefault, aProperties));
}

/** Tell one subscriber every object of a list, if there are any. */
template <typename T, typename Event>
zqError Replay(const ObjectList &aList, zqIEventHandler *aHandler, zqEventQueue &aQueue, Manager *aManager)
{
    const LockOf<ObjectList> lLock(aList);
    zqRefObjectArray<T>      lObjects;
    zqError                  lReturn = aList.CreateCopyAsArrayLocked(lObjects);

    if (lReturn == zqError_None && !lObjects.IsEmpty())
        lReturn = Private::BroadcastObjectsChanged<T, Event>(aHandler, aQueue, aManager, lObjects);

    (void)ZQ_CHECK(lReturn == 0);

    return lReturn;
}

} // namespace

// Why a subscriber ends with the true model: that changes under the lock of what
// changes, and is told of afterwards, all by one thread; so it has all that was
// told. Each snapshot is enqueued in the hold of that lock in which it is taken,
// on a queue that is subscribed already. What stands before it in the queue is
// therefore in it, and what it lacks follows it. At most one change is in it and
// follows it, too: the one that was about to be told, which then changes nothing.
// The observer lock would do without this, but a callback that subscribes holds
// it.

zqError Manager::Subscribe(zqEventQueue *aQueue, zqIEventHandler *aHandler, const char *aName)
{
    ZQ_REQUIRE(aQueue != NULL, zqError_NotFound);
    ZQ_REQUIRE(IsAvailable(), zqError_WrongState);

    zqError lReturn = zqEventPublisher::Subscribe(aQueue, aHandler, aName);
    ZQ_REQUIRE(lReturn == 0, lReturn);

    lReturn = ReplayProperties(aHandler, *aQueue);

    if (lReturn == zqError_None)
        lReturn = Replay<Service, Event::ServicesAdded>(mServices, aHandler, *aQueue, this);
    if (lReturn == zqError_None)
        lReturn = Replay<Technology, Event::TechnologiesAdded>(mTechnologies, aHandler, *aQueue, this);

    return lReturn;
}

zqError Manager::ReplayProperties(zqIEventHandler *aHandler, zqEventQueue &aQueue)
{
    CFUSharedRef<CFStringRef> lState;
    ScopedLock                lLock(lOpaquePropertyLock.uOpaque);
    ZQ_REQUIRE(mProperties != NULL, zqError_WrongState);

    const auto lProperties = CopySnapshotLocked(mProperties, lState);
    ZQ_REQUIRE(lProperties != NULL, zqError_NoResources);

    zqError lReturn = Private::BroadcastPropertiesChanged(aHandler, aQueue, this, lProperties.Get());

    if (lReturn == zqError_None && lState != nullptr)
        lReturn = Private::BroadcastStateChanged(aHandler, aQueue, this, lState.Get());

    (void)ZQ_CHECK(lReturn == 0);

    return lReturn;
}

zqError Manager::AddObserver(Observer::Base *aObserver)
{
    bool lAdded = false;

    ZQ_REQUIRE(aObserver != NULL, zqError_InvalidArgument);

    ScopedLock lLock(lOpaqueLock.uOpaque);

    try
    {
        lAdded = mObservers.insert(aObserver).second;
    }
    catch (const std::bad_alloc &)
    {
        return zqError_OutOfMemory;
    }

    ZQ_LOG(zqLogLevel_Information, ": %ssuccessfully added observer %p", lAdded ? "" : "un",
           static_cast<void *>(aObserver));

    return lAdded ? Notify(aObserver) : zqError_AlreadyPresent;
}

zqError Manager::RemoveObserver(Observer::Base *aObserver)
{
    ZQ_REQUIRE(aObserver != NULL, zqError_InvalidArgument);

    ScopedLock lLock(lOpaqueLock.uOpaque);

    return mObservers.erase(aObserver) != 0 ? zqError_None : zqError_NotFound;
}

zqError Manager::Notify(Observer::Base *aObserver)
{
    CFUSharedRef<CFDictionaryRef> lProperties;
    CFUSharedRef<CFStringRef>     lState;
    zqError                       lReturn = zqError_None;

    ZQ_REQUIRE(aObserver != NULL, zqError_InvalidArgument);

    {
        ScopedLock lLock(lOpaquePropertyLock.uOpaque);
        ZQ_REQUIRE(mProperties != NULL, zqError_WrongState);

        lProperties = CopySnapshotLocked(mProperties, lState);
        ZQ_REQUIRE(lProperties != NULL, zqError_NoResources);
    }

    aObserver->PropertiesChanged(this, lProperties.Get());

    if (lState != nullptr)
        aObserver->StateChanged(this, lState.Get());

    if (!mServices.IsEmpty())
    {
        zqRefObjectArray<Service> lServices;

        lReturn = GetServices(lServices);
        ZQ_REQUIRE(lReturn == 0, lReturn);

        aObserver->ServicesAdded(this, lServices);
    }

    if (!mTechnologies.IsEmpty())
    {
        zqRefObjectArray<Technology> lTechnologies;

        lReturn = GetTechnologies(lTechnologies);
        ZQ_REQUIRE(lReturn == 0, lReturn);

        aObserver->TechnologiesAdded(this, lTechnologies);
    }

    return lReturn;
}

} // namespace zq::NetworkManager
