/**
 *  @file
 *    How reports of the connection manager change the model.
 */

#include <zqnetworkmanager-manager.h>

#include "zqnetworkmanager-lock.h"
#include "zqnetworkmanager-values.h"

#include <zqlog.h>

#include <new>

#define ZQ_LOG_COMPONENT ""
#define ZQ_LOG_FILE "zqnetworkmanager-manager"

namespace zq::NetworkManager
{

using Private::AsString;
using Private::ScopedLock;

namespace
{

// The objects of a report are collected in a list of their own, which takes one
// that the report names twice once.

using Copy = zqError (Manager::*)(CFStringRef aPath, CFDictionaryRef &aProperties);

template <typename T>
using Signal = zqError (Manager::*)(const zqRefObjectArray<T> &anObjects);

/** Make the objects of a report that a list does not hold yet; aCopy fetches the properties of one. */
template <typename T>
zqError CreateObjects(Manager &aManager, const ObjectList &aList, CFArrayRef aPaths, Copy aCopy,
                      zqRefObjectArray<T> &aCreated)
{
    ObjectList lCreated;
    zqError    lReturn = lCreated.Init();
    ZQ_REQUIRE(lReturn == 0, lReturn);

    for (CFIndex i = 0, lCount = CFArrayGetCount(aPaths); i < lCount; i++)
    {
        const auto lAddedPath = CFURetain(AsString(CFArrayGetValueAtIndex(aPaths, i)));
        ZQ_REQUIRE(lAddedPath != NULL, zqError_NotFound);

        if (aList.Find(lAddedPath) != nullptr || lCreated.Find(lAddedPath) != nullptr)
            continue;

        CFDictionaryRef lCopied = nullptr;

        lReturn                = (aManager.*aCopy)(lAddedPath.Get(), lCopied);
        const auto lProperties = CFUAdopt(lCopied);
        ZQ_REQUIRE(lReturn == 0, lReturn);

        const zqSharedPtr<T> aPointer(new (std::nothrow) T);
        ZQ_REQUIRE(aPointer != NULL, zqError_NoResources);

        lReturn = aPointer->Init(lAddedPath, lProperties);
        ZQ_REQUIRE(lReturn == 0, lReturn);

        lReturn = lCreated.Add(aPointer);
        ZQ_REQUIRE(lReturn == 0, lReturn);
    }

    return lCreated.CreateCopyAsArray(aCreated);
}

/** The objects of a report that a list holds, in the report's order. */
template <typename T>
zqError FindObjects(const ObjectList &aList, CFArrayRef aPaths, zqRefObjectArray<T> &aFound)
{
    ObjectList lFound;
    zqError    lReturn = lFound.Init();
    ZQ_REQUIRE(lReturn == 0, lReturn);

    for (CFIndex i = 0, lCount = CFArrayGetCount(aPaths); i < lCount; i++)
    {
        const auto lPath   = CFURetain(AsString(CFArrayGetValueAtIndex(aPaths, i)));
        const auto lObject = lPath != nullptr ? aList.Find(lPath) : nullptr;

        if (lObject != nullptr)
            lReturn = lFound.Add(lObject);

        ZQ_REQUIRE(lReturn == 0, lReturn);
    }

    return lFound.CreateCopyAsArray(aFound);
}

/** Add the new objects of a report to a list, all or none, and tell of them with aSignal. */
template <typename T>
zqError AddObjects(Manager &aManager, ObjectList &aList, CFArrayRef aPaths, Copy aCopy, Signal<T> aSignal)
{
    zqRefObjectArray<T> lAdded;
    zqError             lReturn = CreateObjects(aManager, aList, aPaths, aCopy, lAdded);

    if (lReturn != zqError_None || lAdded.IsEmpty())
        return lReturn;

    lReturn = aList.AppendAll(lAdded);
    ZQ_REQUIRE(lReturn == 0, lReturn);

    lReturn = (aManager.*aSignal)(lAdded);
    (void)ZQ_CHECK(lReturn == 0);

    return lReturn;
}

/** Remove the objects of a report from a list and tell of them with aSignal. */
template <typename T>
zqError RemoveObjects(Manager &aManager, ObjectList &aList, CFArrayRef aPaths, Signal<T> aSignal)
{
    zqRefObjectArray<T> lRemoved;
    zqError             lReturn = FindObjects(aList, aPaths, lRemoved);
    ZQ_REQUIRE(lReturn == 0, lReturn);

    if (lRemoved.IsEmpty())
        return lReturn;

    ZQ_LOG(zqLogLevel_Error, ": Service will be lRemoved");

    lReturn = aList.Erase(lRemoved);
    ZQ_REQUIRE(lReturn == 0, lReturn);

    lReturn = (aManager.*aSignal)(lRemoved);
    (void)ZQ_CHECK(lReturn == 0);

    return lReturn;
}

} // namespace

zqError Manager::CopyServicePropertiesAux(CFStringRef aPath, CFDictionaryRef &aProperties)
{
    return CopyServiceProperties(aPath, aProperties);
}

zqError Manager::CopyTechnologyPropertiesAux(CFStringRef aPath, CFDictionaryRef &aProperties)
{
    return CopyTechnologyProperties(aPath, aProperties);
}

zqError Manager::UpdateProperties(CFDictionaryRef aProperties)
{
    ZQ_REQUIRE(aProperties != NULL, zqError_InvalidArgument);

    {
        ScopedLock lLock(lOpaquePropertyLock.uOpaque);
        ZQ_REQUIRE(mProperties != NULL, zqError_WrongState);

        if (!Shared::Merge(mProperties, aProperties))
            return zqError_OutOfMemory;
    }

    const zqError lReturn = SignalPropertiesChanged(aProperties);
    (void)ZQ_CHECK(lReturn == 0);

    return lReturn;
}

zqError Manager::ManagerClearProperty(const CFUSharedRef<CFStringRef> &aKey)
{
    ZQ_REQUIRE(aKey != NULL, zqError_InvalidArgument);

    ScopedLock lLock(lOpaquePropertyLock.uOpaque);
    ZQ_REQUIRE(mProperties != NULL, zqError_WrongState);

    CFDictionaryRemoveValue(mProperties, aKey.Get());

    return zqError_None;
}

zqError Manager::UpdateServices(CFArrayRef aServices, UpdateOperation anOperation)
{
    ZQ_REQUIRE(aServices != NULL, zqError_InvalidArgument);

    switch (anOperation)
    {
    case UpdateOperationAdd:
        return AddServices(aServices);
    case UpdateOperationRemove:
        return RemoveServices(aServices);
    case UpdateOperationChange:
        return ChangeServices(aServices);
    }

    return zqError_InvalidArgument;
}

zqError Manager::UpdateTechnologies(CFArrayRef aTechnologies, bool anAdd)
{
    ZQ_REQUIRE(aTechnologies != NULL, zqError_InvalidArgument);

    return anAdd ? AddTechnologies(aTechnologies) : RemoveTechnologies(aTechnologies);
}

zqError Manager::UpdateProvisions(CFDictionaryRef aProvisions, UpdateOperation anOperation)
{
    ZQ_REQUIRE(aProvisions != NULL, zqError_InvalidArgument);

    return anOperation == UpdateOperationAdd ? AddProvisions(aProvisions) : zqError_InvalidArgument;
}

zqError Manager::AddServices(CFArrayRef aServices)
{
    return AddObjects(*this, mServices, aServices, &Manager::CopyServicePropertiesAux, &Manager::SignalServicesAdded);
}

zqError Manager::RemoveServices(CFArrayRef aServices)
{
    return RemoveObjects(*this, mServices, aServices, &Manager::SignalServicesRemoved);
}

zqError Manager::AddTechnologies(CFArrayRef aTechnologies)
{
    return AddObjects(*this, mTechnologies, aTechnologies, &Manager::CopyTechnologyPropertiesAux,
                      &Manager::SignalTechnologiesAdded);
}

zqError Manager::RemoveTechnologies(CFArrayRef aTechnologies)
{
    return RemoveObjects(*this, mTechnologies, aTechnologies, &Manager::SignalTechnologiesRemoved);
}

zqError Manager::ChangeServices(CFArrayRef aServices)
{
    zqRefObjectArray<Service> lUpdated;

    for (CFIndex i = 0, lCount = CFArrayGetCount(aServices); i < lCount; i++)
    {
        const CFStringRef lUpdatedPath = AsString(CFArrayGetValueAtIndex(aServices, i));
        ZQ_REQUIRE(lUpdatedPath != NULL, zqError_NotFound);
    }

    zqError lReturn = FindObjects(mServices, aServices, lUpdated);
    ZQ_REQUIRE(lReturn == 0, lReturn);

    for (int i = 0, lCount = lUpdated.GetNumElements(); i < lCount; i++)
    {
        Service        &lService = *lUpdated.GetElementPtr(i);
        CFDictionaryRef lCopied  = nullptr;

        lReturn                = CopyServiceProperties(lService.GetPath().Get(), lCopied);
        const auto lProperties = CFUAdopt(lCopied);
        ZQ_REQUIRE(lReturn == 0, lReturn);

        lReturn = lService.Refresh(lProperties);
        ZQ_REQUIRE(lReturn == 0, lReturn);

        // A copy: the event is read on the subscribers' threads, where the
        // service's own dictionary may be changing.
        const auto lMerged = lService.CopyProperties();
        ZQ_REQUIRE(lMerged != NULL, zqError_NoResources);

        lReturn = SignalServiceChanged(&lService, lMerged.Get());
        ZQ_REQUIRE(lReturn == 0, lReturn);
    }

    return lReturn;
}

// A record that cannot be used costs only itself: AddProvision has logged it.
zqError Manager::AddProvisions(CFDictionaryRef aProvisions)
{
    const ProvisionsHold lHold(*this);

    if (!lHold.IsHeld())
        return zqError_TimedOut;

    CFDictionaryApplyFunction(
        aProvisions,
        [](const void *, const void *aValue, void *aContext) noexcept
        {
            auto *const                   lManager = static_cast<Manager *>(aContext);
            zqSharedPtr<Provision>        lProvision;
            CFUSharedRef<CFDictionaryRef> lRecord;

            if (CFUIsTypeID(aValue, CFDictionaryGetTypeID()))
                lRecord = CFURetain(static_cast<CFDictionaryRef>(aValue));

            if (lManager->AddProvision(lRecord, lProvision) == zqError_None)
                (void)lManager->UpdateConnManProvisions(false);
        },
        this);

    return zqError_None;
}

} // namespace zq::NetworkManager
