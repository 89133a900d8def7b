/**
 *  @file
 *    What the daemon has, as it was loaded and as its signals change it.
 */

#include "zqconnman-private.h"

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

namespace
{

/** A cache's own dictionaries are mutable: they were decoded for it, and nobody else has them. */
CFMutableDictionaryRef FindCached(CFMutableDictionaryRef aCache, const void *aPath)
{
    return static_cast<CFMutableDictionaryRef>(const_cast<void *>(CFDictionaryGetValue(aCache, aPath)));
}

CFDictionaryRef AsDictionary(const void *aValue)
{
    return static_cast<CFDictionaryRef>(aValue);
}

long CountOf(CFDictionaryRef aCache)
{
    return aCache != nullptr ? CFDictionaryGetCount(aCache) : 0;
}

long CountOf(const CFUSharedRef<CFMutableArrayRef> &anArray)
{
    return anArray != nullptr ? CFArrayGetCount(anArray.Get()) : 0;
}

void ReleaseCache(CFMutableDictionaryRef &aCache)
{
    CFURelease(aCache);
    aCache = nullptr;
}

} // namespace

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
    (void)CFUDictionaryMerge(mProperties, aChanges, true);

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

// Signals

/** A signal that finds no memory is lost: what it tells is found by comparing all once more. @returns false. */
bool zqConnMan::Missed(zqError anError)
{
    if (anError == zqError_NoResources || anError == zqError_OutOfMemory)
    {
        mMissed = mAvailable;
        TellAvailableAgain();
    }
    return false;
}

/** Better no cache than one with gaps: what is in it is not told as added. */
void zqConnMan::MissedSome(CFMutableDictionaryRef &aCache)
{
    ReleaseCache(aCache);
    (void)Missed(zqError_NoResources);
}

bool zqConnMan::ManagerPropertyChanged(DBusMessage *aMessage)
{
    if (mProperties == nullptr)
        return false;

    ZQ_LOG(zqLogLevel_Detail, "connman: %s", "ManagerPropertyChanged");

    CFUSharedRef<CFDictionaryRef> lChange;
    DBusMessageIter               lIterator;

    (void)dbus_message_iter_init(aMessage, &lIterator);

    const zqError lReturn = zqDBusCFDecode(&lIterator, kFormManagerProperty, lChange);

    return lReturn == zqError_None ? UpdateProperties(lChange.Get()) == zqError_None : Missed(lReturn);
}

bool zqConnMan::ServicePropertyChanged(const char *aPath, DBusMessageIter *anIterator)
{
    if (mServices == nullptr || aPath == nullptr)
        return false;

    ZQ_LOG(zqLogLevel_Detail, "connman: %s", "ServicePropertyChanged");

    CFUSharedRef<CFDictionaryRef> lChange;
    const zqError                 lReturn = zqDBusCFDecode(anIterator, kFormServiceProperty, lChange);

    if (lReturn != zqError_None)
        return Missed(lReturn);

    const auto lPath = MakeString(aPath);

    if (lPath == nullptr)
        return Missed(zqError_NoResources);

    CFMutableDictionaryRef lCached = FindCached(mServices, lPath.Get());

    if (lCached == nullptr)
    {
        ZQ_LOG(zqLogLevel_Error, "connman: failed to find service %s for properties change", aPath);
        return false;
    }

    (void)CFUDictionaryMerge(lCached, lChange.Get(), true);

    if (Delegate::Base *lDelegate = mDelegate)
        lDelegate->ServiceChanged(this, lPath.Get(), lChange.Get());
    return true;
}

bool zqConnMan::TechnologyPropertyChanged(const char *aPath, DBusMessageIter *anIterator)
{
    if (mTechnologies == nullptr || aPath == nullptr)
        return false;

    ZQ_LOG(zqLogLevel_Detail, "connman: %s", "TechnologyPropertyChanged");

    CFUSharedRef<CFDictionaryRef> lChange;
    const zqError                 lReturn = zqDBusCFDecode(anIterator, kFormTechnologyProperty, lChange);

    if (lReturn != zqError_None)
        return Missed(lReturn);

    const auto lPath = MakeString(aPath);

    if (lPath == nullptr)
        return Missed(zqError_NoResources);

    if (!CFDictionaryContainsKey(mTechnologies, lPath.Get()))
    {
        ZQ_LOG(zqLogLevel_Error, "connman: failed to find technology %s for properties change", aPath);
        return false;
    }

    if (Delegate::Base *lDelegate = mDelegate)
        lDelegate->TechnologyChanged(this, lPath.Get(), lChange.Get());
    return true;
}

bool zqConnMan::ManagerServicesChanged(DBusMessage *aMessage)
{
    if (mServices == nullptr)
        return false;

    CFUSharedRef<CFDictionaryRef> lCurrent;
    CFUSharedRef<CFArrayRef>      lRemoved;
    const zqError                 lReturn = zqDBusCFDecodeServicesChanged(aMessage, lCurrent, lRemoved);

    if (lReturn != zqError_None)
        return Missed(lReturn);

    UpdateChangedServices(lCurrent.Get(), lRemoved.Get());
    return true;
}

void zqConnMan::UpdateChangedServices(CFDictionaryRef aCurrent, CFArrayRef aRemoved)
{
    const char *const lName = ObjectKind::kServices.mName;

    ZQ_LOG(zqLogLevel_Information, "connman: %s %ld and %s %ld %s to %ld existing %s", "updating", CountOf(aCurrent),
           "removing", CFArrayGetCount(aRemoved), lName, CountOf(mServices), lName);

    const auto lAdded      = MakeArray();
    const auto lUpdated    = MakeArray();
    long       lNumAdded   = 0;
    long       lNumUpdated = 0;
    const long lBefore     = CountOf(mServices);

    ForEachEntry(aCurrent,
                 [&](const void *aPath, const void *aProperties)
                 {
                     CFMutableDictionaryRef lCached = FindCached(mServices, aPath);

                     if (lCached == nullptr)
                     {
                         CFDictionarySetValue(mServices, aPath, aProperties);
                         CFArrayAppendValue(lAdded.Get(), aPath);
                         ++lNumAdded;
                     }
                     else if (CFDictionaryGetCount(AsDictionary(aProperties)) > 0)
                     {
                         (void)CFUDictionaryMerge(lCached, AsDictionary(aProperties), true);
                         CFArrayAppendValue(lUpdated.Get(), aPath);
                         ++lNumUpdated;
                     }
                 });

    if (!ZQ_CHECK(CountOf(lAdded) == lNumAdded && CountOf(lUpdated) == lNumUpdated &&
                  CountOf(mServices) == lBefore + lNumAdded))
        MissedSome(mServices);

    for (CFIndex lIndex = 0; lIndex < CFArrayGetCount(aRemoved); ++lIndex)
        CFDictionaryRemoveValue(mServices, CFArrayGetValueAtIndex(aRemoved, lIndex));

    NotifyPaths(&Delegate::Base::ServicesAdded, lAdded.Get());
    NotifyPaths(&Delegate::Base::ServicesRemoved, aRemoved);
    NotifyPaths(&Delegate::Base::ServicesUpdated, lUpdated.Get());
}

bool zqConnMan::ManagerTechnologyAdded(DBusMessage *aMessage)
{
    if (mTechnologies == nullptr)
        return false;

    ZQ_LOG(zqLogLevel_Detail, "connman: %s", "ManagerTechnologyAdded");

    CFUSharedRef<CFDictionaryRef> lAdded;
    const zqError                 lReturn = zqDBusCFDecode(aMessage, kFormTechnology, lAdded);

    if (lReturn != zqError_None)
        return Missed(lReturn);

    AddTechnologies(lAdded.Get());
    return true;
}

void zqConnMan::AddTechnologies(CFDictionaryRef anAdded)
{
    const char *const lName = ObjectKind::kTechnologies.mName;

    ZQ_LOG(zqLogLevel_Information, "connman: %s %ld %s to %ld existing %s", "adding", CountOf(anAdded), lName,
           CountOf(mTechnologies), lName);

    const auto lPaths  = CFUAdopt(CFUDictionaryCopyKeys(anAdded));
    bool       lHasAll = lPaths != nullptr;

    ForEachEntry(anAdded,
                 [&](const void *aPath, const void *aProperties)
                 {
                     CFDictionarySetValue(mTechnologies, aPath, aProperties);
                     lHasAll = lHasAll && CFDictionaryContainsKey(mTechnologies, aPath);
                 });

    if (!ZQ_CHECK(lHasAll))
        MissedSome(mTechnologies);

    NotifyPaths(&Delegate::Base::TechnologiesAdded, lPaths.Get());
}

bool zqConnMan::ManagerTechnologyRemoved(DBusMessage *aMessage)
{
    if (mTechnologies == nullptr)
        return false;

    ZQ_LOG(zqLogLevel_Detail, "connman: %s", "ManagerTechnologyRemoved");

    const char *lPath = nullptr;

    ZQ_REQUIRE(dbus_message_has_signature(aMessage, "o"), false);
    (void)zqDBus::DecodeMessageParams(aMessage, nullptr, DBUS_TYPE_OBJECT_PATH, &lPath, DBUS_TYPE_INVALID);

    return RemoveTechnology(MakeString(lPath).Get());
}

bool zqConnMan::RemoveTechnology(CFStringRef aPath)
{
    const void *lValues[] = { aPath };
    const auto  lPaths    = CFUAdopt(CFArrayCreate(kCFAllocatorDefault, lValues, 1, &kCFTypeArrayCallBacks));

    if (!ZQ_CHECK(aPath != NULL && lPaths != NULL))
        return Missed(zqError_NoResources);

    CFDictionaryRemoveValue(mTechnologies, aPath);
    NotifyPaths(&Delegate::Base::TechnologiesRemoved, lPaths.Get());
    return true;
}
