/**
 *  @file
 *    How the concrete manager takes what the client reports by paths.
 */

#include "zqnetworkmanager-connman.h"

#include <zqlog.h>

#include <algorithm>
#include <iterator>
#include <new>

#define ZQ_LOG_COMPONENT "network manager"
#define ZQ_LOG_FILE "zqnetworkmanager-connman"

namespace zq::NetworkManager::ConnMan
{

bool Manager::IsDaemonLost(zqError anError)
{
    static const zqError kErrors[] = { zqError_WrongState, zqError_TimedOut, zqError_ServiceUnknown, zqError_NoReply };

    return std::find(std::begin(kErrors), std::end(kErrors), anError) != std::end(kErrors);
}

bool Manager::IsPassing(zqError anError)
{
    return IsDaemonLost(anError) || anError == zqError_NoResources || anError == zqError_OutOfMemory;
}

zqError Manager::MakeUpLater(zqError anError)
{
    if (IsPassing(anError))
        mConnMan.TellAvailableAgain();

    return anError;
}

template <>
const Manager::Kind<Service> Manager::Kind<Service>::kKind = {
    "service",
    "lService != __null",
    &zqConnMan::ManagerGetServices,
    &zqConnMan::ManagerGetServices,
    zqConnMan::PropertiesReader::kServices,
    &Manager::FindService,
    &Manager::GetServices,
    [](Manager &aManager, CFArrayRef aPaths, UpdateOperation anOperation)
    { return aManager.UpdateServices(aPaths, anOperation); },
    &Manager::SignalServiceChanged,
};

template <>
const Manager::Kind<Technology> Manager::Kind<Technology>::kKind = {
    "technology",
    "lTechnology != __null",
    &zqConnMan::ManagerGetTechnologies,
    &zqConnMan::ManagerGetTechnologies,
    zqConnMan::PropertiesReader::kTechnologies,
    &Manager::FindTechnology,
    &Manager::GetTechnologies,
    [](Manager &aManager, CFArrayRef aPaths, UpdateOperation anOperation)
    { return aManager.UpdateTechnologies(aPaths, anOperation == UpdateOperationAdd); },
    &Manager::SignalTechnologyChanged,
};

/**
 *  The properties of the objects that a report names, each fetched once. While
 *  it lives, Copy*Properties hand them out on this thread, and the model gets
 *  its objects without asking the daemon once more.
 */
class Manager::Report
{
public:
    explicit Report(Manager &aManager) : mManager(aManager), mOuter(sCurrent), mProperties(Shared::MakeDictionary())
    {
        sCurrent = this;
    }
    ~Report() { sCurrent = mOuter; }
    Report(const Report &)            = delete;
    Report &operator=(const Report &) = delete;

    /**
     *  Fetch the objects that are, or are not, in the manager's list; one that
     *  cannot be had is left out.
     *
     *  @returns 0, or why something that is there may be missing. When the
     *           daemon does not answer, the others were not asked for.
     */
    template <typename T>
    zqError Fetch(CFArrayRef aPaths, bool aListed)
    {
        const auto lPaths  = CopyWanted<T>(aPaths, aListed);
        zqError    lResult = zqError_None;

        ZQ_REQUIRE(mProperties != NULL && lPaths != NULL, zqError_NoResources);

        zqConnMan::PropertiesReader lReader(mManager.mConnMan, Kind<T>::kKind.mReader, lPaths.Get());

        for (CFIndex lIndex = 0; lIndex < CFArrayGetCount(lPaths.Get()); ++lIndex)
        {
            const auto      lPath       = CFArrayGetValueAtIndex(lPaths.Get(), lIndex);
            CFDictionaryRef lCopied     = nullptr;
            const zqError   lReturn     = lReader.Next(lCopied);
            const auto      lProperties = CFUAdopt(lCopied);

            if (ZQ_CHECK(lReturn == 0))
            {
                CFDictionarySetValue(mProperties.Get(), lPath, lProperties.Get());
                ZQ_REQUIRE(CFDictionaryContainsKey(mProperties.Get(), lPath), zqError_NoResources);
            }
            else if (IsPassing(lReturn))
                lResult = lReturn;
            if (IsDaemonLost(lReturn))
                break;
        }
        return lResult;
    }

    /** Leave out the objects that the model would refuse. @returns whether there were any. */
    template <typename T>
    bool LeaveOutUnusable()
    {
        const auto lPaths = CopyPaths();
        bool       lFound = false;

        for (CFIndex lIndex = 0; lPaths && lIndex < CFArrayGetCount(lPaths.Get()); ++lIndex)
        {
            const auto lPath = CFURetain(static_cast<CFStringRef>(CFArrayGetValueAtIndex(lPaths.Get(), lIndex)));
            const auto lProperties =
                CFURetain(static_cast<CFDictionaryRef>(CFDictionaryGetValue(mProperties.Get(), lPath.Get())));
            const zqSharedPtr<T> lObject(new (std::nothrow) T);
            const zqError        lError =
                lObject != nullptr ? lObject->Init(lPath, lProperties) : zqError(zqError_OutOfMemory);

            if (lError != zqError_None && !IsPassing(lError))
            {
                CFDictionaryRemoveValue(mProperties.Get(), lPath.Get());
                lFound = true;
            }
        }
        return lFound;
    }

    /** Those that were had, in the report's order; null when memory is exhausted. */
    CFUSharedRef<CFArrayRef> CopyPaths() const { return CFUAdopt(CFUDictionaryCopyKeys(mProperties.Get())); }

    /** What was fetched of an object for the report that this thread is handling, lent; or null. */
    static CFDictionaryRef Find(const Manager &aManager, CFStringRef aPath)
    {
        return sCurrent != nullptr && &sCurrent->mManager == &aManager && sCurrent->mProperties != nullptr
                   ? static_cast<CFDictionaryRef>(CFDictionaryGetValue(sCurrent->mProperties.Get(), aPath))
                   : nullptr;
    }

private:
    /** Those of the paths that are, or are not, in the manager's list; null when memory is exhausted. */
    template <typename T>
    CFUSharedRef<CFArrayRef> CopyWanted(CFArrayRef aPaths, bool aListed) const
    {
        const auto lPaths = Shared::MakeArray();
        CFIndex    lCount = 0;

        for (CFIndex lIndex = 0; lIndex < CFArrayGetCount(aPaths); ++lIndex)
        {
            const auto lPath = static_cast<CFStringRef>(CFArrayGetValueAtIndex(aPaths, lIndex));

            if (((mManager.*Kind<T>::kKind.mFind)(lPath) != nullptr) != aListed)
                continue;

            CFArrayAppendValue(lPaths.Get(), lPath);
            ++lCount;
        }

        return CFArrayGetCount(lPaths.Get()) == lCount ? CFUSharedRef<CFArrayRef>(lPaths) : nullptr;
    }

    Manager                                   &mManager;
    const Report                              *mOuter;
    const CFUSharedRef<CFMutableDictionaryRef> mProperties;

    static thread_local const Report *sCurrent;
};

thread_local const Manager::Report *Manager::Report::sCurrent = nullptr;

template <typename T>
zqError Manager::AddReported(CFArrayRef aPaths)
{
    Report        lReport(*this);
    const zqError lFetched = lReport.Fetch<T>(aPaths, false);
    zqError       lReturn  = Kind<T>::kKind.mUpdate(*this, lReport.CopyPaths().Get(), UpdateOperationAdd);

    if (lReturn != zqError_None && lReport.LeaveOutUnusable<T>())
        lReturn = Kind<T>::kKind.mUpdate(*this, lReport.CopyPaths().Get(), UpdateOperationAdd);

    return MakeUpLater(lFetched != zqError_None ? lFetched : lReturn);
}

template zqError Manager::AddReported<Service>(CFArrayRef aPaths);
template zqError Manager::AddReported<Technology>(CFArrayRef aPaths);

zqError Manager::RefreshReported(CFArrayRef aServices)
{
    Report        lReport(*this);
    const zqError lFetched = lReport.Fetch<Service>(aServices, true);
    const zqError lReturn  = UpdateServices(lReport.CopyPaths().Get(), UpdateOperationChange);

    return MakeUpLater(lFetched != zqError_None ? lFetched : lReturn);
}

zqError Manager::CopyServiceProperties(CFStringRef aPath, CFDictionaryRef &aProperties)
{
    return CopyObjectProperties(aPath, &zqConnMan::ServiceGetProperties, aProperties);
}

zqError Manager::CopyTechnologyProperties(CFStringRef aPath, CFDictionaryRef &aProperties)
{
    return CopyObjectProperties(aPath, &zqConnMan::TechnologyGetProperties, aProperties);
}

zqError Manager::CopyObjectProperties(CFStringRef aPath, Get aGet, CFDictionaryRef &aProperties)
{
    aProperties = CFURetain(Report::Find(*this, aPath)).Leak();
    if (aProperties != nullptr)
        return zqError_None;

    const zqError lReturn = (mConnMan.*aGet)(zqString(aPath).GetAsUTFArray(), aProperties);
    (void)ZQ_CHECK(lReturn == 0);
    return lReturn;
}

} // namespace zq::NetworkManager::ConnMan
