/**
 *  @file
 *    What the daemon has: loaded, compared, and asked for.
 */

#include "zqconnman-caches.h"

using namespace zq::ConnMan;

/** Services and technologies are loaded and compared alike. */
struct zqConnMan::ObjectKind
{
    const char            *mName;
    CFMutableDictionaryRef zqConnMan::*mCache;
    zqError (zqConnMan::*mFetch)(CFDictionaryRef &aObjects);
    PathsHandler mAdded;
    PathsHandler mRemoved;
    PathsHandler mUpdated; // may be null

    static const ObjectKind kServices;
    static const ObjectKind kTechnologies;
};

const zqConnMan::ObjectKind zqConnMan::ObjectKind::kServices = {
    "services",
    &zqConnMan::mServices,
    &zqConnMan::ManagerGetServices,
    &Delegate::Base::ServicesAdded,
    &Delegate::Base::ServicesRemoved,
    &Delegate::Base::ServicesUpdated,
};

const zqConnMan::ObjectKind zqConnMan::ObjectKind::kTechnologies = {
    "technologies",
    &zqConnMan::mTechnologies,
    &zqConnMan::ManagerGetTechnologies,
    &Delegate::Base::TechnologiesAdded,
    &Delegate::Base::TechnologiesRemoved,
    nullptr,
};

void zqConnMan::NotifyPaths(PathsHandler aHandler, CFArrayRef aPaths)
{
    Delegate::Base *lDelegate = mDelegate;

    if (lDelegate != nullptr && aHandler != nullptr && aPaths != nullptr && CFArrayGetCount(aPaths) > 0)
        (lDelegate->*aHandler)(this, aPaths);
}

// Loading

zqError zqConnMan::Update()
{
    return Update(false);
}

zqError zqConnMan::Update(bool aMissingOnly)
{
    const auto lIsWanted = [=](CFTypeRef aCache) { return !aMissingOnly || aCache == nullptr; };
    zqError    lReturn   = lIsWanted(mProperties) ? UpdateProperties() : zqError_None;

    if (lReturn == zqError_None && lIsWanted(mServices))
        lReturn = UpdateServices();
    if (lReturn == zqError_None && lIsWanted(mTechnologies))
        lReturn = UpdateTechnologies();

    if (lReturn == zqError_ServiceUnknown)
        (void)ConnManUnavailable();

    return lReturn;
}

zqError zqConnMan::UpdateProperties()
{
    CFDictionaryRef                     lProperties = nullptr;
    const zqError                       lReturn     = ManagerGetProperties(lProperties);
    const CFUSharedRef<CFDictionaryRef> lHolder     = CFUAdopt(lProperties);

    if (lReturn != zqError_None)
        return lReturn;

    if (mProperties == nullptr)
        mProperties = MakeDictionary().Leak();
    ZQ_REQUIRE(mProperties != NULL, zqError_NoResources);

    return UpdateProperties(lProperties);
}

zqError zqConnMan::UpdateServices()
{
    CFDictionaryRef                     lServices = nullptr;
    const zqError                       lReturn   = ManagerGetServices(lServices);
    const CFUSharedRef<CFDictionaryRef> lHolder   = CFUAdopt(lServices);

    return lReturn == zqError_None ? UpdateServices(lServices) : lReturn;
}

zqError zqConnMan::UpdateTechnologies()
{
    CFDictionaryRef                     lTechnologies = nullptr;
    const zqError                       lReturn       = ManagerGetTechnologies(lTechnologies);
    const CFUSharedRef<CFDictionaryRef> lHolder       = CFUAdopt(lTechnologies);

    return lReturn == zqError_None ? UpdateTechnologies(lTechnologies) : lReturn;
}

zqError zqConnMan::UpdateServices(CFDictionaryRef aCurrent)
{
    return UpdateObjects(ObjectKind::kServices, aCurrent);
}

zqError zqConnMan::UpdateTechnologies(CFDictionaryRef aCurrent)
{
    return UpdateObjects(ObjectKind::kTechnologies, aCurrent);
}

void zqConnMan::Flush()
{
    FlushProperties();
    FlushServices();
    FlushTechnologies();
}

void zqConnMan::FlushProperties()
{
    ReleaseCache(mProperties);
}

void zqConnMan::FlushServices()
{
    ReleaseCache(mServices);
}

void zqConnMan::FlushTechnologies()
{
    ReleaseCache(mTechnologies);
}

zqError zqConnMan::UpdateProperties(CFDictionaryRef aChanges)
{
    if (!Merge(mProperties, aChanges))
        (void)Missed(zqError_NoResources);

    if (Delegate::Base *lDelegate = mDelegate)
        lDelegate->PropertiesChanged(this, aChanges);

    const void *lState    = CFDictionaryGetValue(aChanges, zq::NetworkManager::kManagerPropertyState);
    auto       *lDelegate = mDelegate.load(); // the first callback may have replaced it

    if (lDelegate != nullptr && CFUIsTypeID(lState, CFStringGetTypeID()))
        lDelegate->StateChanged(this, static_cast<CFStringRef>(lState));

    return zqError_None;
}

/**
 *  A full refresh. Objects that were there before keep their cached properties:
 *  signals have kept those current, and the reply may be older than the last of
 *  them. That is also why nothing is merged here.
 */
zqError zqConnMan::UpdateObjects(const ObjectKind &aKind, CFDictionaryRef aCurrent)
{
    CFMutableDictionaryRef &lCache  = this->*aKind.mCache;
    const long              lBefore = CountOf(lCache);

    ZQ_LOG(zqLogLevel_Information, "connman: %s %ld %s to %ld existing %s", lCache != nullptr ? "updating" : "adding",
           CountOf(aCurrent), aKind.mName, lBefore, aKind.mName);

    const auto lAdded   = MakeArray();
    const auto lUpdated = MakeArray();
    const auto lRemoved = MakeArray();

    ZQ_REQUIRE(lAdded != NULL && lUpdated != NULL && lRemoved != NULL, zqError_NoResources);
    if (lCache == nullptr)
        lCache = MakeDictionary().Leak();
    ZQ_REQUIRE(lCache != NULL, zqError_NoResources);

    ForEachEntry(lCache,
                 [&](const void *aPath, const void *)
                 {
                     if (!CFDictionaryContainsKey(aCurrent, aPath))
                         CFArrayAppendValue(lRemoved.Get(), aPath);
                 });

    ForEachEntry(aCurrent,
                 [&](const void *aPath, const void *aProperties)
                 {
                     CFDictionaryRef lCached = FindCached(lCache, aPath);

                     if (lCached == nullptr)
                     {
                         CFDictionarySetValue(lCache, aPath, aProperties);
                         CFArrayAppendValue(lAdded.Get(), aPath);
                     }
                     else if (CFDictionaryGetCount(lCached) > 0)
                         CFArrayAppendValue(lUpdated.Get(), aPath);
                 });

    for (CFIndex lIndex = 0; lIndex < CFArrayGetCount(lRemoved.Get()); ++lIndex)
        CFDictionaryRemoveValue(lCache, CFArrayGetValueAtIndex(lRemoved.Get(), lIndex));

    const long lAfter = lBefore + CFArrayGetCount(lAdded.Get()) - CFArrayGetCount(lRemoved.Get());

    // What found no room in a list or in the cache would never be told: better no cache than one with gaps.
    if (!ZQ_CHECK(CountOf(lCache) == CountOf(aCurrent) && CountOf(lCache) == lAfter))
    {
        ReleaseCache(lCache);
        return zqError_NoResources;
    }

    NotifyPaths(aKind.mAdded, lAdded.Get());
    NotifyPaths(aKind.mRemoved, lRemoved.Get());
    NotifyPaths(aKind.mUpdated, lUpdated.Get());

    return zqError_None;
}

// Reading

zqError zqConnMan::ManagerGetProperties(CFDictionaryRef &aProperties)
{
    return GetProperties(kManagerPath, kManagerInterface, "GetProperties", mTimeout, kFormManagerProperties,
                         aProperties);
}

zqError zqConnMan::ManagerGetServices(CFDictionaryRef &aServices)
{
    return GetProperties(kManagerPath, kManagerInterface, "GetServices", mTimeout, kFormServices, aServices);
}

zqError zqConnMan::ManagerGetTechnologies(CFDictionaryRef &aTechnologies)
{
    return GetProperties(kManagerPath, kManagerInterface, "GetTechnologies", mTimeout, kFormTechnologies,
                         aTechnologies);
}

zqError zqConnMan::ServiceGetProperties(const char *aPath, CFDictionaryRef &aProperties)
{
    return GetProperties(aPath, kServiceInterface, "GetProperties", mTimeout, kFormServiceProperties, aProperties);
}

zqError zqConnMan::TechnologyGetProperties(const char *aPath, CFDictionaryRef &aProperties)
{
    return GetProperties(aPath, kTechnologyInterface, "GetProperties", mTimeout, kFormTechnologyProperties,
                         aProperties);
}

zqError zqConnMan::ManagerGetServices(CFMutableArrayRef aPaths)
{
    return GetPaths(ObjectKind::kServices, aPaths);
}

zqError zqConnMan::ManagerGetTechnologies(CFMutableArrayRef aPaths)
{
    return GetPaths(ObjectKind::kTechnologies, aPaths);
}

/**
 *  What is loaded has just come from the daemon and follows its signals: asking
 *  again would cost a round trip. What has to be asked for is kept, so that the
 *  signals are applied to what the caller has.
 */
zqError zqConnMan::GetPaths(const ObjectKind &aKind, CFMutableArrayRef aPaths)
{
    ZQ_REQUIRE(aPaths != NULL, zqError_InvalidArgument);

    CFMutableDictionaryRef &lCache = this->*aKind.mCache;

    if (lCache == nullptr)
    {
        CFDictionaryRef                     lFetched = nullptr;
        const zqError                       lReturn  = (this->*aKind.mFetch)(lFetched);
        const CFUSharedRef<CFDictionaryRef> lHolder  = CFUAdopt(lFetched);

        if (lReturn != zqError_None)
            return lReturn;

        lCache = CFDictionaryCreateMutableCopy(kCFAllocatorDefault, 0, lFetched);
        ZQ_REQUIRE(lCache != NULL, zqError_NoResources);
    }

    const CFIndex lCount = CFArrayGetCount(aPaths) + CountOf(lCache);

    ForEachEntry(lCache, [aPaths](const void *aPath, const void *) { CFArrayAppendValue(aPaths, aPath); });
    ZQ_REQUIRE(CFArrayGetCount(aPaths) == lCount, zqError_NoResources);

    return zqError_None;
}
