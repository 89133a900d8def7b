#include <zqnetworkmanager-event.h>

namespace zq::NetworkManager::Event
{

bool IsType(const zqEvent *anEvent)
{
    return anEvent != nullptr && anEvent->GetType() >= StateChanged::kType &&
           anEvent->GetType() <= DidNotPrepareForSleep::kType;
}

zqError Base::Init(unsigned int aType, Manager *aManager)
{
    mManager = aManager;

    return zqEvent::Init(aType, 0);
}

zqError ServicesChanged::Init(unsigned int aType, Manager *aManager, const zqRefObjectArray<Service> &aServices)
{
    const zqError lReturn = Base::Init(aType, aManager);

    return lReturn == zqError_None ? mServices.Copy(aServices) : lReturn;
}

zqError ServicesChanged::GetServices(zqRefObjectArray<Service> &aServices) const
{
    aServices.Clear();

    return aServices.Copy(mServices);
}

zqError TechnologiesChanged::Init(unsigned int aType, Manager *aManager,
                                  const zqRefObjectArray<Technology> &aTechnologies)
{
    const zqError lReturn = Base::Init(aType, aManager);

    return lReturn == zqError_None ? mTechnologies.Copy(aTechnologies) : lReturn;
}

zqError TechnologiesChanged::GetTechnologies(zqRefObjectArray<Technology> &aTechnologies) const
{
    aTechnologies.Clear();

    return aTechnologies.Copy(mTechnologies);
}

zqError ObjectBase::Init(unsigned int aType, Manager *aManager, Object *anObject)
{
    mObject.Set(anObject);

    return Base::Init(aType, aManager);
}

zqError ObjectChanged::Init(unsigned int aType, Manager *aManager, Object *anObject, CFDictionaryRef aProperties)
{
    mProperties = CFURetain(aProperties);

    return ObjectBase::Init(aType, aManager, anObject);
}

zqError ObjectDidNot::Init(unsigned int aType, Manager *aManager, Object *anObject, const zqError &anError)
{
    mError = anError;

    return ObjectBase::Init(aType, aManager, anObject);
}

zqError ObjectWake::Init(unsigned int aType, Manager *aManager, Object *anObject, int aReason)
{
    mReason = aReason;

    return ObjectDid::Init(aType, aManager, anObject);
}

zqError StateChanged::Init(Manager *aManager, CFStringRef aState)
{
    mState = CFURetain(aState);

    return Base::Init(kType, aManager);
}

zqError PropertiesChanged::Init(Manager *aManager, CFDictionaryRef aProperties)
{
    mProperties = CFURetain(aProperties);

    return Base::Init(kType, aManager);
}

zqError ServiceInput::Init(Manager *aManager, Service *aService, CFDictionaryRef aProperties)
{
    mService.Set(aService);
    mProperties = CFURetain(aProperties);

    return Base::Init(kType, aManager);
}

zqError ServiceError::Init(Manager *aManager, Service *aService, CFStringRef anError)
{
    mService.Set(aService);
    mError = CFURetain(anError);

    return Base::Init(kType, aManager);
}

zqError DidNotPrepareForSleep::Init(Manager *aManager, zqError anError)
{
    mError = anError;

    return Base::Init(kType, aManager);
}

Base::~Base() = default;

} // namespace zq::NetworkManager::Event
