/**
 *  @file
 *    The model's events and objects as JSON.
 */

#ifndef ZQNETCTL_EVENTS_H
#define ZQNETCTL_EVENTS_H

#include "json.h"

#include <zqnetworkmanager.h>

#include <functional>
#include <initializer_list>
#include <utility>

namespace zqnetctl
{

using zq::NetworkManager::Manager;
using zq::NetworkManager::Object;
using zq::NetworkManager::Provision;
using zq::NetworkManager::Service;
using zq::NetworkManager::Technology;

/** An object's path; null for none. */
Json ToPath(const Object *anObject);

/** {"path": …, "properties": {…}} */
Json ToJson(const Object &anObject);

/** An array of those. */
template <typename T>
Json ToJson(const zqRefObjectArray<T> &anArray)
{
    Json lArray = Json::array();

    for (int lIndex = 0; lIndex < anArray.GetNumElements(); lIndex++)
        lArray.push_back(ToJson(*anArray.GetElementPtr(lIndex)));
    return lArray;
}

/**
 *  Turns every callback into {"event": NAME, …}, where NAME is the name of the
 *  event's class, and hands it on, on the thread that called.
 */
class EventReporter : public zq::NetworkManager::Observer::Base
{
public:
    using Receiver = std::function<void(Json anEvent)>;

    explicit EventReporter(Receiver aReceiver) : mReceiver(std::move(aReceiver)) {}

    void    StateChanged(Manager *aManager, CFStringRef aState) override;
    void    PropertiesChanged(Manager *aManager, CFDictionaryRef aProperties) override;
    void    ServicesAdded(Manager *aManager, const zqRefObjectArray<Service> &aServices) override;
    void    ServicesRemoved(Manager *aManager, const zqRefObjectArray<Service> &aServices) override;
    void    ServiceChanged(Manager *aManager, Service *aService, CFDictionaryRef aChanged) override;
    zqError ServiceInput(Manager *aManager, Service *aService, CFDictionaryRef aFields) override;
    void    ServiceError(Manager *aManager, Service *aService, CFStringRef anError) override;
    void    ServiceDidConnect(Manager *aManager, Service *aService) override;
    void    ServiceDidNotConnect(Manager *aManager, Service *aService, zqError anError) override;
    void    ServiceIsOnline(Manager *aManager, Service *aService) override;
    void    ServiceIsNotOnline(Manager *aManager, Service *aService, zqError anError) override;
    void    ServiceIsWaking(Manager *aManager, Service *aService, unsigned char aReason) override;
    void    ServiceDidWake(Manager *aManager, Service *aService, unsigned char aReason) override;
    void    ServiceDidNotWake(Manager *aManager, Service *aService, zqError anError) override;
    void    TechnologiesAdded(Manager *aManager, const zqRefObjectArray<Technology> &aTechnologies) override;
    void    TechnologiesRemoved(Manager *aManager, const zqRefObjectArray<Technology> &aTechnologies) override;
    void    TechnologyChanged(Manager *aManager, Technology *aTechnology, CFDictionaryRef aChanged) override;
    void    TechnologyDidScan(Manager *aManager, Technology *aTechnology) override;
    void    TechnologyDidNotScan(Manager *aManager, Technology *aTechnology, zqError anError) override;
    void    DidPrepareForSleep(Manager *aManager) override;
    void    DidNotPrepareForSleep(Manager *aManager, zqError anError) override;

private:
    void Report(const char *aName, std::initializer_list<std::pair<const char *, Json>> aPayload = {});

    Receiver mReceiver;
};

} // namespace zqnetctl

#endif // ZQNETCTL_EVENTS_H
