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
    if (mMayBeStale && !IsDaemonLost(lReturn) && MakeUpLater(Reconcile<Service>()) == zqError_None)
        (void)MakeUpLater(Reconcile<Technology>());

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
    const auto lServices = Shared::MakeArray();
    ZQ_REQUIRE(lServices != NULL, zqError_OutOfMemory);

    return InitObjects<Service>(lServices.Get());
}

zqError Manager::InitTechnologies()
{
    const auto lTechnologies = Shared::MakeArray();
    ZQ_REQUIRE(lTechnologies != NULL, zqError_OutOfMemory);

    return InitObjects<Technology>(lTechnologies.Get());
}

template <typename T>
zqError Manager::InitObjects(CFMutableArrayRef aPaths)
{
    zqError lReturn = (mConnMan.*Kind<T>::kKind.mGetPaths)(aPaths);
    ZQ_REQUIRE(lReturn == 0, lReturn);

    lReturn = AddReported<T>(aPaths);
    ZQ_REQUIRE(lReturn == 0, lReturn);
    return zqError_None;
}

template <typename T>
zqError Manager::Reconcile()
{
    const Kind<T>      &lKind    = Kind<T>::kKind;
    CFDictionaryRef     lObjects = nullptr;
    zqRefObjectArray<T> lListed;

    zqError lReturn = (mConnMan.*lKind.mGetAll)(lObjects);
    ZQ_REQUIRE(lReturn == 0, lReturn);

    const auto lHolder  = CFUAdopt(lObjects);
    const auto lRemoved = Shared::MakeArray();
    ZQ_REQUIRE(lRemoved != NULL, zqError_OutOfMemory);

    lReturn = (this->*lKind.mCopyList)(lListed);
    ZQ_REQUIRE(lReturn == 0, lReturn);

    for (int lIndex = 0; lIndex < lListed.GetNumElements(); ++lIndex)
    {
        const auto lPath = lListed.GetElementPtr(lIndex)->GetPath();
        if (!CFDictionaryContainsKey(lObjects, lPath.Get()))
            CFArrayAppendValue(lRemoved.Get(), lPath.Get());
    }
    if (CFArrayGetCount(lRemoved.Get()) > 0)
    {
        lReturn = lKind.mUpdate(*this, lRemoved.Get(), UpdateOperationRemove);
        (void)ZQ_CHECK(lReturn == 0);
    }

    for (int lIndex = 0; lIndex < lListed.GetNumElements(); ++lIndex)
    {
        T *const    lObject = lListed.GetElementPtr(lIndex);
        const auto *lProperties =
            static_cast<CFDictionaryRef>(CFDictionaryGetValue(lObjects, lObject->GetPath().Get()));

        if (lProperties != nullptr && !HasProperties(*lObject, lProperties))
            RefreshObject(*lObject, lProperties);
    }
    return lReturn;
}

template <typename T>
void Manager::RefreshObject(T &anObject, CFDictionaryRef aProperties)
{
    anObject.ClearOthers(aProperties);

    zqError    lReturn = anObject.Refresh(CFURetain(aProperties));
    const auto lMerged = anObject.CopyProperties();
    if (ZQ_CHECK(lReturn == 0) && ZQ_CHECK(lMerged != NULL))
    {
        lReturn = (this->*Kind<T>::kKind.mSignalChanged)(&anObject, lMerged.Get());
        (void)ZQ_CHECK(lReturn == 0);
    }
}

} // namespace zq::NetworkManager::ConnMan
