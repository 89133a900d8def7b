/**
 *  @file
 *    Building one event and enqueuing it on one queue: what a manager does for
 *    each of its subscribers. Of use to subclasses of the manager; applications
 *    subscribe.
 */

#ifndef ZQNETWORKMANAGER_PRIVATE_H
#define ZQNETWORKMANAGER_PRIVATE_H

#include <zqevent.h>
#include <zqlog.h>
#include <zqnetworkmanager-event.h>

#include <new>

namespace zq::NetworkManager::Private
{

/**
 *  Make an event, give it its payload and enqueue it.
 *
 *  @param[in]  aHandler  Whom the event is for.
 *  @param[in]  aQueue    Where it is enqueued; the queue takes a reference.
 *
 *  @retval   0
 *  @retval  -7  The event could not be allocated.
 *  @returns what the event's Init or the queue fails with otherwise.
 */
template <typename Event, typename... Payload>
zqError Broadcast(zqIEventHandler *aHandler, zqEventQueue &aQueue, Manager *aManager, Payload... aPayload)
{
    zqSharedPtr<Event> theEvent(new (std::nothrow) Event);

    if (theEvent == nullptr)
    {
        zqLogAssertion("", "theEvent != 0", "", "zqnetworkmanager-private", __LINE__);
        return zqError_NoResources;
    }

    zqError lReturn = theEvent->Init(aManager, aPayload...);

    if (lReturn == zqError_None)
        lReturn = aQueue.Enqueue(theEvent.Get(), aHandler);

    return lReturn;
}

/** Broadcast an event that carries an array of objects. @retval as Broadcast. */
template <typename Object, typename Event>
zqError BroadcastObjectsChanged(zqIEventHandler *aHandler, zqEventQueue &aQueue, Manager *aManager,
                                const zqRefObjectArray<Object> &anObjects)
{
    return Broadcast<Event, const zqRefObjectArray<Object> &>(aHandler, aQueue, aManager, anObjects);
}

extern template ZQ_EXPORT zqError BroadcastObjectsChanged<Service, Event::ServicesAdded>(
    zqIEventHandler *, zqEventQueue &, Manager *, const zqRefObjectArray<Service> &);
extern template ZQ_EXPORT zqError BroadcastObjectsChanged<Technology, Event::TechnologiesAdded>(
    zqIEventHandler *, zqEventQueue &, Manager *, const zqRefObjectArray<Technology> &);

// Each as Broadcast, for one event. The manager itself uses those of its replay.

ZQ_EXPORT zqError BroadcastDidPrepareForSleep(zqIEventHandler *aHandler, zqEventQueue &aQueue, Manager *aManager);
ZQ_EXPORT zqError BroadcastDidNotPrepareForSleep(zqIEventHandler *aHandler, zqEventQueue &aQueue, Manager *aManager,
                                                 zqError anError);
ZQ_EXPORT zqError BroadcastStateChanged(zqIEventHandler *aHandler, zqEventQueue &aQueue, Manager *aManager,
                                        CFStringRef aState);
ZQ_EXPORT zqError BroadcastPropertiesChanged(zqIEventHandler *aHandler, zqEventQueue &aQueue, Manager *aManager,
                                             CFDictionaryRef aProperties);
ZQ_EXPORT zqError BroadcastServiceInput(zqIEventHandler *aHandler, zqEventQueue &aQueue, Manager *aManager,
                                        Service *aService, CFDictionaryRef aFields);
ZQ_EXPORT zqError BroadcastServiceError(zqIEventHandler *aHandler, zqEventQueue &aQueue, Manager *aManager,
                                        Service *aService, CFStringRef anError);

} // namespace zq::NetworkManager::Private

#endif // ZQNETWORKMANAGER_PRIVATE_H
