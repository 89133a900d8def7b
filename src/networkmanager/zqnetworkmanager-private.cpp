#include <zqnetworkmanager-private.h>

namespace zq::NetworkManager::Private
{

template zqError BroadcastObjectsChanged<Service, Event::ServicesAdded>(zqIEventHandler *, zqEventQueue &, Manager *,
                                                                        const zqRefObjectArray<Service> &);
template zqError BroadcastObjectsChanged<Technology, Event::TechnologiesAdded>(zqIEventHandler *, zqEventQueue &,
                                                                               Manager *,
                                                                               const zqRefObjectArray<Technology> &);

zqError BroadcastDidPrepareForSleep(zqIEventHandler *aHandler, zqEventQueue &aQueue, Manager *aManager)
{
    return Broadcast<Event::DidPrepareForSleep>(aHandler, aQueue, aManager);
}

zqError BroadcastDidNotPrepareForSleep(zqIEventHandler *aHandler, zqEventQueue &aQueue, Manager *aManager,
                                       zqError anError)
{
    return Broadcast<Event::DidNotPrepareForSleep>(aHandler, aQueue, aManager, anError);
}

zqError BroadcastStateChanged(zqIEventHandler *aHandler, zqEventQueue &aQueue, Manager *aManager, CFStringRef aState)
{
    return Broadcast<Event::StateChanged>(aHandler, aQueue, aManager, aState);
}

zqError BroadcastPropertiesChanged(zqIEventHandler *aHandler, zqEventQueue &aQueue, Manager *aManager,
                                   CFDictionaryRef aProperties)
{
    return Broadcast<Event::PropertiesChanged>(aHandler, aQueue, aManager, aProperties);
}

zqError BroadcastServiceInput(zqIEventHandler *aHandler, zqEventQueue &aQueue, Manager *aManager, Service *aService,
                              CFDictionaryRef aFields)
{
    return Broadcast<Event::ServiceInput>(aHandler, aQueue, aManager, aService, aFields);
}

zqError BroadcastServiceError(zqIEventHandler *aHandler, zqEventQueue &aQueue, Manager *aManager, Service *aService,
                              CFStringRef anError)
{
    return Broadcast<Event::ServiceError>(aHandler, aQueue, aManager, aService, anError);
}

} // namespace zq::NetworkManager::Private
