#include <zqnetworkmanager-manager.h>

#include "zqnetworkmanager-lock.h"
#include "zqnetworkmanager-values.h"

#include <zqlog.h>
#include <zqnetworkmanager-private.h>

#include <new>

#define ZQ_LOG_COMPONENT ""
#define ZQ_LOG_FILE "zqnetworkmanager-manager"

namespace zq
{

namespace NetworkManager
{

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

} // namespace

zqError Manager::Subscribe(zqEventQueue *aQueue, zqIEventHandler *aHandler, const char *aName)
{
    CFUSharedRef<CFStringRef> lState;

    ZQ_REQUIRE(aQueue != NULL, zqError_NotFound);
    ZQ_REQUIRE(IsAvailable(), zqError_WrongState);

    zqError lReturn = zqEventPublisher::Subscribe(aQueue, aHandler, aName);
    ZQ_REQUIRE(lReturn == 0, lReturn);

    {
        // Enqueued under the lock: an update that comes later is enqueued behind it.
        ScopedLock lLock(lOpaquePropertyLock.uOpaque);
        ZQ_REQUIRE(mProperties != NULL, zqError_WrongState);

        const auto lProperties = CopySnapshotLocked(mProperties, lState);
        ZQ_REQUIRE(lProperties != NULL, zqError_NoResources);

        lReturn = Private::BroadcastPropertiesChanged(aHandler, *aQueue, this, lProperties.Get());
    }

    ZQ_REQUIRE(lReturn == 0, lReturn);

    if (lState != nullptr)
    {
        lReturn = Private::BroadcastStateChanged(aHandler, *aQueue, this, lState.Get());
        ZQ_REQUIRE(lReturn == 0, lReturn);
    }

    if (!mServices.IsEmpty())
    {
        zqRefObjectArray<Service> lServices;

        lReturn = GetServices(lServices);
        ZQ_REQUIRE(lReturn == 0, lReturn);

        lReturn = Private::BroadcastObjectsChanged<Service, Event::ServicesAdded>(aHandler, *aQueue, this, lServices);
        ZQ_REQUIRE(lReturn == 0, lReturn);
    }

    if (!mTechnologies.IsEmpty())
    {
        zqRefObjectArray<Technology> lTechnologies;

        lReturn = GetTechnologies(lTechnologies);
        ZQ_REQUIRE(lReturn == 0, lReturn);

        lReturn = Private::BroadcastObjectsChanged<Technology, Event::TechnologiesAdded>(aHandler, *aQueue, this,
                                                                                         lTechnologies);
        ZQ_REQUIRE(lReturn == 0, lReturn);
    }

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

} // namespace NetworkManager

} // namespace zq
