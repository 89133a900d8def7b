/**
 *  @file
 *    How the concrete manager fills its lists, and brings them in line with a
 *    daemon that has come back.
 */

#include "zqnetworkmanager-connman.h"

#include <zqlog.h>

#define ZQ_LOG_COMPONENT "network manager"
#define ZQ_LOG_FILE "zqnetworkmanager-connman"

namespace zq::NetworkManager::ConnMan
{

namespace
{

CFMutableArrayRef NewArray()
{
    return CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks);
}

/** A refresh merges: what the daemon no longer reports would stay. */
void ClearUnreported(Object &anObject, CFDictionaryRef aProperties)
{
    const auto lKeys = CFUAdopt(CFUDictionaryCopyKeys(anObject.CopyProperties().Get()));

    for (CFIndex lIndex = 0; lKeys && lIndex < CFArrayGetCount(lKeys.Get()); ++lIndex)
    {
        const auto lKey = CFURetain(static_cast<CFStringRef>(CFArrayGetValueAtIndex(lKeys.Get(), lIndex)));
        if (!CFDictionaryContainsKey(aProperties, lKey.Get()))
            (void)anObject.ClearProperty(lKey);
    }
}

bool HasProperties(const Object &anObject, CFDictionaryRef aProperties)
{
    return CFEqual(anObject.CopyProperties().Get(), aProperties);
}

} // namespace

void Manager::Available(zqConnMan *aConnMan)
{
    if (!IsOwn(aConnMan))
        return;

    const zqError lReturn = MakeUpLater(InitCaches());
    if (mMayBeStale && !IsDaemonLost(lReturn))
        (void)MakeUpLater(Reconcile());

    mMayBeStale = true; // from here on, for the next time
}

void Manager::Unavailable(zqConnMan *aConnMan)
{
    if (!IsOwn(aConnMan))
        return;

    // The lists stay; whether they are still true is seen when the daemon returns.
    mMayBeStale = true;
}

zqError Manager::InitCaches()
{
    zqError lReturn = InitProperties();
    if (!ZQ_CHECK_MESSAGE(lReturn == 0, "Failed to init properties"))
        return lReturn;

    lReturn = InitServices();
    if (!ZQ_CHECK_MESSAGE(lReturn == 0, "Failed to init services"))
        return lReturn;

    lReturn = InitTechnologies();
    if (!ZQ_CHECK_MESSAGE(lReturn == 0, "Failed to init technologies"))
        return lReturn;

    lReturn = InitProvisions();
    (void)ZQ_CHECK_MESSAGE(lReturn == 0, "Failed to init provisions");
    return lReturn;
}

zqError Manager::InitProperties()
{
    CFDictionaryRef lProperties = nullptr;
    zqError         lReturn     = mConnMan.ManagerGetProperties(lProperties);
    ZQ_REQUIRE(lReturn == 0, lReturn);

    const auto lHolder = CFUAdopt(lProperties);
    lReturn            = TakeProperties(lProperties);
    ZQ_REQUIRE(lReturn == 0, lReturn);
    return zqError_None;
}

zqError Manager::InitServices()
{
    const auto lServices = CFUAdopt(NewArray());
    ZQ_REQUIRE(lServices != NULL, zqError_OutOfMemory);

    zqError lReturn = mConnMan.ManagerGetServices(lServices.Get());
    ZQ_REQUIRE(lReturn == 0, lReturn);

    lReturn = AddReported<Service>(lServices.Get());
    ZQ_REQUIRE(lReturn == 0, lReturn);
    return zqError_None;
}

zqError Manager::InitTechnologies()
{
    const auto lTechnologies = CFUAdopt(NewArray());
    ZQ_REQUIRE(lTechnologies != NULL, zqError_OutOfMemory);

    zqError lReturn = mConnMan.ManagerGetTechnologies(lTechnologies.Get());
    ZQ_REQUIRE(lReturn == 0, lReturn);

    lReturn = AddReported<Technology>(lTechnologies.Get());
    ZQ_REQUIRE(lReturn == 0, lReturn);
    return zqError_None;
}

/** What is different about services and technologies when they are reconciled. */
template <typename T>
struct Manager::Kind
{
    zqError (zqConnMan::*mFetch)(CFDictionaryRef &anObjects);
    zqError (zq::NetworkManager::Manager::*mCopyList)(zqRefObjectArray<T> &anArray) const;
    zqError (Manager::*mRemove)(CFArrayRef aPaths);
    zqError (zq::NetworkManager::Manager::*mSignalChanged)(T *anObject, CFDictionaryRef aProperties);
};

zqError Manager::Reconcile()
{
    static const Kind<Service>    kServices     = { &zqConnMan::ManagerGetServices, &Manager::GetServices,
                                                    &Manager::DropServices, &Manager::SignalServiceChanged };
    static const Kind<Technology> kTechnologies = { &zqConnMan::ManagerGetTechnologies, &Manager::GetTechnologies,
                                                    &Manager::DropTechnologies, &Manager::SignalTechnologyChanged };

    const zqError lReturn = Reconcile(kServices);

    return lReturn == zqError_None ? Reconcile(kTechnologies) : lReturn;
}

template <typename T>
zqError Manager::Reconcile(const Kind<T> &aKind)
{
    CFDictionaryRef     lObjects = nullptr;
    zqRefObjectArray<T> lListed;

    zqError lReturn = (mConnMan.*aKind.mFetch)(lObjects);
    ZQ_REQUIRE(lReturn == 0, lReturn);

    const auto lHolder  = CFUAdopt(lObjects);
    const auto lRemoved = CFUAdopt(NewArray());
    ZQ_REQUIRE(lRemoved != NULL, zqError_OutOfMemory);

    lReturn = (this->*aKind.mCopyList)(lListed);
    ZQ_REQUIRE(lReturn == 0, lReturn);

    for (int lIndex = 0; lIndex < lListed.GetNumElements(); ++lIndex)
    {
        const auto lPath = lListed.GetElementPtr(lIndex)->GetPath();
        if (!CFDictionaryContainsKey(lObjects, lPath.Get()))
            CFArrayAppendValue(lRemoved.Get(), lPath.Get());
    }
    if (CFArrayGetCount(lRemoved.Get()) > 0)
    {
        lReturn = (this->*aKind.mRemove)(lRemoved.Get());
        (void)ZQ_CHECK(lReturn == 0);
    }

    for (int lIndex = 0; lIndex < lListed.GetNumElements(); ++lIndex)
    {
        T *const    lObject = lListed.GetElementPtr(lIndex);
        const auto *lProperties =
            static_cast<CFDictionaryRef>(CFDictionaryGetValue(lObjects, lObject->GetPath().Get()));

        if (lProperties != nullptr && !HasProperties(*lObject, lProperties))
            RefreshObject(aKind, *lObject, lProperties);
    }
    return lReturn;
}

template <typename T>
void Manager::RefreshObject(const Kind<T> &aKind, T &anObject, CFDictionaryRef aProperties)
{
    ClearUnreported(anObject, aProperties);

    zqError    lReturn = anObject.Refresh(CFURetain(aProperties));
    const auto lMerged = anObject.CopyProperties();
    if (ZQ_CHECK(lReturn == 0) && ZQ_CHECK(lMerged != NULL))
    {
        lReturn = (this->*aKind.mSignalChanged)(&anObject, lMerged.Get());
        (void)ZQ_CHECK(lReturn == 0);
    }
}

zqError Manager::DropServices(CFArrayRef aPaths)
{
    return UpdateServices(aPaths, UpdateOperationRemove);
}

zqError Manager::DropTechnologies(CFArrayRef aPaths)
{
    return UpdateTechnologies(aPaths, false);
}

} // namespace zq::NetworkManager::ConnMan
