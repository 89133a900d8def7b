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

protected:
    ~ServicesChanged() override;

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

protected:
    ~TechnologiesChanged() override;

private:
    zqRefObjectArray<Technology> mTechnologies;
};

/** Something about one object, which may be null. */
class ZQ_EXPORT ObjectBase : public Base
{
public:
    zqError Init(unsigned int aType, Manager *aManager, Object *anObject);

    Object *GetObject() const { return mObject.Get(); }

protected:
    ~ObjectBase() override;

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

protected:
    ~ObjectChanged() override;

private:
    CFUSharedRef<CFDictionaryRef> mProperties;
};

/** A request on an object succeeded. */
class ZQ_EXPORT ObjectDid : public ObjectBase
{
protected:
    ~ObjectDid() override;
};

/** A request on an object failed. */
class ZQ_EXPORT ObjectDidNot : public ObjectBase
{
public:
    zqError Init(unsigned int aType, Manager *aManager, Object *anObject, const zqError &anError);

    zqError GetError() const { return mError; }

protected:
    ~ObjectDidNot() override;

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

protected:
    ~ObjectWake() override;

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

// The events themselves

/** The manager's state changed. */
class ZQ_EXPORT StateChanged : public Base
{
public:
    static constexpr unsigned int kType = 0x30010001;

    zqError Init(Manager *aManager, CFStringRef aState);

    /** A kManagerState*. */
    CFStringRef GetState() const { return mState.Get(); }

protected:
    ~StateChanged() override;

private:
    CFUSharedRef<CFStringRef> mState;
};

/** Properties of the manager changed. */
class ZQ_EXPORT PropertiesChanged : public Base
{
public:
    static constexpr unsigned int kType = 0x30010002;

    zqError Init(Manager *aManager, CFDictionaryRef aProperties);

    /** Those that were reported; in the replay to a new subscriber all that the manager has at that time. */
    CFDictionaryRef GetProperties() const { return mProperties.Get(); }

protected:
    ~PropertiesChanged() override;

private:
    CFUSharedRef<CFDictionaryRef> mProperties;
};

class ZQ_EXPORT ServicesAdded : public Typed<ServicesChanged, 0x30010003>
{
protected:
    ~ServicesAdded() override;
};

class ZQ_EXPORT ServicesRemoved : public Typed<ServicesChanged, 0x30010004>
{
protected:
    ~ServicesRemoved() override;
};

class ZQ_EXPORT ServiceChanged : public TypedService<ObjectChanged, 0x30010005>
{
protected:
    ~ServiceChanged() override;
};

/** The connection manager asks for credentials. */
class ZQ_EXPORT ServiceInput : public Base
{
public:
    static constexpr unsigned int kType = 0x30010006;

    zqError Init(Manager *aManager, Service *aService, CFDictionaryRef aProperties);

    Service *GetService() const { return mService.Get(); }

    /** The fields that are asked for. */
    CFDictionaryRef GetProperties() const { return mProperties.Get(); }

protected:
    ~ServiceInput() override;

private:
    zqSharedPtr<Service>          mService;
    CFUSharedRef<CFDictionaryRef> mProperties;
};

/** The connection manager reports an error of a service, or of one that is not known any more. */
class ZQ_EXPORT ServiceError : public Base
{
public:
    static constexpr unsigned int kType = 0x30010007;

    zqError Init(Manager *aManager, Service *aService, CFStringRef anError);

    /** May be null. */
    Service *GetService() const { return mService.Get(); }

    /** A kServiceError*, or another name that the connection manager gave. */
    CFStringRef GetError() const { return mError.Get(); }

protected:
    ~ServiceError() override;

private:
    zqSharedPtr<Service>      mService;
    CFUSharedRef<CFStringRef> mError;
};

class ZQ_EXPORT ServiceDidConnect : public TypedService<ObjectDid, 0x30010008>
{
protected:
    ~ServiceDidConnect() override;
};

class ZQ_EXPORT ServiceDidNotConnect : public TypedService<ObjectDidNot, 0x30010009>
{
protected:
    ~ServiceDidNotConnect() override;
};

class ZQ_EXPORT ServiceIsOnline : public TypedService<ObjectDid, 0x3001000A>
{
protected:
    ~ServiceIsOnline() override;
};

class ZQ_EXPORT ServiceIsNotOnline : public TypedService<ObjectDidNot, 0x3001000B>
{
protected:
    ~ServiceIsNotOnline() override;
};

/** The host is being woken; the code is ServiceDidWake's as well. */
class ZQ_EXPORT ServiceIsWaking : public TypedService<ObjectWake, 0x3001000C>
{
protected:
    ~ServiceIsWaking() override;
};

/** The host has been woken; the code is ServiceIsWaking's as well. */
class ZQ_EXPORT ServiceDidWake : public TypedService<ObjectWake, 0x3001000C>
{
protected:
    ~ServiceDidWake() override;
};

class ZQ_EXPORT ServiceDidNotWake : public TypedService<ObjectDidNot, 0x3001000E>
{
protected:
    ~ServiceDidNotWake() override;
};

class ZQ_EXPORT TechnologiesAdded : public Typed<TechnologiesChanged, 0x3001000F>
{
protected:
    ~TechnologiesAdded() override;
};

class ZQ_EXPORT TechnologiesRemoved : public Typed<TechnologiesChanged, 0x30010010>
{
protected:
    ~TechnologiesRemoved() override;
};

class ZQ_EXPORT TechnologyChanged : public TypedTechnology<ObjectChanged, 0x30010011>
{
protected:
    ~TechnologyChanged() override;
};

class ZQ_EXPORT TechnologyDidScan : public TypedTechnology<ObjectDid, 0x30010012>
{
protected:
    ~TechnologyDidScan() override;
};

class ZQ_EXPORT TechnologyDidNotScan : public TypedTechnology<ObjectDidNot, 0x30010013>
{
protected:
    ~TechnologyDidNotScan() override;
};

class ZQ_EXPORT DidPrepareForSleep : public Typed<Base, 0x30010014>
{
protected:
    ~DidPrepareForSleep() override;
};

class ZQ_EXPORT DidNotPrepareForSleep : public Base
{
public:
    static constexpr unsigned int kType = 0x30010015;

    zqError Init(Manager *aManager, zqError anError);

    zqError GetError() const { return mError; }

protected:
    ~DidNotPrepareForSleep() override;

private:
    zqError mError = 0;
};

} // namespace Event

} // namespace zq::NetworkManager

#endif // ZQNETWORKMANAGER_EVENT_H
