/**
 *  @file
 *    The events that a manager enqueues for its subscribers.
 *
 *  An event holds references to everything that it carries, so it stays valid
 *  after its object has left the manager's lists and after the manager's own
 *  values have changed. What a getter yields is lent for the event's life. An
 *  event never changes once it is enqueued and may be read on any thread.
 *
 *  Receivers switch on zqEvent::GetType() and the classes' kType. ServiceIsWaking
 *  and ServiceDidWake share one code: tell them apart by class (dynamic_cast).
 */

#ifndef ZQNETWORKMANAGER_EVENT_H
#define ZQNETWORKMANAGER_EVENT_H

#include <zqevent.h>
#include <zqnetworkmanager-provision.h>
#include <zqnetworkmanager-service.h>
#include <zqnetworkmanager-technology.h>

#include <utility>

namespace zq::NetworkManager
{

class Manager;

namespace Event
{

/** True for an event of this file: its code is one of 0x30010001 to 0x30010015. False for null. */
ZQ_EXPORT bool IsType(const zqEvent *anEvent);

// What the events have in common. Each Init yields 0, or -3 for a second Init
// where the platform refuses one.
//
// Only the base defines its destructor out of line. The library makes every
// event, so it has the table of each; a receiver that compiles a copy of its
// own casts all the same, since the classes are exported.

/** An event of a manager. */
class ZQ_EXPORT Base : public zqEvent
{
public:
    zqError Init(unsigned int aType, Manager *aManager);

    /** The manager that raised it; not counted, so valid as long as the application keeps the manager. */
    Manager *GetManager() const { return mManager; }

protected:
    ~Base() override;

private:
    Manager *mManager = nullptr;
};

/** Objects of one kind were added or removed. */
class ZQ_EXPORT ServicesChanged : public Base
{
public:
    /** @retval 0, -2 when memory is exhausted. */
    zqError Init(unsigned int aType, Manager *aManager, const zqRefObjectArray<Service> &aServices);

    /** Replace the contents of @a aServices by the event's. @retval 0, -2 when memory is exhausted. */
    zqError GetServices(zqRefObjectArray<Service> &aServices) const;

private:
    zqRefObjectArray<Service> mServices;
};

/** @copydoc ServicesChanged */
class ZQ_EXPORT TechnologiesChanged : public Base
{
public:
    /** @retval 0, -2 when memory is exhausted. */
    zqError Init(unsigned int aType, Manager *aManager, const zqRefObjectArray<Technology> &aTechnologies);

    /** Replace the contents of @a aTechnologies by the event's. @retval 0, -2 when memory is exhausted. */
    zqError GetTechnologies(zqRefObjectArray<Technology> &aTechnologies) const;

private:
    zqRefObjectArray<Technology> mTechnologies;
};

/** Something about one object, which may be null. */
class ZQ_EXPORT ObjectBase : public Base
{
public:
    zqError Init(unsigned int aType, Manager *aManager, Object *anObject);

    Object *GetObject() const { return mObject.Get(); }

private:
    zqSharedPtr<Object> mObject;
};

/** An object's properties changed. */
class ZQ_EXPORT ObjectChanged : public ObjectBase
{
public:
    zqError Init(unsigned int aType, Manager *aManager, Object *anObject, CFDictionaryRef aProperties);

    /** The properties that were reported, or the object's whole dictionary as it was when the event was raised. */
    CFDictionaryRef GetProperties() const { return mProperties.Get(); }

private:
    CFUSharedRef<CFDictionaryRef> mProperties;
};

/** A request on an object succeeded. */
class ZQ_EXPORT ObjectDid : public ObjectBase
{
};

/** A request on an object failed. */
class ZQ_EXPORT ObjectDidNot : public ObjectBase
{
public:
    zqError Init(unsigned int aType, Manager *aManager, Object *anObject, const zqError &anError);

    zqError GetError() const { return mError; }

private:
    zqError mError = 0;
};

/** The host was woken through an object. */
class ZQ_EXPORT ObjectWake : public ObjectDid
{
public:
    zqError Init(unsigned int aType, Manager *aManager, Object *anObject, int aReason);

    /** The radio's reason, whole (observers get its low 8 bits). */
    int GetReason() const { return mReason; }

private:
    int mReason = 0;
};

/** What turns one of the classes above into an event: its code. */
template <typename Parent, unsigned int Code>
class Typed : public Parent
{
public:
    static constexpr unsigned int kType = Code;

    /** The arguments of the parent's Init without the code. */
    template <typename... Payload>
    zqError Init(Manager *aManager, Payload &&...aPayload)
    {
        return Parent::Init(Code, aManager, std::forward<Payload>(aPayload)...);
    }
};

/** An event about a service. */
template <typename Parent, unsigned int Code>
class TypedService : public Typed<Parent, Code>
{
public:
    /** May be null. */
    Service *GetService() const { return static_cast<Service *>(this->GetObject()); }
};

/** An event about a technology. */
template <typename Parent, unsigned int Code>
class TypedTechnology : public Typed<Parent, Code>
{
public:
    /** May be null. */
    Technology *GetTechnology() const { return static_cast<Technology *>(this->GetObject()); }
};

// The events themselves: when each is raised, and what it carries

/** The manager's state changed; also part of the replay to a new subscriber, when the state is known. */
class ZQ_EXPORT StateChanged : public Base
{
public:
    static constexpr unsigned int kType = 0x30010001;

    zqError Init(Manager *aManager, CFStringRef aState);

    /** A kManagerState*. */
    CFStringRef GetState() const { return mState.Get(); }

private:
    CFUSharedRef<CFStringRef> mState;
};

/** Properties of the manager changed, or the connection manager refused one that was set; also first in the replay to
 * a new subscriber. */
class ZQ_EXPORT PropertiesChanged : public Base
{
public:
    static constexpr unsigned int kType = 0x30010002;

    zqError Init(Manager *aManager, CFDictionaryRef aProperties);

    /** Those that were reported; in the replay to a new subscriber all that the manager has at that time. */
    CFDictionaryRef GetProperties() const { return mProperties.Get(); }

private:
    CFUSharedRef<CFDictionaryRef> mProperties;
};

/** Services came into the manager's list: new ones of a report, or all that it has, in the replay to a new
 * subscriber. Carries them, in the report's order. */
class ZQ_EXPORT ServicesAdded : public Typed<ServicesChanged, 0x30010003>
{
};

/** Services left the manager's list. Carries them; the application may keep them. */
class ZQ_EXPORT ServicesRemoved : public Typed<ServicesChanged, 0x30010004>
{
};

/** A service was refreshed. Carries it and the properties that were reported; where it was fetched anew, all that it
 * has. */
class ZQ_EXPORT ServiceChanged : public TypedService<ObjectChanged, 0x30010005>
{
};

/** The connection manager asks for a service's credentials: answer with Manager::ServiceCompleteInput or
 * Manager::ServiceCancelInput. */
class ZQ_EXPORT ServiceInput : public Base
{
public:
    static constexpr unsigned int kType = 0x30010006;

    zqError Init(Manager *aManager, Service *aService, CFDictionaryRef aProperties);

    Service *GetService() const { return mService.Get(); }

    /** The fields that are asked for. */
    CFDictionaryRef GetProperties() const { return mProperties.Get(); }

private:
    zqSharedPtr<Service>          mService;
    CFUSharedRef<CFDictionaryRef> mProperties;
};

/** The connection manager reports an error of a service; or the outcome of Manager::ServiceConnect came for one that is
 * not known any more, which is null then, with kServiceErrorNotFound. */
class ZQ_EXPORT ServiceError : public Base
{
public:
    static constexpr unsigned int kType = 0x30010007;

    zqError Init(Manager *aManager, Service *aService, CFStringRef anError);

    /** May be null. */
    Service *GetService() const { return mService.Get(); }

    /** A kServiceError*, or another name that the connection manager gave. */
    CFStringRef GetError() const { return mError.Get(); }

private:
    zqSharedPtr<Service>      mService;
    CFUSharedRef<CFStringRef> mError;
};

/** Manager::ServiceConnect succeeded. Carries the service. */
class ZQ_EXPORT ServiceDidConnect : public TypedService<ObjectDid, 0x30010008>
{
};

/** Manager::ServiceConnect failed. Carries the service and why: -16 for a time-out, -20 when it was given up. */
class ZQ_EXPORT ServiceDidNotConnect : public TypedService<ObjectDidNot, 0x30010009>
{
};

/** Manager::ServiceOnlineCheck succeeded. Carries the service. */
class ZQ_EXPORT ServiceIsOnline : public TypedService<ObjectDid, 0x3001000A>
{
};

/** Manager::ServiceOnlineCheck failed. Carries the service and why. */
class ZQ_EXPORT ServiceIsNotOnline : public TypedService<ObjectDidNot, 0x3001000B>
{
};

/** The host is being woken through a service. Carries it and the radio's reason. The code is ServiceDidWake's as well.
 */
class ZQ_EXPORT ServiceIsWaking : public TypedService<ObjectWake, 0x3001000C>
{
};

/** The host has been woken through a service. Carries the same as ServiceIsWaking, whose code it has. */
class ZQ_EXPORT ServiceDidWake : public TypedService<ObjectWake, 0x3001000C>
{
};

/** The host was not woken. Carries a service and why. Nothing in this library raises it: it is for a concrete manager
 * that learns of such a failure. */
class ZQ_EXPORT ServiceDidNotWake : public TypedService<ObjectDidNot, 0x3001000E>
{
};

/** Technologies came into the manager's list, as ServicesAdded. Carries them. */
class ZQ_EXPORT TechnologiesAdded : public Typed<TechnologiesChanged, 0x3001000F>
{
};

/** Technologies left the manager's list. Carries them. */
class ZQ_EXPORT TechnologiesRemoved : public Typed<TechnologiesChanged, 0x30010010>
{
};

/** A technology was refreshed. Carries it and properties, as ServiceChanged. */
class ZQ_EXPORT TechnologyChanged : public TypedTechnology<ObjectChanged, 0x30010011>
{
};

/** Manager::TechnologyScan succeeded. Carries the technology. */
class ZQ_EXPORT TechnologyDidScan : public TypedTechnology<ObjectDid, 0x30010012>
{
};

/** Manager::TechnologyScan failed. Carries the technology and why. */
class ZQ_EXPORT TechnologyDidNotScan : public TypedTechnology<ObjectDidNot, 0x30010013>
{
};

/** The host's sleep was prepared. Carries nothing. Nothing in this library raises it: the sleep is the application's
 * decision (Manager::GetSleepPreventers). */
class ZQ_EXPORT DidPrepareForSleep : public Typed<Base, 0x30010014>
{
};

/** The host's sleep could not be prepared. Carries why. Nothing in this library raises it, either. */
class ZQ_EXPORT DidNotPrepareForSleep : public Base
{
public:
    static constexpr unsigned int kType = 0x30010015;

    zqError Init(Manager *aManager, zqError anError);

    zqError GetError() const { return mError; }

private:
    zqError mError = 0;
};

} // namespace Event

} // namespace zq::NetworkManager

#endif // ZQNETWORKMANAGER_EVENT_H
