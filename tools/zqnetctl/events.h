/**
 *  @file
 *    The model's events and objects as JSON.
 */

#ifndef ZQNETCTL_EVENTS_H
#define ZQNETCTL_EVENTS_H

#include "json.h"

#include <zqnetworkmanager.h>

#include <functional>
#include <memory>

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

    for (const T *lObject : anArray)
        lArray.push_back(ToJson(*lObject));
    return lArray;
}

using Receiver = std::function<void(Json anEvent)>;

/**
 *  Turns every callback into {"event": NAME, …}, where NAME is the name of the
 *  event's class, and hands it on, on the thread that called.
 */
std::unique_ptr<zq::NetworkManager::Observer::Base> NewEventReporter(Receiver aReceiver);

} // namespace zqnetctl

#endif // ZQNETCTL_EVENTS_H
